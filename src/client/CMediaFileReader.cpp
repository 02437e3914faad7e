#include "client/CMediaFileReader.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <iterator>
#include <mutex>
#include <string_view>
#include <system_error>

#include "client/ClientError.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/channel_layout.h>
#include <libavutil/log.h>
#include <libswresample/swresample.h>
}

namespace qrn {
namespace {

struct FormatCloser {
    void operator()(AVFormatContext* context) const { avformat_close_input(&context); }
};
struct FileCloser {
    void operator()(AVIOContext* file) const { avio_closep(&file); }
};
struct CodecFreer {
    void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
};
struct FrameFreer {
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
};
struct PacketFreer {
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
};
struct ResamplerFreer {
    void operator()(SwrContext* context) const { swr_free(&context); }
};
struct DictionaryFreer {
    void operator()(AVDictionary* dictionary) const { av_dict_free(&dictionary); }
};

constexpr std::chrono::seconds kMaxOpenTime{5};
constexpr std::string_view kPlayLists[] = {"hls", "dash", "concat", "sdp", "rtsp", "imf"};

std::string ErrorText(int error) {
    char text[AV_ERROR_MAX_STRING_SIZE]{};
    av_strerror(error, text, sizeof(text));
    return text;
}

/// FFmpeg's own words for a file that no demuxer knows are of no use to who gave the file.
std::string OpenErrorText(int error) {
    return error == AVERROR_INVALIDDATA ? "it is no media file that FFmpeg knows" : ErrorText(error);
}

void RefuseWhatIsNoFile(const std::string& path) {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0 || access(path.c_str(), R_OK) != 0) {
        throw CClientError("cannot read the audio file " + path + ": " + std::generic_category().message(errno));
    }
    if (!S_ISREG(status.st_mode)) {
        throw CClientError("cannot read the audio file " + path + ": it is no regular file");
    }
}

}  // namespace

/// One pass over the file, from its start to its end.
class CMediaFileReader::CDecoder {
public:
    CDecoder(const std::string& path, PcmFormat format);

    /// Replaces `block` by the next converted samples. @return false at the end of the file.
    bool Next(std::vector<std::int16_t>& block);

    std::size_t DamagedPackets() const { return m_damagedPackets; }

private:
    /// For FFmpeg: 1 ends what it waits for.
    static int IsOverdue(void* self);
    const AVInputFormat* KnownFormat() const;
    void Open();
    void OpenCodec();
    bool SendNextPacket();
    bool ReceiveFrame();
    void PrepareResampler();
    void Convert(const AVFrame* frame, std::vector<std::int16_t>& block);
    [[noreturn]] void Fail(const std::string& cause) const;

    const std::string m_path;
    const PcmFormat m_format;
    std::unique_ptr<AVFormatContext, FormatCloser> m_container;
    std::unique_ptr<AVCodecContext, CodecFreer> m_codec;
    std::unique_ptr<SwrContext, ResamplerFreer> m_resampler;
    std::unique_ptr<AVPacket, PacketFreer> m_packet{av_packet_alloc()};
    std::unique_ptr<AVFrame, FrameFreer> m_frame{av_frame_alloc()};
    std::chrono::steady_clock::time_point m_deadline = std::chrono::steady_clock::time_point::max();
    int m_stream = -1;
    // What the resampler was built for: a stream may change in the middle.
    int m_inputRate = 0;
    int m_inputChannels = 0;
    int m_inputFormat = AV_SAMPLE_FMT_NONE;
    bool m_inputEnded = false;
    std::size_t m_damagedPackets = 0;
};

CMediaFileReader::CDecoder::CDecoder(const std::string& path, PcmFormat format) : m_path(path), m_format(format) {
    static std::once_flag quiet;
    std::call_once(quiet, [] { av_log_set_level(AV_LOG_QUIET); });
    if (!m_packet || !m_frame) {
        Fail("out of memory");
    }
    Open();
    OpenCodec();
}

void CMediaFileReader::CDecoder::Fail(const std::string& cause) const {
    throw CClientError("cannot read the audio file " + m_path + ": " + cause);
}

int CMediaFileReader::CDecoder::IsOverdue(void* self) {
    return std::chrono::steady_clock::now() > static_cast<const CDecoder*>(self)->m_deadline ? 1 : 0;
}

