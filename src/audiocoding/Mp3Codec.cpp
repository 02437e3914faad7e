#include "audiocoding/Mp3Codec.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/opt.h>
}

#include <algorithm>
#include <cstring>

#include "runtime/CQRN_AVCodec_MutexAutoLock.h"

namespace qrn {

namespace {

constexpr int kSampleRateHz = 32000;
constexpr int kChannels = 1;
constexpr int kFrameSamples = 1152;
constexpr int kPacketFrames = 2;
constexpr int kBitrateKbps = 64;
/// The size of a frame's PCM, which bounds its coded bytes and is what the media type announces.
constexpr int kFrameBytes = kFrameSamples * static_cast<int>(sizeof(std::int16_t));
/// Lifts every message of a context above what FFmpeg's log shows, and stays within the 8 bits that it has for levels.
/// A broken packet is no news for standard error, and the log's level itself belongs to the host.
constexpr int kQuiet = 2 * AV_LOG_TRACE;

struct ContextDeleter {
    void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
};
struct FrameDeleter {
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
};
struct PacketDeleter {
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
};
struct BufferDeleter {
    void operator()(AVBufferRef* buffer) const { av_buffer_unref(&buffer); }
};

/// An open codec with its frame and packet. Opens and closes under the lock that copies of the module share.
class CAvCodec {
public:
    explicit CAvCodec(CQRN_AVCodec_MutexAutoLock& lock) : m_lock(lock) {}
    ~CAvCodec() {
        const CQRN_AVCodec_Scope scope(&m_lock);
        m_context.reset();
    }
    CAvCodec(const CAvCodec&) = delete;
    CAvCodec& operator=(const CAvCodec&) = delete;

    bool Open(const AVCodec* codec) {
        if (codec == nullptr) {
            return false;
        }
        const CQRN_AVCodec_Scope scope(&m_lock);
        m_context.reset(avcodec_alloc_context3(codec));
        m_frame.reset(av_frame_alloc());
        m_packet.reset(av_packet_alloc());
        if (!m_context || !m_frame || !m_packet) {
            return false;
        }
        m_context->log_level_offset = kQuiet;
        m_context->sample_rate = kSampleRateHz;
        av_channel_layout_default(&m_context->ch_layout, kChannels);
        m_context->sample_fmt = AV_SAMPLE_FMT_S16;
        m_context->request_sample_fmt = AV_SAMPLE_FMT_S16;
        m_context->bit_rate = kBitrateKbps * 1000;
        // Without the reservoir of bits that a frame leaves to later ones: each packet is then decoded alike whether
        // the one before it was lost or not, and the encoder holds back one frame instead of three, by which the time
        // stamps come out right. Encoders that have no such option have no reservoir.
        av_opt_set_int(m_context.get(), "reservoir", 0, AV_OPT_SEARCH_CHILDREN);
        return avcodec_open2(m_context.get(), codec, nullptr) == 0;
    }

    AVCodecContext* Context() const { return m_context.get(); }
    AVFrame& Frame() const { return *m_frame; }
    AVPacket& Packet() const { return *m_packet; }

private:
    CQRN_AVCodec_MutexAutoLock& m_lock;
    std::unique_ptr<AVCodecContext, ContextDeleter> m_context;
    std::unique_ptr<AVFrame, FrameDeleter> m_frame;
    std::unique_ptr<AVPacket, PacketDeleter> m_packet;
};

class CMp3Encoder : public IAudioPacketEncoder {
public:
    explicit CMp3Encoder(CQRN_AVCodec_MutexAutoLock& lock) : m_codec(lock) {}

    bool Open() {
        if (!m_codec.Open(avcodec_find_encoder(AV_CODEC_ID_MP3)) || m_codec.Context()->frame_size != kFrameSamples) {
            return false;
        }
        AVFrame& frame = m_codec.Frame();
        frame.nb_samples = kFrameSamples;
        // Opening may have made the format planar, which is the same memory for one channel.
        frame.format = m_codec.Context()->sample_fmt;
        frame.sample_rate = kSampleRateHz;
        return av_get_bytes_per_sample(m_codec.Context()->sample_fmt) == sizeof(std::int16_t) &&
               av_channel_layout_copy(&frame.ch_layout, &m_codec.Context()->ch_layout) == 0 &&
               av_frame_get_buffer(&frame, 0) == 0;
    }

    int BitrateKbps() const override { return kBitrateKbps; }
    int FrameBytes() const override { return kFrameBytes; }
    int MaxPacketBytes() const override { return kFrameBytes * kPacketFrames; }

