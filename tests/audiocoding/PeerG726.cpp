#include "PeerG726.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/channel_layout.h>
}

#include <algorithm>
#include <stdexcept>

namespace qrn::test {

namespace {

constexpr std::size_t kPacketSamples = 640;

void Check(bool ok, const char* what) {
    if (!ok) {
        throw std::runtime_error(what);
    }
}

}  // namespace

CPeerG726::CPeerG726(Direction direction, int bitsPerSample) {
    const bool encodes = direction == Direction::kEncode;
    const AVCodec* codec = encodes ? avcodec_find_encoder_by_name("g726le") : avcodec_find_decoder_by_name("g726le");
    Check(codec != nullptr, "FFmpeg has no g726le");
    m_context = avcodec_alloc_context3(codec);
    m_context->sample_rate = 8000;
    m_context->sample_fmt = AV_SAMPLE_FMT_S16;
    m_context->bit_rate = encodes ? bitsPerSample * 8000 : 0;
    m_context->bits_per_coded_sample = bitsPerSample;
    av_channel_layout_default(&m_context->ch_layout, 1);
    m_frame = av_frame_alloc();
    m_packet = av_packet_alloc();
    Check(avcodec_open2(m_context, codec, nullptr) == 0, "g726le does not open");
}

CPeerG726::~CPeerG726() {
    av_packet_free(&m_packet);
    av_frame_free(&m_frame);
    avcodec_free_context(&m_context);
}

void CPeerG726::Encode(std::span<const std::int16_t> pcm, Bytes& out) {
    if (m_frame->nb_samples != static_cast<int>(pcm.size())) {
        av_frame_unref(m_frame);
        m_frame->nb_samples = static_cast<int>(pcm.size());
        m_frame->format = AV_SAMPLE_FMT_S16;
        av_channel_layout_default(&m_frame->ch_layout, 1);
        Check(av_frame_get_buffer(m_frame, 0) == 0, "no memory for a frame");
    }
    Check(av_frame_make_writable(m_frame) == 0, "no memory for a frame");
    std::copy(pcm.begin(), pcm.end(), reinterpret_cast<std::int16_t*>(m_frame->data[0]));
    Check(avcodec_send_frame(m_context, m_frame) == 0, "g726le refuses a frame");
    while (avcodec_receive_packet(m_context, m_packet) == 0) {
        out.insert(out.end(), m_packet->data, m_packet->data + m_packet->size);
        av_packet_unref(m_packet);
    }
}

void CPeerG726::Decode(std::span<const std::uint8_t> packet, Pcm& out) {
    Check(av_new_packet(m_packet, static_cast<int>(packet.size())) == 0, "no memory for a packet");
    std::copy(packet.begin(), packet.end(), m_packet->data);
    Check(avcodec_send_packet(m_context, m_packet) == 0, "g726le refuses a packet");
    av_packet_unref(m_packet);
    while (avcodec_receive_frame(m_context, m_frame) == 0) {
        const auto* samples = reinterpret_cast<const std::int16_t*>(m_frame->data[0]);
        out.insert(out.end(), samples, samples + m_frame->nb_samples);
    }
}

Bytes PackWords(int bitsPerSample, const Bytes& words) {
    Bytes packed(words.size() * static_cast<std::size_t>(bitsPerSample) / 8);
    std::size_t bit = 0;
    for (const std::uint8_t word : words) {
        for (int i = 0; i < bitsPerSample; ++i, ++bit) {
            packed[bit / 8] = static_cast<std::uint8_t>(packed[bit / 8] | (word >> i & 1) << bit % 8);
        }
    }
    return packed;
}

Bytes EncodeWithFfmpeg(int bitsPerSample, const Pcm& pcm) {
    CPeerG726 peer(CPeerG726::Direction::kEncode, bitsPerSample);
    Bytes bytes;
    for (std::size_t at = 0; at < pcm.size(); at += kPacketSamples) {
        peer.Encode(std::span(pcm).subspan(at, kPacketSamples), bytes);
    }
    return bytes;
}

Pcm DecodeWithFfmpeg(int bitsPerSample, const Bytes& bytes) {
    CPeerG726 peer(CPeerG726::Direction::kDecode, bitsPerSample);
    const std::size_t packetBytes = kPacketSamples * static_cast<std::size_t>(bitsPerSample) / 8;
    Pcm pcm;
    for (std::size_t at = 0; at < bytes.size(); at += packetBytes) {
        peer.Decode(std::span(bytes).subspan(at, packetBytes), pcm);
    }
    return pcm;
}

}  // namespace qrn::test
