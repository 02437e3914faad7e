#include "PeerDecoder.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/channel_layout.h>
}

#include <algorithm>
#include <cmath>

namespace qrn::test {

namespace {

struct FrameDeleter {
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
};
struct PacketDeleter {
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
};

void Append(const AVFrame& frame, Pcm* pcm) {
    const auto count = static_cast<std::size_t>(frame.nb_samples);
    if (frame.format == AV_SAMPLE_FMT_S16 || frame.format == AV_SAMPLE_FMT_S16P) {
        const auto* samples = reinterpret_cast<const std::int16_t*>(frame.data[0]);
        pcm->insert(pcm->end(), samples, samples + count);
        return;
    }
    const auto* samples = reinterpret_cast<const float*>(frame.data[0]);
    std::transform(samples, samples + count, std::back_inserter(*pcm), [](float sample) {
        return static_cast<std::int16_t>(std::lround(std::clamp(sample * 32768.0F, -32768.0F, 32767.0F)));
    });
}

}  // namespace

CPeerDecoder::CPeerDecoder(const std::string& name, int sampleRateHz, const Bytes& header) {
    const AVCodec* codec = avcodec_find_decoder_by_name(name.c_str());
    if (codec == nullptr) {
        return;
    }
    m_context = avcodec_alloc_context3(codec);
    m_context->sample_rate = sampleRateHz;
    av_channel_layout_default(&m_context->ch_layout, 1);
    if (!header.empty()) {
        m_context->extradata = static_cast<std::uint8_t*>(av_mallocz(header.size() + AV_INPUT_BUFFER_PADDING_SIZE));
        m_context->extradata_size = static_cast<int>(header.size());
        std::copy(header.begin(), header.end(), m_context->extradata);
    }
    if (avcodec_open2(m_context, codec, nullptr) != 0) {
        avcodec_free_context(&m_context);
    }
}

CPeerDecoder::~CPeerDecoder() {
    avcodec_free_context(&m_context);
}

Pcm CPeerDecoder::Decode(std::span<const std::uint8_t> bytes) {
    Pcm pcm;
    std::unique_ptr<AVPacket, PacketDeleter> packet(av_packet_alloc());
    if (av_new_packet(packet.get(), static_cast<int>(bytes.size())) != 0) {
        return pcm;
    }
    std::copy(bytes.begin(), bytes.end(), packet->data);
    if (avcodec_send_packet(m_context, packet.get()) != 0) {
        return pcm;
    }
    std::unique_ptr<AVFrame, FrameDeleter> frame(av_frame_alloc());
    while (avcodec_receive_frame(m_context, frame.get()) == 0) {
        Append(*frame, &pcm);
    }
    return pcm;
}

}  // namespace qrn::test
