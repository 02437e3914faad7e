#include <gtest/gtest.h>
#include <opus/opus.h>

#include <memory>

#include "Signals.h"
#include "audiocoding/CAudioDecoder.h"
#include "audiocoding/CAudioEncoder.h"

namespace {

using qrn::test::Bytes;
using qrn::test::Pcm;
using qrn::test::Random;
using qrn::test::Voice;

constexpr int kGsm = 0;
constexpr int kMp3 = 4;
constexpr int kOpus = 5;
constexpr std::int16_t kUntouched = 0x5A5A;

Bytes EncodeVoice(int codec, int bitrate, int samples) {
    CAudioEncoder encoder(codec, bitrate);
    const Pcm voice = Voice(samples, encoder.GetSampleRate());
    Bytes packet(8000);
    if (codec == kMp3) {
        // It keeps a frame back at the start, and the first packet is not a whole one.
        encoder.Encode(voice.data(), 1152, packet.data(), 8000);
    }
    packet.resize(static_cast<std::size_t>(encoder.Encode(voice.data(), samples, packet.data(), 8000)));
    return packet;
}

/// A memory block of exactly these bytes, so that a sanitizer sees the first one that is read past it.
std::unique_ptr<std::uint8_t[]> Exactly(const Bytes& bytes) {
    auto copy = std::make_unique<std::uint8_t[]>(bytes.size());
    std::copy(bytes.begin(), bytes.end(), copy.get());
    return copy;
}

struct DecoderCase {
    const char* name;
    int codec;
    int asked;
    int opened;
    int bitrate;
    int sampleRate;
    int packetBytes;
};
class AudioDecoderProperties : public testing::TestWithParam<DecoderCase> {};

TEST_P(AudioDecoderProperties, AreThoseOfTheCodec) {
    const DecoderCase& row = GetParam();
    const CAudioDecoder decoder(row.codec, row.asked);
    EXPECT_EQ(decoder.GetCodec(), row.opened);
    EXPECT_EQ(decoder.GetBitrate(), row.bitrate);
    EXPECT_EQ(decoder.GetSampleRate(), row.sampleRate);
    EXPECT_EQ(decoder.GetPacketBytes(), row.packetBytes);
}
INSTANTIATE_TEST_SUITE_P(Codecs, AudioDecoderProperties,
                         testing::Values(DecoderCase{"Gsm", 0, 44, 0, 13, 8000, 1280},
                                         DecoderCase{"Speex", 2, 24, 2, 15, 8000, 1280},
                                         DecoderCase{"SpeexHqOfTheRateThatItAnnounces", 3, 22, 3, 23, 32000, 5120},
                                         DecoderCase{"Mp3OfTheRateThatItAnnounces", 4, 512, 4, 64, 32000, 4608},
                                         DecoderCase{"Opus", 5, 0, 5, 0, 48000, 3840},
                                         DecoderCase{"NoCodec", 6, 44, 6, 0, 0, 0},
                                         DecoderCase{"Negative", -1, 44, 6, 0, 0, 0}),
                         qrn::test::CaseName{});

TEST(AudioDecoder, WithoutACodecAnswersMinusOne) {
    CAudioDecoder decoder(6, 0);
    const Bytes data(33);
    Pcm pcm(160, kUntouched);
    EXPECT_EQ(decoder.Decode(data.data(), 33, pcm.data(), 320), -1);
    EXPECT_EQ(decoder.Decode(data.data(), 0, pcm.data(), 320), -1);
    EXPECT_EQ(pcm, Pcm(160, kUntouched));
}

struct LengthCase {
    const char* name;
    int length;
    int maxBytes;
    int written;
};
class GsmDecoderLengths : public testing::TestWithParam<LengthCase> {};

TEST_P(GsmDecoderLengths, WritesWholeFramesWithinTheRoom) {
    const LengthCase& row = GetParam();
    const Bytes packet = EncodeVoice(kGsm, 13, 800);
    const auto data = Exactly(Bytes(packet.begin(), packet.begin() + std::max(row.length, 0)));
    CAudioDecoder decoder(kGsm, 13);
    Pcm pcm(1000, kUntouched);
    EXPECT_EQ(decoder.Decode(data.get(), row.length, pcm.data(), row.maxBytes), row.written);
    for (std::size_t i = static_cast<std::size_t>(row.written) / 2; i < pcm.size(); ++i) {
        ASSERT_EQ(pcm[i], kUntouched) << "written past the frames at " << i;
    }
}
INSTANTIATE_TEST_SUITE_P(Edges, GsmDecoderLengths,
                         testing::Values(LengthCase{"Empty", 0, 1280, 0}, LengthCase{"Negative", -33, 1280, 0},
                                         LengthCase{"Packet", 132, 1280, 1280}, LengthCase{"OneFrame", 33, 1280, 320},
                                         LengthCase{"FiveFrames", 165, 2000, 1600},
                                         LengthCase{"FiveFramesIntoAPacket", 165, 1280, 1280},
                                         LengthCase{"OneByte", 1, 1280, 320},
                                         LengthCase{"FrameAndOneByte", 34, 1280, 640},
                                         LengthCase{"RoomForLessThanAFrame", 132, 319, 0},
                                         LengthCase{"NoRoom", 132, 0, 0}, LengthCase{"NegativeRoom", 132, -320, 0}),
                         qrn::test::CaseName{});

TEST(GsmDecoder, TakesMissingBytesAsZero) {
    Bytes packet = EncodeVoice(kGsm, 13, 160);
    Bytes padded = packet;
    std::fill(padded.begin() + 20, padded.end(), std::uint8_t{0});
    const auto cut = Exactly(Bytes(packet.begin(), packet.begin() + 20));
    CAudioDecoder ofPadded(kGsm, 13);
    CAudioDecoder ofCut(kGsm, 13);
    Pcm expected(160);
    Pcm got(160);
    ASSERT_EQ(ofPadded.Decode(padded.data(), 33, expected.data(), 320), 320);
    ASSERT_EQ(ofCut.Decode(cut.get(), 20, got.data(), 320), 320);
    EXPECT_EQ(got, expected);
    EXPECT_NE(got, Pcm(160));
}

TEST(GsmDecoder, GivesSilenceForAFrameWithoutSignature) {
    Bytes packet = EncodeVoice(kGsm, 13, 320);
    packet[33] = 0x1F;
    CAudioDecoder decoder(kGsm, 13);
    Pcm pcm(320, kUntouched);
    ASSERT_EQ(decoder.Decode(packet.data(), 66, pcm.data(), 640), 640);
    EXPECT_NE(Pcm(pcm.begin(), pcm.begin() + 160), Pcm(160));
    EXPECT_EQ(Pcm(pcm.begin() + 160, pcm.end()), Pcm(160));
}

TEST(OpusDecoder, KeepsTheVoice) {
    CAudioEncoder encoder(kOpus, 64);
    CAudioDecoder decoder(kOpus, 0);
    const Pcm voice = Voice(1920 * 50, 48000, 400.0);
    Pcm heard(voice.size());
    for (std::size_t at = 0; at < voice.size(); at += 1920) {
        Bytes packet(3840);
        const int length = encoder.Encode(voice.data() + at, 1920, packet.data(), 3840);
        ASSERT_EQ(decoder.Decode(packet.data(), length, heard.data() + at, 3840), 3840);
    }
    EXPECT_GT(qrn::test::AlignedSignalToNoiseDb(voice, heard, 960), 8.0);
}

struct RoomCase {
    const char* name;
    int samples;   ///< in the packet
    int maxBytes;  ///< room
    int written;
};
class OpusDecoderRoom : public testing::TestWithParam<RoomCase> {};

TEST_P(OpusDecoderRoom, IsNeverExceeded) {
    const RoomCase& row = GetParam();
    const Bytes packet = EncodeVoice(kOpus, 32, row.samples);
    CAudioDecoder decoder(kOpus, 32);
    Pcm pcm(6000, kUntouched);
    EXPECT_EQ(decoder.Decode(packet.data(), static_cast<int>(packet.size()), pcm.data(), row.maxBytes), row.written);
    const std::size_t kept = static_cast<std::size_t>(std::max(row.written, 0)) / 2;
    for (std::size_t i = kept; i < pcm.size(); ++i) {
        ASSERT_EQ(pcm[i], kUntouched) << "written past the room at " << i;
    }
    // What is kept is what a decoder with room for everything gives.
    CAudioDecoder roomy(kOpus, 32);
    Pcm all(6000);
    ASSERT_EQ(roomy.Decode(packet.data(), static_cast<int>(packet.size()), all.data(), 12000), row.samples * 2);
    EXPECT_TRUE(std::equal(pcm.begin(), pcm.begin() + static_cast<std::ptrdiff_t>(kept), all.begin()));
}
// The room in bytes is the limit in samples too, so -2 (OPUS_BUFFER_TOO_SMALL) doubles only past twice the room.
INSTANTIATE_TEST_SUITE_P(Edges, OpusDecoderRoom,
                         testing::Values(RoomCase{"Packet", 1920, 3840, 3840}, RoomCase{"OneFrame", 960, 3840, 1920},
                                         RoomCase{"TwiceTheRoomIsCut", 3840, 3840, 3840},
                                         RoomCase{"MoreThanTwiceIsRefused", 4800, 3840, -4},
                                         RoomCase{"LongestPacketWithRoom", 5760, 11520, 11520},
                                         RoomCase{"OddRoom", 960, 1001, 1000}, RoomCase{"NoRoom", 960, 0, -2}),
                         qrn::test::CaseName{});

TEST(OpusDecoder, ConcealsForAnEmptyPacketWithinTheRoom) {
    CAudioDecoder decoder(kOpus, 32);
    const Bytes packet = EncodeVoice(kOpus, 32, 1920);
    Pcm pcm(4000, kUntouched);
    ASSERT_EQ(decoder.Decode(packet.data(), static_cast<int>(packet.size()), pcm.data(), 3840), 3840);
    EXPECT_EQ(decoder.Decode(packet.data(), 0, pcm.data(), 3840), 3840);
    EXPECT_EQ(pcm[1920], kUntouched);
    EXPECT_EQ(decoder.Decode(packet.data(), -1, pcm.data(), 3840), 0);
}

class DecodersOnBadInput : public testing::TestWithParam<int> {};

TEST_P(DecodersOnBadInput, StayWithinTheRoomAndRecover) {
    const int codec = GetParam();
    CAudioDecoder decoder(codec, 32);
    const int room = decoder.GetPacketBytes();
    const int samples = room / 2;
    const Bytes good = EncodeVoice(codec, 32, samples);
    Pcm pcm(static_cast<std::size_t>(samples) + 8, kUntouched);
    const auto decode = [&](const Bytes& bytes) {
        const auto data = Exactly(bytes);
        const int written = decoder.Decode(data.get(), static_cast<int>(bytes.size()), pcm.data(), room);
        ASSERT_LE(written, room);
        ASSERT_EQ(pcm[static_cast<std::size_t>(samples)], kUntouched);
    };
    testing::internal::CaptureStderr();
    for (std::size_t length = 1; length < good.size(); ++length) {
        decode(Bytes(good.begin(), good.begin() + static_cast<std::ptrdiff_t>(length)));
    }
    for (std::uint32_t seed = 1; seed < 400; ++seed) {
        Bytes flipped = good;
        flipped[seed % flipped.size()] ^= static_cast<std::uint8_t>(seed);
        decode(flipped);
        decode(Random<std::uint8_t>(seed, seed));
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "") << "a far end could fill a log with it";
    EXPECT_EQ(decoder.Decode(good.data(), static_cast<int>(good.size()), pcm.data(), room), room);
}
INSTANTIATE_TEST_SUITE_P(Codecs, DecodersOnBadInput, testing::Range(0, 6));

}  // namespace
