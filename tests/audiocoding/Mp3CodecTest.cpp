extern "C" {
#include <libavcodec/avcodec.h>
}
#include <gtest/gtest.h>
#include <mpg123.h>

#include <algorithm>
#include <cstdlib>
#include <memory>

#include "Signals.h"
#include "audiocoding/CAudioDecoder.h"
#include "audiocoding/CAudioEncoder.h"

namespace {

using qrn::test::Bytes;
using qrn::test::Pcm;
using qrn::test::Voice;

constexpr int kMp3 = 4;
constexpr int kPacketSamples = 2304;
constexpr int kPacketBytes = 4608;
constexpr int kFrameSamples = 1152;
constexpr std::size_t kFrameBytes = 288;
/// What the encoder and any decoder delay the sound by, together.
constexpr std::size_t kDelaySamples = 1105;
/// The decoder in fixed point rounds with noise shaping.
constexpr int kRounding = 1;

std::vector<Bytes> EncodePackets(const Pcm& pcm) {
    CAudioEncoder encoder(kMp3, 64);
    std::vector<Bytes> packets;
    for (std::size_t at = 0; at < pcm.size(); at += kPacketSamples) {
        Bytes packet(kPacketBytes);
        const int length = encoder.Encode(pcm.data() + at, kPacketSamples, packet.data(), kPacketBytes);
        packet.resize(static_cast<std::size_t>(std::max(length, 0)));
        packets.push_back(packet);
    }
    return packets;
}

/// What the decoder gives for a packet, of whatever length.
Pcm DecodePacket(CAudioDecoder& decoder, const Bytes& packet) {
    Pcm pcm(kPacketSamples);
    const int bytes = decoder.Decode(packet.data(), static_cast<int>(packet.size()), pcm.data(), kPacketBytes);
    pcm.resize(static_cast<std::size_t>(std::max(bytes, 0)) / 2);
    return pcm;
}

int LargestDifference(const Pcm& a, const Pcm& b) {
    int largest = std::abs(static_cast<int>(a.size()) - static_cast<int>(b.size())) * 65536;
    for (std::size_t i = 0; i < std::min(a.size(), b.size()); ++i) {
        largest = std::max(largest, std::abs(a[i] - b[i]));
    }
    return largest;
}

/// A decoder that shares no code with FFmpeg's.
Pcm DecodeByMpg123(const std::vector<Bytes>& packets) {
    Pcm pcm;
    mpg123_init();
    const std::unique_ptr<mpg123_handle, void (*)(mpg123_handle*)> handle(mpg123_new(nullptr, nullptr), mpg123_delete);
    mpg123_param(handle.get(), MPG123_FLAGS, MPG123_QUIET, 0.0);
    mpg123_param(handle.get(), MPG123_REMOVE_FLAGS, MPG123_GAPLESS, 0.0);
    EXPECT_EQ(mpg123_open_feed(handle.get()), MPG123_OK);
    for (const Bytes& packet : packets) {
        mpg123_feed(handle.get(), packet.data(), packet.size());
        std::size_t got = 0;
        int result = 0;
        do {
            Pcm block(kFrameSamples);
            result = mpg123_read(handle.get(), block.data(), block.size() * 2, &got);
            pcm.insert(pcm.end(), block.begin(), block.begin() + static_cast<std::ptrdiff_t>(got / 2));
        } while (result == MPG123_OK || result == MPG123_NEW_FORMAT);
    }
    return pcm;
}

TEST(Mp3Codec, MakesWholeFramesThatStandByThemselves) {
    const std::vector<Bytes> packets = EncodePackets(Voice(kPacketSamples * 20, 32000));
    ASSERT_EQ(packets[0].size(), kFrameBytes) << "one frame is held back at the start";
    for (std::size_t i = 0; i < packets.size(); ++i) {
        ASSERT_EQ(packets[i].size(), i == 0 ? kFrameBytes : 2 * kFrameBytes);
        for (std::size_t at = 0; at < packets[i].size(); at += kFrameBytes) {
            // ISO/IEC 11172-3 section 2.4.1.3: MPEG-1 layer III, 64 kbit/s, 32 kHz, no padding, one channel.
            const std::uint8_t* frame = packets[i].data() + at;
            ASSERT_EQ(frame[0], 0xFF);
            ASSERT_EQ(frame[1] & 0xFE, 0xFA);
            ASSERT_EQ(frame[2] & 0xFE, 0x58);
            ASSERT_EQ(frame[3] & 0xC0, 0xC0);
            // The 9 bits behind header and checksum say how far back a frame's data begin.
            const std::size_t side = (frame[1] & 1) != 0 ? 4 : 6;
            ASSERT_EQ(frame[side] << 1 | frame[side + 1] >> 7, 0) << "packet " << i << " needs what came before it";
        }
    }
}

TEST(Mp3Codec, IsHeardAlikeByAnotherDecoder) {
    const Pcm voice = Voice(kPacketSamples * 40, 32000, 300.0);
    const std::vector<Bytes> packets = EncodePackets(voice);
    CAudioDecoder decoder(kMp3, 64);
    Pcm own;
    for (const Bytes& packet : packets) {
        const Pcm pcm = DecodePacket(decoder, packet);
        ASSERT_EQ(pcm.size(), packet.size() / kFrameBytes * kFrameSamples);
        own.insert(own.end(), pcm.begin(), pcm.end());
    }
    const Pcm theirs = DecodeByMpg123(packets);
    // The other decoder keeps its last frame until it sees what follows.
    ASSERT_GE(theirs.size() + kFrameSamples, own.size());
    own.resize(theirs.size());
    EXPECT_LE(LargestDifference(own, theirs), kRounding);
    EXPECT_GT(qrn::test::SignalToNoiseDb(voice.data(), own.data() + kDelaySamples, own.size() - kDelaySamples), 12.0);
}

TEST(Mp3Codec, RecoversFromALostPacketWithinAFrame) {
    const std::vector<Bytes> packets = EncodePackets(Voice(kPacketSamples * 8, 32000));
    CAudioDecoder whole(kMp3, 64);
    CAudioDecoder holed(kMp3, 64);
    for (std::size_t i = 0; i < packets.size(); ++i) {
        const Pcm expected = DecodePacket(whole, packets[i]);
        if (i == 4) {
            continue;
        }
        const Pcm got = DecodePacket(holed, packets[i]);
        ASSERT_EQ(got.size(), expected.size());
        if (i == 5) {
            // Neighbouring frames overlap, so the first one lacks what the lost packet would have given.
            EXPECT_GT(
                LargestDifference(Pcm(got.begin(), got.begin() + 576), Pcm(expected.begin(), expected.begin() + 576)),
                kRounding);
            EXPECT_LE(LargestDifference(Pcm(got.begin() + kFrameSamples, got.end()),
                                        Pcm(expected.begin() + kFrameSamples, expected.end())),
                      kRounding);
        } else {
            EXPECT_LE(LargestDifference(got, expected), i > 4 ? kRounding : 0) << "packet " << i;
        }
    }
}

struct CutCase {
    const char* name;
    std::size_t bytes;
    int room;
    int written;
};
class Mp3CutPacket : public testing::TestWithParam<CutCase> {};

TEST_P(Mp3CutPacket, GivesFewerBytesOrNone) {
    const CutCase& row = GetParam();
    const Bytes packet = EncodePackets(Voice(kPacketSamples * 2, 32000))[1];
    const auto data = std::make_unique<std::uint8_t[]>(row.bytes);
    std::copy_n(packet.begin(), std::min(row.bytes, packet.size()), data.get());
    CAudioDecoder decoder(kMp3, 64);
    Pcm pcm(kPacketSamples + 1, 0x5A5A);
    EXPECT_EQ(decoder.Decode(data.get(), static_cast<int>(row.bytes), pcm.data(), row.room), row.written);
    EXPECT_EQ(pcm[static_cast<std::size_t>(row.room) / 2], 0x5A5A);
    // And goes on with the next whole one.
    EXPECT_EQ(decoder.Decode(packet.data(), static_cast<int>(packet.size()), pcm.data(), kPacketBytes), kPacketBytes);
}
INSTANTIATE_TEST_SUITE_P(Edges, Mp3CutPacket,
                         testing::Values(CutCase{"Empty", 0, kPacketBytes, 0}, CutCase{"OneByte", 1, kPacketBytes, 0},
                                         CutCase{"OneFrame", 288, kPacketBytes, 2304},
                                         CutCase{"ByteOfASecondFrame", 289, kPacketBytes, 0},
                                         CutCase{"ZerosBehind", 600, kPacketBytes, 0},
                                         CutCase{"RoomForOneFrame", 576, 2304, 2304},
                                         CutCase{"RoomForLessThanAFrame", 576, 2302, 0}, CutCase{"NoRoom", 576, 0, 0}),
                         qrn::test::CaseName{});

TEST(Mp3Codec, TakesAPacketOfAnyLength) {
    const Bytes packet = EncodePackets(Voice(kPacketSamples * 2, 32000))[1];
    Bytes many;
    for (int i = 0; i < 100; ++i) {
        many.insert(many.end(), packet.begin(), packet.end());
    }
    CAudioDecoder decoder(kMp3, 64);
    EXPECT_EQ(DecodePacket(decoder, many).size(), static_cast<std::size_t>(kPacketSamples));
}

/// An MP3 stream of two channels, which our encoder never makes.
Bytes StereoFrames() {
    const std::unique_ptr<AVCodecContext, void (*)(AVCodecContext*)> context(
        avcodec_alloc_context3(avcodec_find_encoder_by_name("libmp3lame")),
        [](AVCodecContext* open) { avcodec_free_context(&open); });
    context->sample_rate = 32000;
    context->bit_rate = 64000;
    context->sample_fmt = AV_SAMPLE_FMT_S16P;
    av_channel_layout_default(&context->ch_layout, 2);
    Bytes frames;
    if (avcodec_open2(context.get(), nullptr, nullptr) != 0) {
        return frames;
    }
    AVFrame* frame = av_frame_alloc();
    frame->nb_samples = kFrameSamples;
    frame->format = context->sample_fmt;
    av_channel_layout_copy(&frame->ch_layout, &context->ch_layout);
    av_frame_get_buffer(frame, 0);
    for (int channel = 0; channel < 2; ++channel) {
        const Pcm voice = Voice(kFrameSamples, 32000, channel == 0 ? 110 : 180);
        std::copy(voice.begin(), voice.end(), reinterpret_cast<std::int16_t*>(frame->extended_data[channel]));
    }
    AVPacket* packet = av_packet_alloc();
    for (int i = 0; i < 12; ++i) {
        avcodec_send_frame(context.get(), i < 11 ? frame : nullptr);
        while (avcodec_receive_packet(context.get(), packet) == 0) {
            frames.assign(packet->data, packet->data + packet->size);
            av_packet_unref(packet);
        }
    }
    av_packet_free(&packet);
    av_frame_free(&frame);
    return frames;
}

TEST(Mp3Codec, GivesAFrameOfTwoChannelsInterleaved) {
    const Bytes frame = StereoFrames();
    ASSERT_FALSE(frame.empty());
    CAudioDecoder decoder(kMp3, 64);
    const Pcm pcm = DecodePacket(decoder, frame);
    EXPECT_EQ(pcm.size(), 2U * kFrameSamples);
}

}  // namespace