/// The form of the file by its first bytes. A play list is refused: it leads to the network or to devices, and FFmpeg
/// waits for the pieces that it cannot open.
const AVInputFormat* CMediaFileReader::CDecoder::KnownFormat() const {
    AVIOContext* raw = nullptr;
    if (const int opened = avio_open(&raw, ("file:" + m_path).c_str(), AVIO_FLAG_READ); opened < 0) {
        Fail(OpenErrorText(opened));
    }
    const std::unique_ptr<AVIOContext, FileCloser> file(raw);
    const AVInputFormat* format = nullptr;
    if (const int probed = av_probe_input_buffer2(raw, &format, m_path.c_str(), nullptr, 0, 0); probed < 0) {
        Fail(OpenErrorText(probed));
    }
    const std::string_view name = format->name;
    if (std::find(std::begin(kPlayLists), std::end(kPlayLists), name) != std::end(kPlayLists)) {
        Fail("it is a play list, not a media file");
    }
    return format;
}

void CMediaFileReader::CDecoder::Open() {
    const AVInputFormat* format = KnownFormat();
    AVFormatContext* raw = avformat_alloc_context();
    if (raw == nullptr) {
        Fail("out of memory");
    }
    raw->interrupt_callback = {&CDecoder::IsOverdue, this};
    m_deadline = std::chrono::steady_clock::now() + kMaxOpenTime;
    AVDictionary* rawOptions = nullptr;
    av_dict_set(&rawOptions, "protocol_whitelist", "file", 0);
    const int opened = avformat_open_input(&raw, ("file:" + m_path).c_str(), format, &rawOptions);
    const std::unique_ptr<AVDictionary, DictionaryFreer> options(rawOptions);
    if (opened < 0) {
        Fail(OpenErrorText(opened));
    }
    m_container.reset(raw);
    if (const int found = avformat_find_stream_info(raw, nullptr); found < 0) {
        Fail(ErrorText(found));
    }
    m_stream = av_find_best_stream(raw, AVMEDIA_TYPE_AUDIO, -1, -1, nullptr, 0);
    if (m_stream < 0) {
        Fail("it has no audio stream");
    }
    m_deadline = std::chrono::steady_clock::time_point::max();
    for (unsigned i = 0; i < raw->nb_streams; ++i) {
        if (static_cast<int>(i) != m_stream) {
            raw->streams[i]->discard = AVDISCARD_ALL;
        }
    }
}

void CMediaFileReader::CDecoder::OpenCodec() {
    const AVStream* stream = m_container->streams[m_stream];
    const AVCodec* decoder = avcodec_find_decoder(stream->codecpar->codec_id);
    if (decoder == nullptr) {
        Fail(std::string("there is no decoder for ") + avcodec_get_name(stream->codecpar->codec_id));
    }
    m_codec.reset(avcodec_alloc_context3(decoder));
    if (!m_codec) {
        Fail("out of memory");
    }
    int result = avcodec_parameters_to_context(m_codec.get(), stream->codecpar);
    if (result >= 0) {
        m_codec->pkt_timebase = stream->time_base;
        m_codec->thread_count = 1;
        result = avcodec_open2(m_codec.get(), decoder, nullptr);
    }
    if (result < 0) {
        Fail(std::string("its ") + decoder->name + " stream cannot be decoded (" + ErrorText(result) + ")");
    }
}

bool CMediaFileReader::CDecoder::SendNextPacket() {
    while (av_read_frame(m_container.get(), m_packet.get()) >= 0) {
        const bool ours = m_packet->stream_index == m_stream;
        const int sent = ours ? avcodec_send_packet(m_codec.get(), m_packet.get()) : 0;
        av_packet_unref(m_packet.get());
        if (ours && sent >= 0) {
            return true;
        }
        if (sent < 0) {
            ++m_damagedPackets;
        }
    }
    // Whatever ends the reading, a cut file included, what the decoder still holds is given.
    return avcodec_send_packet(m_codec.get(), nullptr) >= 0;
}

bool CMediaFileReader::CDecoder::ReceiveFrame() {
    while (true) {
        const int received = avcodec_receive_frame(m_codec.get(), m_frame.get());
        if (received >= 0) {
            return true;
        }
        if (received == AVERROR_EOF) {
            return false;
        }
        if (received != AVERROR(EAGAIN)) {
            ++m_damagedPackets;
        }
        if (!SendNextPacket()) {
            return false;
        }
    }
}

