#include "AudioCompressorFixture.h"

#include <algorithm>
#include <cstdint>
#include <vector>

#include "audiocoding/CAudioDecoder.h"
#include "audiocoding/CAudioEncoder.h"
#include "audiocoding/CDcFilter.h"

namespace {

using qrn::test::AudioCompressor;
using qrn::test::AudioCompressorCodec;
using qrn::test::Bytes;
using qrn::test::CodecCase;
using qrn::test::Delivered;
using qrn::test::Encode;
using qrn::test::Interleave;
using qrn::test::kCodecCases;
using qrn::test::kGsm;
using qrn::test::kMp3;
using qrn::test::kMs;
using qrn::test::kOpus;
using qrn::test::OffsetVoice;
using qrn::test::Pcm;
using qrn::test::PcmType;
using qrn::test::Voice;

TEST_F(AudioCompressor, GathersSmallSamplesAndComplainsOnce) {
    Start(kGsm);
    const Pcm voice = Voice(640, 8000);
    for (std::size_t at = 0; at < 640; at += 160) {
        EXPECT_TRUE(m_bench->Samples().empty());
        const auto from = voice.begin() + static_cast<std::ptrdiff_t>(at);
        EXPECT_EQ(m_bench->Push(Pcm(from, from + 160), static_cast<REFERENCE_TIME>(at) * 1250), S_OK);
    }
    ASSERT_EQ(m_bench->Samples().size(), 1U);
    const Delivered& packet = m_bench->Samples()[0];
    EXPECT_EQ(packet.data.size(), 132U);
    EXPECT_TRUE(packet.isSyncPoint);
    EXPECT_FALSE(packet.isPreroll);
    EXPECT_FALSE(packet.hasStop);
    EXPECT_FALSE(packet.hasMediaTime);
    EXPECT_EQ(m_bench->graph.events, std::vector<LONG>{EC_QUALITY_CHANGE});
}

TEST_F(AudioCompressor, GivesAsManyPacketsAsASampleHolds) {
    Start(kGsm);
    EXPECT_EQ(m_bench->Push(Voice(640 * 3 + 100, 8000), 50 * kMs), S_OK);
    EXPECT_EQ(Times(), (std::vector<REFERENCE_TIME>{50 * kMs, 130 * kMs, 210 * kMs}));
}

TEST_F(AudioCompressor, GoesOnAfterARefusedPacket) {
    Start(kGsm);
    m_bench->Sink().answer = E_FAIL;
    EXPECT_EQ(m_bench->Push(Voice(640 * 2, 8000)), S_OK);
    EXPECT_EQ(m_bench->Samples().size(), 2U);
}

TEST_P(AudioCompressorCodec, CodesTheVoiceWithOrWithoutItsConstantPart) {
    const CodecCase& row = GetParam();
    StartCodec();
    Pcm voice = OffsetVoice(row, 3);
    ASSERT_EQ(m_bench->Push(voice), S_OK);
    if (row.isConditioned) {
        qrn::CDcFilter filter;
        filter.Process(voice);
    }
    CAudioEncoder encoder(static_cast<int>(row.codec), 64);
    ASSERT_EQ(m_bench->Samples().size(), 3U);
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(m_bench->Samples()[i].data, Encode(encoder, voice.data() + i * row.packetSamples)) << "packet " << i;
    }
    LONG level = 0;
    EXPECT_EQ(m_control->GetLevel(&level, 0), S_OK);
    EXPECT_EQ(level, CAudioEncoder::GetLevel(voice.data() + 2 * row.packetSamples, encoder.GetPacketSamples()));
    EXPECT_EQ(m_control->GetLevel(&level, 1), S_OK);
    EXPECT_EQ(level, 0);
}

