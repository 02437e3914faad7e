#include <gtest/gtest.h>
#include <opus/opus.h>

#include <algorithm>

#include "PeerDecoder.h"
#include "Signals.h"
#include "audiocoding/CAudioDecoder.h"
#include "audiocoding/CAudioEncoder.h"

namespace {

using qrn::test::Bytes;
using qrn::test::CPeerDecoder;
using qrn::test::Pcm;
using qrn::test::Random;
using qrn::test::Sine;
using qrn::test::Voice;

constexpr int kGsm = 0;
constexpr int kOpus = 5;

/// Encodes PCM into a buffer of the size that the encoder asks for; the bytes written, or none for an answer below 1.
Bytes EncodePacket(CAudioEncoder& encoder, const Pcm& pcm) {
    Bytes packet(static_cast<std::size_t>(encoder.GetMaxPacketSize()));
    const int written =
        encoder.Encode(pcm.data(), static_cast<int>(pcm.size()), packet.data(), encoder.GetMaxPacketSize());
    packet.resize(static_cast<std::size_t>(std::max(written, 0)));
    return packet;
}

struct EncoderCase {
    const char* name;
    int codec;
    int asked;
    int bitrate;
    int sampleRate;
    int packetSamples;
    int packetMs;
    int byteRate;
    int maxBytes;
};
class AudioEncoderProperties : public testing::TestWithParam<EncoderCase> {};

TEST_P(AudioEncoderProperties, AreThoseOfTheCodec) {
    const EncoderCase& row = GetParam();
    const CAudioEncoder encoder(row.codec, row.asked);
    EXPECT_EQ(encoder.GetCodec(), row.codec);
    EXPECT_EQ(encoder.GetBitrate(), row.bitrate);
    EXPECT_EQ(encoder.GetSampleRate(), row.sampleRate);
    EXPECT_EQ(encoder.GetPacketSamples(), row.packetSamples);
    EXPECT_EQ(encoder.GetPacketDuration(), row.packetMs);
    EXPECT_EQ(encoder.GetByteRate(), row.byteRate);
    EXPECT_EQ(encoder.GetMaxPacketSize(), row.maxBytes);
}
INSTANTIATE_TEST_SUITE_P(Codecs, AudioEncoderProperties,
                         testing::Values(EncoderCase{"Gsm", 0, 44, 13, 8000, 640, 80, 1650, 132},
                                         EncoderCase{"GsmOfNoRate", 0, 0, 13, 8000, 640, 80, 1650, 132},
                                         EncoderCase{"Mp3", 4, 128, 64, 32000, 2304, 72, 64000, 4608},
                                         EncoderCase{"Mp3OfNoRate", 4, 0, 64, 32000, 2304, 72, 64000, 4608},
                                         EncoderCase{"Speex", 2, 24, 15, 8000, 640, 80, 1900, 152},
                                         EncoderCase{"SpeexHq", 3, 22, 23, 32000, 2560, 80, 2800, 224},
                                         EncoderCase{"Opus", 5, 64, 64, 48000, 1920, 40, 0, 3840},
                                         EncoderCase{"OpusKeepsAnyRate", 5, -7, -7, 48000, 1920, 40, 0, 3840}),
                         qrn::test::CaseName{});

class AudioEncoderClosed : public testing::TestWithParam<int> {};

TEST_P(AudioEncoderClosed, AnswersWithNothing) {
    CAudioEncoder encoder(GetParam(), 32);
    EXPECT_EQ(encoder.GetCodec(), 6);
    EXPECT_EQ(encoder.GetSampleRate(), 8000);
    EXPECT_EQ(encoder.GetPacketSamples(), 0);
    EXPECT_EQ(encoder.GetPacketDuration(), 0);
    EXPECT_EQ(encoder.GetByteRate(), 0);
    EXPECT_EQ(encoder.GetMaxPacketSize(), 0);
    const Pcm pcm(640);
    Bytes out(400, 0xAB);
    EXPECT_EQ(encoder.Encode(pcm.data(), 640, out.data(), 400), -1);
    EXPECT_EQ(out, Bytes(400, 0xAB));
}
INSTANTIATE_TEST_SUITE_P(Ids, AudioEncoderClosed, testing::Values(-1, 6, 7, 1 << 30));

struct LengthCase {
    const char* name;
    int samples;
    int outSize;
    int written;
};
class GsmEncoderLengths : public testing::TestWithParam<LengthCase> {};

TEST_P(GsmEncoderLengths, WritesWholeFramesWithinTheRoom) {
    const LengthCase& row = GetParam();
    CAudioEncoder encoder(kGsm, 13);
    const Pcm pcm = Voice(std::max(row.samples, 0), 8000);
    Bytes out(1000, 0xAB);
    EXPECT_EQ(encoder.Encode(pcm.data(), row.samples, out.data(), row.outSize), row.written);
    for (std::size_t i = 0; i < static_cast<std::size_t>(row.written); i += 33) {
        EXPECT_EQ(out[i] >> 4, 0xD) << "signature of the frame at " << i;
    }
    for (std::size_t i = static_cast<std::size_t>(row.written); i < out.size(); ++i) {
        ASSERT_EQ(out[i], 0xAB) << "written past the frames at " << i;
    }
}
INSTANTIATE_TEST_SUITE_P(Edges, GsmEncoderLengths,
                         testing::Values(LengthCase{"None", 0, 1000, 0}, LengthCase{"Negative", -1, 1000, 0},
                                         LengthCase{"Packet", 640, 132, 132}, LengthCase{"OneSample", 1, 1000, 33},
                                         LengthCase{"PacketAndOneSample", 641, 1000, 165},
                                         LengthCase{"RoomForThreeFrames", 640, 131, 99},
                                         LengthCase{"NoRoom", 640, 0, 0}, LengthCase{"NegativeRoom", 640, -1, 0}),
                         qrn::test::CaseName{});

TEST(GsmEncoder, FillsAPartialFrameWithSilence) {
    CAudioEncoder whole(kGsm, 13);
    CAudioEncoder partial(kGsm, 13);
    Pcm pcm = Voice(641, 8000);
    Bytes expected(165);
    Bytes got(165);
    ASSERT_EQ(partial.Encode(pcm.data(), 641, got.data(), 165), 165);
    pcm.resize(800, 0);
    ASSERT_EQ(whole.Encode(pcm.data(), 800, expected.data(), 165), 165);
    EXPECT_EQ(got, expected);
}

TEST(GsmEncoder, AnotherDecoderHearsTheSame) {
    CAudioEncoder encoder(kGsm, 13);
    CAudioDecoder decoder(kGsm, 13);
    CPeerDecoder peer("gsm", 8000);
    ASSERT_TRUE(peer.IsOpen());
    const Pcm voice = Voice(640 * 50, 8000);
    for (std::size_t at = 0; at < voice.size(); at += 640) {
        const auto from = voice.begin() + static_cast<std::ptrdiff_t>(at);
        const Bytes packet = EncodePacket(encoder, Pcm(from, from + 640));
        ASSERT_EQ(packet.size(), 132U);
        Pcm own(640);
        ASSERT_EQ(decoder.Decode(packet.data(), 132, own.data(), 1280), 1280);
        Pcm theirs;
        for (std::size_t frame = 0; frame < packet.size(); frame += 33) {
            const Pcm pcm = peer.Decode(std::span(packet).subspan(frame, 33));
            theirs.insert(theirs.end(), pcm.begin(), pcm.end());
        }
        ASSERT_EQ(own, theirs) << "packet at sample " << at;
    }
}

struct OpusRateCase {
    const char* name;
    int asked;
    std::size_t longestPacket;
};
class OpusEncoderRates : public testing::TestWithParam<OpusRateCase> {};

TEST_P(OpusEncoderRates, BoundThePacket) {
    const OpusRateCase& row = GetParam();
    CAudioEncoder encoder(kOpus, row.asked);
    const Pcm voice = Voice(1920 * 25, 48000);
    std::size_t longest = 0;
    int refused = 0;
    for (std::size_t at = 0; at < voice.size(); at += 1920) {
        const auto from = voice.begin() + static_cast<std::ptrdiff_t>(at);
        const Bytes packet = EncodePacket(encoder, Pcm(from, from + 1920));
        if (packet.empty()) {
            ++refused;
            continue;
        }
        longest = std::max(longest, packet.size());
        ASSERT_EQ(opus_packet_get_nb_frames(packet.data(), static_cast<opus_int32>(packet.size())), 2);
        ASSERT_EQ(opus_packet_get_nb_samples(packet.data(), static_cast<opus_int32>(packet.size()), 48000), 1920);
    }
    EXPECT_EQ(longest, row.longestPacket);
    EXPECT_LE(refused, 1) << "only frames on both sides of a change of the coder's mode do not go together";
}
// Two frames of 20 ms at the coder's rate share one table-of-contents byte: 40 ms of it less a byte. The library itself
// ends at 300 kbit/s a channel.
INSTANTIATE_TEST_SUITE_P(Edges, OpusEncoderRates,
                         testing::Values(OpusRateCase{"LiftedToSix", 1, 29}, OpusRateCase{"Negative", -5, 29},
                                         OpusRateCase{"Thirty", 30, 149}, OpusRateCase{"SixtyFour", 64, 319},
                                         OpusRateCase{"AboveTheLibrarys", 600, 1499},
                                         OpusRateCase{"OverflowsBitsPerSecond", 2147483647, 1499}),
                         qrn::test::CaseName{});

TEST(OpusEncoder, AnotherDecoderHearsTheSame) {
    CAudioEncoder encoder(kOpus, 96);
    CAudioDecoder decoder(kOpus, 96);
    CPeerDecoder peer("opus", 48000);
    ASSERT_TRUE(peer.IsOpen());
    const Pcm voice = Voice(1920 * 50, 48000, 400.0);
    Pcm own;
    Pcm theirs;
    for (std::size_t at = 0; at < voice.size(); at += 1920) {
        const auto from = voice.begin() + static_cast<std::ptrdiff_t>(at);
        const Bytes packet = EncodePacket(encoder, Pcm(from, from + 1920));
        Pcm pcm(1920);
        ASSERT_EQ(decoder.Decode(packet.data(), static_cast<int>(packet.size()), pcm.data(), 3840), 3840);
        own.insert(own.end(), pcm.begin(), pcm.end());
        const Pcm other = peer.Decode(packet);
        theirs.insert(theirs.end(), other.begin(), other.end());
    }
    EXPECT_GT(qrn::test::AlignedSignalToNoiseDb(own, theirs, 960), 60.0);
    EXPECT_GT(qrn::test::AlignedSignalToNoiseDb(voice, own, 960), 10.0);
}

TEST(OpusEncoder, KeepsItsFramesApartUntilThePacketIsOut) {
    CAudioEncoder packets(kOpus, 64);
    CAudioEncoder frames(kOpus, 64);
    const Pcm voice = Voice(3840, 48000);
    Bytes packet(3840);
    const int length = packets.Encode(voice.data(), 3840, packet.data(), 3840);
    ASSERT_GT(length, 0);
    const unsigned char* parts[48];
    opus_int16 sizes[48];
    ASSERT_EQ(opus_packet_parse(packet.data(), length, nullptr, parts, sizes, nullptr), 4);
    for (int i = 0; i < 4; ++i) {
        Bytes frame(3840);
        const int frameLength = frames.Encode(voice.data() + i * 960, 960, frame.data(), 3840);
        ASSERT_EQ(frameLength, sizes[i] + 1) << "frame " << i;
        EXPECT_TRUE(std::equal(parts[i], parts[i] + sizes[i], frame.begin() + 1)) << "frame " << i;
    }
}

TEST(OpusEncoder, GivesNothingIntoTooLittleRoom) {
    CAudioEncoder encoder(kOpus, 64);
    const Pcm voice = Voice(1920, 48000);
    Bytes out(3840, 0xAB);
    EXPECT_EQ(encoder.Encode(voice.data(), 1920, out.data(), 100), 0);
    EXPECT_EQ(out, Bytes(3840, 0xAB));
    EXPECT_EQ(encoder.Encode(voice.data(), 0, out.data(), 3840), 0);
}

TEST(OpusEncoder, RefusesMoreThanAPacketCanHold) {
    CAudioEncoder encoder(kOpus, 64);
    const Pcm voice = Voice(960 * 7, 48000);
    Bytes out(8000);
    EXPECT_EQ(encoder.Encode(voice.data(), 960 * 7, out.data(), 8000), 0);
    EXPECT_GT(encoder.Encode(voice.data(), 1920, out.data(), 8000), 0) << "the next packet is not harmed";
}

TEST(OpusEncoder, CodesSilenceAndAPartialFrame) {
    CAudioEncoder encoder(kOpus, 64);
    CAudioDecoder decoder(kOpus, 64);
    const Pcm silence(1920);
    for (int i = 0; i < 20; ++i) {
        const Bytes packet = EncodePacket(encoder, silence);
        ASSERT_FALSE(packet.empty());
        Pcm pcm(1920, 1);
        ASSERT_EQ(decoder.Decode(packet.data(), static_cast<int>(packet.size()), pcm.data(), 3840), 3840);
        const auto [lowest, highest] = std::minmax_element(pcm.begin(), pcm.end());
        EXPECT_GE(*lowest, -2);
        EXPECT_LE(*highest, 2);
    }
    EXPECT_GT(EncodePacket(encoder, Pcm(961)).size(), 0U);
}

class EncodersOnNoise : public testing::TestWithParam<int> {};

TEST_P(EncodersOnNoise, StayWithinTheirPacket) {
    CAudioEncoder encoder(GetParam(), 500);
    for (std::uint32_t seed = 0; seed < 50; ++seed) {
        const Pcm noise = Random<std::int16_t>(static_cast<std::size_t>(encoder.GetPacketSamples()), seed);
        const Bytes packet = EncodePacket(encoder, noise);
        EXPECT_FALSE(packet.empty());
    }
}
INSTANTIATE_TEST_SUITE_P(Codecs, EncodersOnNoise, testing::Range(0, 6));

struct LevelCase {
    const char* name;
    Pcm pcm;
    int lowest;
    int highest;
};
class AudioLevel : public testing::TestWithParam<LevelCase> {};

TEST_P(AudioLevel, MeasuresTheBlock) {
    const LevelCase& row = GetParam();
    const int level = CAudioEncoder::GetLevel(row.pcm.data(), static_cast<int>(row.pcm.size()));
    EXPECT_GE(level, row.lowest);
    EXPECT_LE(level, row.highest);
}
// Worked by hand: a sine of amplitude a has the level 20 log10(a / 32768) - 3.01 + 3.5 dB above the floor of -30 dB,
// a constant c 20 log10(c / 32768) + 3.5, over 30 dB in 32768 steps.
INSTANTIATE_TEST_SUITE_P(Blocks, AudioLevel,
                         testing::Values(LevelCase{"Empty", {}, 0, 0}, LevelCase{"Silence", Pcm(640), 0, 0},
                                         LevelCase{"LoudestNegative", Pcm(640, -32768), 32768, 32768},
                                         LevelCase{"FullScaleSine", Sine(8000, 400, 8000, 32767), 32768, 32768},
                                         LevelCase{"TenthOfASine", Sine(8000, 400, 8000, 3276.8), 11450, 11466},
                                         LevelCase{"ConstantOfAQuarter", Pcm(640, 8192), 23436, 23442},
                                         LevelCase{"BelowTheFloor", Pcm(640, 600), 0, 0},
                                         LevelCase{"OneSample", Pcm(1, 8192), 23436, 23442}),
                         qrn::test::CaseName{});

TEST(AudioLevel, OfNoBlockIsNone) {
    EXPECT_EQ(CAudioEncoder::GetLevel(nullptr, 640), 0);
}

}  // namespace