    int Encode(std::span<const std::int16_t> pcm, std::span<std::uint8_t> out) override {
        const std::size_t room = out.size();
        while (!pcm.empty()) {
            const std::size_t count = std::min<std::size_t>(pcm.size(), kFrameSamples);
            if (Send(pcm.first(count))) {
                out = out.subspan(Receive(out));
            }
            pcm = pcm.subspan(count);
        }
        return static_cast<int>(room - out.size());
    }

private:
    bool Send(std::span<const std::int16_t> pcm) {
        AVFrame& frame = m_codec.Frame();
        if (av_frame_make_writable(&frame) < 0) {
            return false;
        }
        auto* samples = reinterpret_cast<std::int16_t*>(frame.data[0]);
        std::fill(std::copy(pcm.begin(), pcm.end(), samples), samples + kFrameSamples, std::int16_t{0});
        return avcodec_send_frame(m_codec.Context(), &frame) == 0;
    }

    std::size_t Receive(std::span<std::uint8_t> out) {
        std::size_t written = 0;
        AVPacket& packet = m_codec.Packet();
        while (avcodec_receive_packet(m_codec.Context(), &packet) == 0) {
            const auto length = static_cast<std::size_t>(packet.size);
            if (length <= out.size() - written) {
                std::memcpy(out.data() + written, packet.data, length);
                written += length;
            }
            av_packet_unref(&packet);
        }
        return written;
    }

    CAvCodec m_codec;
};

class CMp3Decoder : public IAudioPacketDecoder {
public:
    explicit CMp3Decoder(CQRN_AVCodec_MutexAutoLock& lock) : m_codec(lock) {}

    bool Open() {
        // FFmpeg has two decoders. The default one calculates and answers in floating point whatever is asked for; the
        // one in fixed point gives the 16-bit samples that the output needs.
        return m_codec.Open(avcodec_find_decoder_by_name("mp3")) && Reserve(kFrameBytes * kPacketFrames);
    }

    int BitrateKbps() const override { return kBitrateKbps; }

    int Decode(std::span<const std::uint8_t> data, std::span<std::int16_t> pcm) override {
        if (data.empty() || !Send(data)) {
            return 0;
        }
        std::size_t written = 0;
        AVFrame& frame = m_codec.Frame();
        int result = 0;
        while ((result = avcodec_receive_frame(m_codec.Context(), &frame)) == 0) {
            written += Append(frame, pcm.subspan(written));
        }
        // A broken frame takes the whole packet with it, also what was good before it.
        return result == AVERROR(EAGAIN) ? static_cast<int>(written * sizeof(std::int16_t)) : 0;
    }

private:
    /// Makes room for that many coded bytes and the zeros that FFmpeg wants to read behind them.
    bool Reserve(std::size_t bytes) {
        if (m_input && m_input->size >= bytes + AV_INPUT_BUFFER_PADDING_SIZE) {
            return true;
        }
        m_input.reset(av_buffer_alloc(bytes + AV_INPUT_BUFFER_PADDING_SIZE));
        return m_input != nullptr;
    }

    bool Send(std::span<const std::uint8_t> data) {
        if (!Reserve(data.size())) {
            return false;
        }
        std::memcpy(m_input->data, data.data(), data.size());
        std::memset(m_input->data + data.size(), 0, AV_INPUT_BUFFER_PADDING_SIZE);
        AVPacket& packet = m_codec.Packet();
        packet.buf = av_buffer_ref(m_input.get());
        if (packet.buf == nullptr) {
            return false;
        }
        packet.data = m_input->data;
        packet.size = static_cast<int>(data.size());
        const int result = avcodec_send_packet(m_codec.Context(), &packet);
        av_packet_unref(&packet);
        return result == 0;
    }

    /// @return samples added; none when they do not fit, which leaves the room to what comes after them.
    static std::size_t Append(const AVFrame& frame, std::span<std::int16_t> pcm) {
        // A frame of two channels, which no encoder of ours makes, comes out interleaved.
        const int bytes = av_samples_get_buffer_size(nullptr, frame.ch_layout.nb_channels, frame.nb_samples,
                                                     static_cast<AVSampleFormat>(frame.format), 1);
        if (frame.format != AV_SAMPLE_FMT_S16 || bytes < 0 || static_cast<std::size_t>(bytes) > pcm.size_bytes()) {
            return 0;
        }
        std::memcpy(pcm.data(), frame.data[0], static_cast<std::size_t>(bytes));
        return static_cast<std::size_t>(bytes) / sizeof(std::int16_t);
    }

    CAvCodec m_codec;
    std::unique_ptr<AVBufferRef, BufferDeleter> m_input;
};

template <class Codec>
std::unique_ptr<Codec> Make(const AudioCodecRequest& request) {
    auto codec = std::make_unique<Codec>(request.avLock);
    return codec->Open() ? std::move(codec) : nullptr;
}

}  // namespace

std::unique_ptr<IAudioPacketEncoder> MakeMp3Encoder(const AudioCodecRequest& request) {
    return Make<CMp3Encoder>(request);
}

std::unique_ptr<IAudioPacketDecoder> MakeMp3Decoder(const AudioCodecRequest& request) {
    return Make<CMp3Decoder>(request);
}

}  // namespace qrn