TEST_P(AudioCompressorCodec, PutsTheChannelsOfAStereoPacketBackToBack) {
    const CodecCase& row = GetParam();
    StartCodec(2);
    Pcm left = OffsetVoice(row, 3, 110);
    Pcm right = OffsetVoice(row, 3, 180);
    ASSERT_EQ(m_bench->Push(Interleave(left, right)), S_OK);
    if (row.isConditioned) {
        qrn::CDcFilter leftFilter;
        qrn::CDcFilter rightFilter;
        leftFilter.Process(left);
        rightFilter.Process(right);
    }
    CAudioEncoder leftEncoder(static_cast<int>(row.codec), 64);
    CAudioEncoder rightEncoder(static_cast<int>(row.codec), 64);
    ASSERT_EQ(m_bench->Samples().size(), 3U);
    for (std::size_t i = 0; i < 3; ++i) {
        const Bytes leftPacket = Encode(leftEncoder, left.data() + i * row.packetSamples);
        const Bytes rightPacket = Encode(rightEncoder, right.data() + i * row.packetSamples);
        Bytes expected;
        if (row.codec == kMp3) {
            expected = {static_cast<std::uint8_t>(leftPacket.size()),
                        static_cast<std::uint8_t>(leftPacket.size() >> 8)};
        } else {
            EXPECT_EQ(leftPacket.size(), rightPacket.size()) << "a receiver splits in the middle";
        }
        expected.insert(expected.end(), leftPacket.begin(), leftPacket.end());
        expected.insert(expected.end(), rightPacket.begin(), rightPacket.end());
        EXPECT_EQ(m_bench->Samples()[i].data, expected) << "packet " << i;
    }
    LONG level = 0;
    m_control->GetLevel(&level, 1);
    EXPECT_EQ(level, CAudioEncoder::GetLevel(right.data() + 2 * row.packetSamples, rightEncoder.GetPacketSamples()));
}

INSTANTIATE_TEST_SUITE_P(Codecs, AudioCompressorCodec, kCodecCases, qrn::test::CaseName{});

TEST_F(AudioCompressor, FiltersTheOnlyChannelWithTheRightOnesState) {
    Start(kGsm);
    const Pcm constant(640, 5000);
    m_bench->Push(constant);
    m_bench->Disconnect();
    Start(kGsm, 2);
    m_bench->Push(Interleave(constant, constant));
    Pcm left = constant;
    qrn::CDcFilter leftFilter;
    leftFilter.Process(left);
    Pcm right(1280, 5000);
    qrn::CDcFilter rightFilter;
    rightFilter.Process(right);
    CAudioEncoder encoder(kGsm, 13);
    Bytes expected = Encode(encoder, left.data());
    CAudioEncoder rightEncoder(kGsm, 13);
    const Bytes rightPacket = Encode(rightEncoder, right.data() + 640);
    expected.insert(expected.end(), rightPacket.begin(), rightPacket.end());
    ASSERT_EQ(m_bench->Samples().size(), 2U);
    EXPECT_EQ(m_bench->Samples()[1].data, expected);
}

TEST_F(AudioCompressor, MakesTheHalvesOfALowRateEqual) {
    // At this rate the coded frames differ in length, which the packets of a mono stream keep.
    constexpr int kPackets = 25;
    ASSERT_EQ(m_control->SetChannels(2), S_OK);
    ASSERT_EQ(m_control->SetCodec(kOpus, 16), S_OK);
    ASSERT_EQ(m_bench->Connect(PcmType(48000, 2)), S_OK);
    m_bench->Run();
    const Pcm left = Voice(1920 * kPackets, 48000, 110);
    const Pcm right = Voice(1920 * kPackets, 48000, 180);
    CAudioEncoder leftEncoder(kOpus, 16);
    CAudioEncoder rightEncoder(kOpus, 16);
    CAudioDecoder expectedDecoder(kOpus, 16);
    CAudioDecoder decoder(kOpus, 16);
    int unequal = 0;
    std::size_t delivered = 0;
    for (std::size_t i = 0; i < kPackets; ++i) {
        const std::size_t at = i * 1920;
        const auto cut = [at](const Pcm& pcm) {
            return Pcm(pcm.begin() + static_cast<std::ptrdiff_t>(at),
                       pcm.begin() + static_cast<std::ptrdiff_t>(at + 1920));
        };
        ASSERT_EQ(m_bench->Push(Interleave(cut(left), cut(right))), S_OK);
        Bytes leftPacket(3840);
        Bytes rightPacket(3840);
        const int leftBytes = leftEncoder.Encode(left.data() + at, 1920, leftPacket.data(), 3840);
        const int rightBytes = rightEncoder.Encode(right.data() + at, 1920, rightPacket.data(), 3840);
        if (leftBytes <= 0 || rightBytes <= 0) {
            ASSERT_EQ(m_bench->Samples().size(), delivered) << "one channel alone would be split";
            continue;
        }
        unequal += leftBytes != rightBytes ? 1 : 0;
        ASSERT_EQ(m_bench->Samples().size(), ++delivered);
        const Bytes& payload = m_bench->Samples().back().data;
        ASSERT_EQ(payload.size(), 2U * static_cast<std::size_t>(std::max(leftBytes, rightBytes)));
        const int half = static_cast<int>(payload.size() / 2);
        Pcm expected(1920);
        Pcm got(1920);
        ASSERT_EQ(expectedDecoder.Decode(rightPacket.data(), rightBytes, expected.data(), 3840), 3840);
        ASSERT_EQ(decoder.Decode(payload.data() + half, half, got.data(), 3840), 3840);
        ASSERT_EQ(got, expected) << "packet " << i;
    }
    EXPECT_GT(unequal, 0);
    EXPECT_GT(delivered, 20U);
}