void CMediaFileReader::CDecoder::PrepareResampler() {
    const AVFrame& frame = *m_frame;
    if (m_resampler && frame.sample_rate == m_inputRate && frame.ch_layout.nb_channels == m_inputChannels &&
        frame.format == m_inputFormat) {
        return;
    }
    AVChannelLayout input{};
    if (frame.ch_layout.order == AV_CHANNEL_ORDER_UNSPEC) {
        av_channel_layout_default(&input, frame.ch_layout.nb_channels);
    } else {
        av_channel_layout_copy(&input, &frame.ch_layout);
    }
    AVChannelLayout output{};
    av_channel_layout_default(&output, m_format.channels);
    SwrContext* raw = nullptr;
    int result = swr_alloc_set_opts2(&raw, &output, AV_SAMPLE_FMT_S16, m_format.sampleRate, &input,
                                     static_cast<AVSampleFormat>(frame.format), frame.sample_rate, 0, nullptr);
    m_resampler.reset(raw);
    av_channel_layout_uninit(&input);
    if (result >= 0 && frame.ch_layout.nb_channels == 1) {
        // One channel goes to both at its own level, not 3 dB below.
        constexpr double kUnchanged[] = {1.0, 1.0};
        result = swr_set_matrix(m_resampler.get(), kUnchanged, 1);
    }
    if (result >= 0) {
        result = swr_init(m_resampler.get());
    }
    if (result < 0) {
        Fail("its sound cannot be converted (" + ErrorText(result) + ")");
    }
    m_inputRate = frame.sample_rate;
    m_inputChannels = frame.ch_layout.nb_channels;
    m_inputFormat = frame.format;
}

/// @param frame  null fetches what the resampler still holds.
void CMediaFileReader::CDecoder::Convert(const AVFrame* frame, std::vector<std::int16_t>& block) {
    const int inputSamples = frame != nullptr ? frame->nb_samples : 0;
    const int room = swr_get_out_samples(m_resampler.get(), inputSamples);
    if (room <= 0) {
        return;
    }
    const auto channels = static_cast<std::size_t>(m_format.channels);
    const std::size_t before = block.size();
    block.resize(before + static_cast<std::size_t>(room) * channels);
    auto* out = reinterpret_cast<std::uint8_t*>(block.data() + before);
    const auto* const* in = frame != nullptr ? const_cast<const std::uint8_t* const*>(frame->extended_data) : nullptr;
    const int converted =
        swr_convert(m_resampler.get(), &out, room, const_cast<const std::uint8_t**>(in), inputSamples);
    block.resize(before + static_cast<std::size_t>(std::max(converted, 0)) * channels);
}

bool CMediaFileReader::CDecoder::Next(std::vector<std::int16_t>& block) {
    block.clear();
    while (block.empty()) {
        if (m_inputEnded) {
            return false;
        }
        if (ReceiveFrame()) {
            PrepareResampler();
            Convert(m_frame.get(), block);
            av_frame_unref(m_frame.get());
        } else {
            m_inputEnded = true;
            if (m_resampler) {
                Convert(nullptr, block);
            }
        }
    }
    return true;
}

CMediaFileReader::CMediaFileReader(const std::string& path, PcmFormat format, Repeat repeat)
    : m_path(path),
      m_format(format),
      m_repeat(repeat) {
    RefuseWhatIsNoFile(path);
    m_decoder = std::make_unique<CDecoder>(path, format);
    if (!m_decoder->Next(m_block)) {
        throw CClientError("cannot read the audio file " + path + ": no sound in it can be decoded");
    }
}

CMediaFileReader::~CMediaFileReader() = default;

bool CMediaFileReader::Refill() {
    m_blockRead = 0;
    if (m_decoder->Next(m_block)) {
        return true;
    }
    if (m_repeat == Repeat::kOnce) {
        return false;
    }
    // Opened anew rather than sought back: that works with every container.
    m_damagedBefore += m_decoder->DamagedPackets();
    m_decoder = std::make_unique<CDecoder>(m_path, m_format);
    return m_decoder->Next(m_block);
}

std::size_t CMediaFileReader::Read(std::span<std::int16_t> interleaved) {
    std::size_t written = 0;
    while (written < interleaved.size()) {
        if (m_blockRead == m_block.size() && !Refill()) {
            m_block.clear();
            m_blockRead = 0;
            break;
        }
        const std::size_t count = std::min(interleaved.size() - written, m_block.size() - m_blockRead);
        std::copy_n(m_block.begin() + static_cast<std::ptrdiff_t>(m_blockRead), count,
                    interleaved.begin() + static_cast<std::ptrdiff_t>(written));
        m_blockRead += count;
        written += count;
    }
    return written;
}

std::size_t CMediaFileReader::DamagedPackets() const {
    return m_damagedBefore + m_decoder->DamagedPackets();
}

}  // namespace qrn
