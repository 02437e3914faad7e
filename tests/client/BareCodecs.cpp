#include "BareCodecs.h"

#include <gsm.h>
#include <gtest/gtest.h>
#include <opus.h>
#include <speex/speex.h>

extern "C" {
#include <libavcodec/avcodec.h>
}

#include <algorithm>
#include <memory>

namespace qrn::test {
namespace {

struct FreeContext {
    void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
};
using Context = std::unique_ptr<AVCodecContext, FreeContext>;

struct FreeFrame {
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
};
struct FreePacket {
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
};

Context Open(const AVCodec* codec, AVSampleFormat format, int rate, int bitRate) {
    Context context(avcodec_alloc_context3(codec));
    context->sample_fmt = format;
    context->sample_rate = rate;
    context->bit_rate = bitRate;
    context->bits_per_coded_sample = bitRate / rate;  // what G.726's decoder asks for
    av_channel_layout_default(&context->ch_layout, 1);
    EXPECT_EQ(avcodec_open2(context.get(), codec, nullptr), 0);
    return context;
}

void TakeDecoded(AVCodecContext& decoder, AVFrame& frame, Pcm& output) {
    while (avcodec_receive_frame(&decoder, &frame) == 0) {
        const auto* samples = reinterpret_cast<const std::int16_t*>(frame.data[0]);
        output.insert(output.end(), samples, samples + frame.nb_samples);
    }
}

/// Encodes in blocks and decodes each packet at once.
Pcm ThroughFfmpeg(const Pcm& input, AVCodecContext& encoder, AVCodecContext& decoder, std::size_t block) {
    const std::unique_ptr<AVFrame, FreeFrame> in(av_frame_alloc());
    const std::unique_ptr<AVFrame, FreeFrame> out(av_frame_alloc());
    const std::unique_ptr<AVPacket, FreePacket> packet(av_packet_alloc());
    in->format = encoder.sample_fmt;
    in->sample_rate = encoder.sample_rate;
    in->nb_samples = static_cast<int>(block);
    av_channel_layout_copy(&in->ch_layout, &encoder.ch_layout);
    EXPECT_EQ(av_frame_get_buffer(in.get(), 0), 0);
    Pcm output;
    for (std::size_t i = 0; i + block <= input.size(); i += block) {
        EXPECT_EQ(av_frame_make_writable(in.get()), 0);
        std::copy_n(&input[i], block, reinterpret_cast<std::int16_t*>(in->data[0]));
        EXPECT_EQ(avcodec_send_frame(&encoder, in.get()), 0);
        while (avcodec_receive_packet(&encoder, packet.get()) == 0) {
            EXPECT_EQ(avcodec_send_packet(&decoder, packet.get()), 0);
            TakeDecoded(decoder, *out, output);
            av_packet_unref(packet.get());
        }
    }
    return output;
}

}  // namespace

Pcm ThroughGsm(const Pcm& input) {
    constexpr std::size_t kFrame = 160;
    const std::unique_ptr<gsm_state, void (*)(gsm)> encoder(gsm_create(), gsm_destroy);
    const std::unique_ptr<gsm_state, void (*)(gsm)> decoder(gsm_create(), gsm_destroy);
    Pcm copy = input;
    Pcm output(input.size() / kFrame * kFrame);
    for (std::size_t i = 0; i < output.size(); i += kFrame) {
        gsm_frame frame;
        gsm_encode(encoder.get(), &copy[i], frame);
        gsm_decode(decoder.get(), frame, &output[i]);
    }
    return output;
}

Pcm ThroughG726(const Pcm& input, int kbps) {
    const Context encoder = Open(avcodec_find_encoder(AV_CODEC_ID_ADPCM_G726), AV_SAMPLE_FMT_S16, 8000, kbps * 1000);
    const Context decoder = Open(avcodec_find_decoder(AV_CODEC_ID_ADPCM_G726), AV_SAMPLE_FMT_S16, 8000, kbps * 1000);
    return ThroughFfmpeg(input, *encoder, *decoder, 160);
}

Pcm ThroughSpeex(const Pcm& input, bool ultraWide, int bitsPerSecond) {
    const SpeexMode* mode = speex_lib_get_mode(ultraWide ? SPEEX_MODEID_UWB : SPEEX_MODEID_NB);
    const std::unique_ptr<void, void (*)(void*)> encoder(speex_encoder_init(mode), speex_encoder_destroy);
    const std::unique_ptr<void, void (*)(void*)> decoder(speex_decoder_init(mode), speex_decoder_destroy);
    speex_encoder_ctl(encoder.get(), SPEEX_SET_BITRATE, &bitsPerSecond);
    int highPass = 1;
    speex_encoder_ctl(encoder.get(), SPEEX_SET_HIGHPASS, &highPass);
    const std::size_t frame = ultraWide ? 640 : 160;
    SpeexBits bits;
    speex_bits_init(&bits);
    Pcm copy = input;
    Pcm output(input.size() / frame * frame);
    for (std::size_t i = 0; i < output.size(); i += frame) {
        speex_bits_reset(&bits);
        speex_encode_int(encoder.get(), &copy[i], &bits);
        speex_bits_rewind(&bits);
        EXPECT_EQ(speex_decode_int(decoder.get(), &bits, &output[i]), 0);
    }
    speex_bits_destroy(&bits);
    return output;
}

Pcm ThroughMp3(const Pcm& input) {
    const Context encoder = Open(avcodec_find_encoder_by_name("libmp3lame"), AV_SAMPLE_FMT_S16P, 32000, 64000);
    const Context decoder = Open(avcodec_find_decoder_by_name("mp3"), AV_SAMPLE_FMT_S16P, 32000, 0);
    return ThroughFfmpeg(input, *encoder, *decoder, 1152);
}

Pcm ThroughOpus(const Pcm& input, int kbps) {
    constexpr int kFrame = 960;
    int error = 0;
    const std::unique_ptr<OpusEncoder, void (*)(OpusEncoder*)> encoder(
        opus_encoder_create(48000, 1, OPUS_APPLICATION_VOIP, &error), opus_encoder_destroy);
    const std::unique_ptr<OpusDecoder, void (*)(OpusDecoder*)> decoder(opus_decoder_create(48000, 1, &error),
                                                                       opus_decoder_destroy);
    opus_encoder_ctl(encoder.get(), OPUS_SET_BITRATE(kbps * 1000));
    opus_encoder_ctl(encoder.get(), OPUS_SET_VBR(0));
    Pcm output(input.size() / kFrame * kFrame);
    for (std::size_t i = 0; i < output.size(); i += kFrame) {
        std::uint8_t packet[1500];
        const int bytes = opus_encode(encoder.get(), &input[i], kFrame, packet, sizeof(packet));
        EXPECT_EQ(opus_decode(decoder.get(), packet, bytes, &output[i], kFrame, 0), kFrame);
    }
    return output;
}

}  // namespace qrn::test