TEST_F(AudioCompressor, OutlastsAMutedStreamOfLargeSamples) {
    Start(kGsm);
    m_control->SetMute(true);
    // One packet of each sample is taken while muted: the gathered rest grows to its limit, then input is dropped.
    for (int i = 0; i < 100; ++i) {
        EXPECT_EQ(m_bench->Push(Voice(640 * 4, 8000)), S_OK);
    }
    m_control->SetMute(false);
    EXPECT_EQ(m_bench->Push(Voice(640, 8000)), S_OK);
    EXPECT_GE(m_bench->Samples().size(), 30U);
    EXPECT_LE(m_bench->Samples().size(), 50U);
}

struct OverflowCase {
    const char* name;
    std::size_t samples;
    std::size_t packets;
};
class AudioCompressorOverflow : public AudioCompressor, public testing::WithParamInterface<OverflowCase> {};

TEST_P(AudioCompressorOverflow, DropsTheSampleThatDoesNotFit) {
    Start(kGsm);
    EXPECT_EQ(m_bench->Push(Pcm(GetParam().samples)), S_OK);
    EXPECT_EQ(m_bench->Samples().size(), GetParam().packets);
}
INSTANTIATE_TEST_SUITE_P(Edges, AudioCompressorOverflow,
                         testing::Values(OverflowCase{"JustFits", 31999, 49}, OverflowCase{"FillsItWhole", 32000, 0},
                                         OverflowCase{"FarTooLong", 60000, 0}),
                         qrn::test::CaseName{});

TEST_F(AudioCompressor, TakesOddLengths) {
    Start(kGsm);
    const Bytes odd(1279, 0);
    EXPECT_EQ(m_bench->Push(odd), S_OK);
    EXPECT_EQ(m_bench->Push(Bytes(1, 0)), S_OK);
    EXPECT_EQ(m_bench->Samples().size(), 1U);
    EXPECT_EQ(m_bench->Push(Bytes()), S_OK);
    EXPECT_EQ(m_bench->Samples().size(), 1U);
}

TEST_F(AudioCompressor, TakesBrokenStereoPairs) {
    Start(kGsm, 2);
    for (int i = 0; i < 2000; ++i) {
        ASSERT_EQ(m_bench->Push(Bytes(static_cast<std::size_t>(i % 11), 1)), S_OK);
    }
    EXPECT_GT(m_bench->Samples().size(), 0U);
}

TEST_F(AudioCompressor, PassesAControlStreamOn) {
    Start(kGsm);
    const auto sample = m_bench->Sample();
    const auto sample2 = sample.As<IMediaSample2>();
    ASSERT_TRUE(sample2);
    AM_SAMPLE2_PROPERTIES properties{};
    ASSERT_EQ(sample2->GetProperties(sizeof(properties), reinterpret_cast<BYTE*>(&properties)), S_OK);
    properties.dwStreamId = AM_STREAM_CONTROL;
    properties.lActual = 5;
    ASSERT_EQ(sample2->SetProperties(sizeof(properties), reinterpret_cast<BYTE*>(&properties)), S_OK);
    EXPECT_EQ(m_bench->PushSample(sample.Get()), S_OK);
    ASSERT_EQ(m_bench->Samples().size(), 1U);
    EXPECT_EQ(m_bench->Samples()[0].data.size(), 5U);
}

}  // namespace
