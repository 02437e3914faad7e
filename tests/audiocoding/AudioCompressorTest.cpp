#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <optional>
#include <string>
#include <thread>

#include "FilterBench.h"
#include "MemoryStream.h"
#include "Signals.h"
#include "audiocoding/CAudioCompressor.h"
#include "audiocoding/CAudioDecoder.h"
#include "platform/com/TaskMemory.h"

namespace {

using qrn::ComPtr;
using qrn::test::Bytes;
using qrn::test::CFilterBench;
using qrn::test::CMemoryStream;
using qrn::test::Delivered;
using qrn::test::Pcm;
using qrn::test::PcmType;
using qrn::test::Voice;

constexpr DWORD kGsm = 0;
constexpr DWORD kSpeex = 2;
constexpr DWORD kMp3 = 4;
constexpr DWORD kOpus = 5;
constexpr REFERENCE_TIME kMs = 10000;

Pcm Interleave(const Pcm& left, const Pcm& right) {
    Pcm pcm;
    for (std::size_t i = 0; i < left.size(); ++i) {
        pcm.push_back(left[i]);
        pcm.push_back(right[i]);
    }
    return pcm;
}

/// One codec, as far as these tests need to know it.
struct CodecCase {
    const char* name;
    DWORD codec;
    unsigned sampleRateHz;
    std::size_t packetSamples;
    REFERENCE_TIME packetTime;
    REFERENCE_TIME delay;  ///< that the time stamps make up for
    bool isConditioned;    ///< by the filter that takes the constant part out
};
const auto kCodecCases = testing::Values(
    CodecCase{"Gsm", 0, 8000, 640, 80 * kMs, 0, true}, CodecCase{"G72x", 1, 8000, 640, 80 * kMs, 0, true},
    CodecCase{"Speex", 2, 8000, 640, 80 * kMs, 0, false}, CodecCase{"SpeexHq", 3, 32000, 2560, 80 * kMs, 0, false},
    CodecCase{"Mp3", 4, 32000, 2304, 72 * kMs, 72 * kMs, true}, CodecCase{"Opus", 5, 48000, 1920, 40 * kMs, 0, false});

/// What an encoder gives for a packet of it.
Bytes Encode(CAudioEncoder& encoder, const std::int16_t* pcm) {
    Bytes packet(static_cast<std::size_t>(encoder.GetMaxPacketSize()));
    const int length = encoder.Encode(pcm, encoder.GetPacketSamples(), packet.data(), encoder.GetMaxPacketSize());
    packet.resize(static_cast<std::size_t>(std::max(length, 0)));
    return packet;
}

/// A voice with a constant part, which a filter would take out.
Pcm OffsetVoice(const CodecCase& codec, std::size_t packets, double pitchHz = 120.0) {
    Pcm voice = Voice(static_cast<int>(codec.packetSamples * packets), static_cast<int>(codec.sampleRateHz), pitchHz);
    for (std::int16_t& sample : voice) {
        sample = static_cast<std::int16_t>(sample / 2 + 3000);
    }
    return voice;
}

Pcm Part(const Pcm& pcm, std::size_t at, std::size_t count) {
    return Pcm(pcm.begin() + static_cast<std::ptrdiff_t>(at), pcm.begin() + static_cast<std::ptrdiff_t>(at + count));
}

/// A compressor with a codec set, between a source and a sink.
class AudioCompressor : public testing::Test {
protected:
    void SetUp() override {
        HRESULT result = S_OK;
        CUnknown* filter = CAudioCompressor::CreateInstance(nullptr, &result);
        ASSERT_NE(filter, nullptr);
        ASSERT_EQ(result, S_OK);
        m_bench.emplace(filter);
        m_filter = static_cast<CAudioCompressor*>(filter);
        m_control = m_bench->As<IQRN_AudioCompressor>();
        ASSERT_TRUE(m_control);
    }

    void Start(DWORD codec, DWORD channels = 1, unsigned sampleRateHz = 8000) {
        ASSERT_EQ(m_control->SetChannels(channels), S_OK);
        ASSERT_EQ(m_control->SetCodec(codec, 64), S_OK);
        ASSERT_EQ(m_bench->Connect(PcmType(sampleRateHz, channels)), S_OK);
        m_bench->Run();
    }

    std::vector<REFERENCE_TIME> Times() {
        std::vector<REFERENCE_TIME> times;
        for (const Delivered& sample : m_bench->Samples()) {
            times.push_back(sample.start.value_or(-1));
        }
        return times;
    }

    std::optional<CFilterBench> m_bench;
    CAudioCompressor* m_filter = nullptr;
    ComPtr<IQRN_AudioCompressor> m_control;
};

TEST_F(AudioCompressor, StartsWithFieldsAndEncoderThatDisagree) {
    DWORD codec = 0;
    LONG bitrate = 0;
    DWORD channels = 0;
    DWORD packetBytes = 0;
    EXPECT_EQ(m_control->GetCodec(&codec), S_OK);
    EXPECT_EQ(m_control->GetBitrate(&bitrate), S_OK);
    EXPECT_EQ(m_control->GetChannels(&channels), S_OK);
    EXPECT_EQ(m_control->GetInputPacketBytes(&packetBytes), S_OK);
    EXPECT_EQ(codec, 3U);
    EXPECT_EQ(bitrate, 44);
    EXPECT_EQ(channels, 1U);
    EXPECT_EQ(packetBytes, 1280U) << "of the encoder made at first, which is GSM";
}

TEST_F(AudioCompressor, RefusesWrongArguments) {
    EXPECT_EQ(m_control->SetChannels(0), E_INVALIDARG);
    EXPECT_EQ(m_control->SetChannels(3), E_INVALIDARG);
    EXPECT_EQ(m_control->SetCodec(6, 32), E_FAIL);
    LONG level = 0;
    EXPECT_EQ(m_control->GetLevel(nullptr, 0), E_INVALIDARG);
    EXPECT_EQ(m_control->GetLevel(&level, 2), E_INVALIDARG);
    EXPECT_EQ(m_control->GetInputPacketBytes(nullptr), E_INVALIDARG);
}

TEST_F(AudioCompressor, IsNotChangedWhileConnected) {
    ASSERT_EQ(m_control->SetCodec(kGsm, 64), S_OK);
    ASSERT_EQ(m_bench->ConnectInput(PcmType(8000, 1)), S_OK);
    EXPECT_EQ(m_control->SetCodec(kOpus, 32), E_FAIL);
    EXPECT_EQ(m_control->SetChannels(2), E_FAIL);
    EXPECT_EQ(m_control->SetChannels(3), E_INVALIDARG);
    DWORD codec = 9;
    LONG bitrate = 0;
    m_control->GetCodec(&codec);
    m_control->GetBitrate(&bitrate);
    EXPECT_EQ(codec, kGsm);
    EXPECT_EQ(bitrate, 13);
}

struct InputCase {
    const char* name;
    unsigned sampleRateHz;
    unsigned channels;
    WORD bits;
    HRESULT result;
};
class AudioCompressorInput : public AudioCompressor, public testing::WithParamInterface<InputCase> {};

TEST_P(AudioCompressorInput, MustFitTheEncoder) {
    const InputCase& row = GetParam();
    m_control->SetCodec(kGsm, 13);
    CMediaType type = PcmType(row.sampleRateHz, row.channels);
    const WORD bits = row.bits;
    std::memcpy(type.Format() + offsetof(WAVEFORMATEX, wBitsPerSample), &bits, sizeof(bits));
    EXPECT_EQ(m_filter->CheckInputType(&type), row.result);
}
INSTANTIATE_TEST_SUITE_P(Types, AudioCompressorInput,
                         testing::Values(InputCase{"Fits", 8000, 1, 16, S_OK},
                                         InputCase{"OtherRate", 16000, 1, 16, VFW_E_TYPE_NOT_ACCEPTED},
                                         InputCase{"Stereo", 8000, 2, 16, VFW_E_TYPE_NOT_ACCEPTED},
                                         InputCase{"EightBits", 8000, 1, 8, VFW_E_TYPE_NOT_ACCEPTED}),
                         qrn::test::CaseName{});

TEST_F(AudioCompressor, RefusesTypesThatAreNoWaveFormat) {
    CMediaType video = PcmType(8000, 1);
    video.SetType(&MEDIATYPE_Video);
    EXPECT_EQ(m_filter->CheckInputType(&video), VFW_E_TYPE_NOT_ACCEPTED);
    CMediaType bare;
    bare.SetType(&MEDIATYPE_Audio);
    EXPECT_EQ(m_filter->CheckInputType(&bare), E_OUTOFMEMORY);
    BYTE tooShort[4] = {};
    bare.SetFormat(tooShort, sizeof(tooShort));
    EXPECT_EQ(m_filter->CheckInputType(&bare), VFW_E_TYPE_NOT_ACCEPTED);
}

struct OutputCase {
    const char* name;
    DWORD codec;
    DWORD channels;
    unsigned sampleRateHz;
    WAVEFORMATEX format;
    GUID subtype;
    LONG bufferBytes;
    DWORD inputBytes;
};
class AudioCompressorOutput : public AudioCompressor, public testing::WithParamInterface<OutputCase> {};

TEST_P(AudioCompressorOutput, AnnouncesTheStream) {
    const OutputCase& row = GetParam();
    ASSERT_EQ(m_control->SetChannels(row.channels), S_OK);
    ASSERT_EQ(m_control->SetCodec(row.codec, 64), S_OK);
    ASSERT_EQ(m_bench->Connect(PcmType(row.sampleRateHz, row.channels)), S_OK);
    AM_MEDIA_TYPE connected{};
    ASSERT_EQ(m_bench->OutputPin()->ConnectionMediaType(&connected), S_OK);
    EXPECT_EQ(connected.majortype, MEDIATYPE_Audio);
    EXPECT_EQ(connected.subtype, row.subtype);
    EXPECT_EQ(connected.formattype, FORMAT_WaveFormatEx);
    ASSERT_EQ(connected.cbFormat, 18U);
    EXPECT_EQ(std::memcmp(connected.pbFormat, &row.format, 18), 0);
    CoTaskMemFree(connected.pbFormat);

    DWORD inputBytes = 0;
    EXPECT_EQ(m_control->GetInputPacketBytes(&inputBytes), S_OK);
    EXPECT_EQ(inputBytes, row.inputBytes);
    const auto out = m_bench->OutputSample();
    ASSERT_TRUE(out);
    EXPECT_EQ(out->GetSize(), row.bufferBytes);

    CMediaType type;
    EXPECT_EQ(m_filter->GetMediaType(-1, &type), E_INVALIDARG);
    EXPECT_EQ(m_filter->GetMediaType(1, &type), VFW_S_NO_MORE_ITEMS);
}
INSTANTIATE_TEST_SUITE_P(
    Streams, AudioCompressorOutput,
    testing::Values(
        OutputCase{"Gsm", 0, 1, 8000, {14212, 1, 1650, 1650, 1, 8, 0}, MEDIASUBTYPE_QRN_GSM, 132, 1280},
        OutputCase{"GsmStereo", 0, 2, 8000, {14212, 2, 1650, 3300, 2, 8, 0}, MEDIASUBTYPE_QRN_GSM, 264, 2560},
        OutputCase{"Speex", 2, 1, 8000, {14214, 1, 3100, 3100, 1, 8, 0}, MEDIASUBTYPE_QRN_SPEEX, 248, 1280},
        OutputCase{
            "SpeexHqStereo", 3, 2, 32000, {14215, 2, 5500, 11000, 2, 8, 0}, MEDIASUBTYPE_QRN_SPEEX_HQ, 880, 10240},
        OutputCase{"Mp3", 4, 1, 32000, {14216, 1, 64000, 64000, 1, 8, 0}, MEDIASUBTYPE_QRN_MP3, 4608, 4608},
        OutputCase{"Mp3Stereo", 4, 2, 32000, {14216, 2, 64000, 128000, 2, 8, 0}, MEDIASUBTYPE_QRN_MP3, 9216, 9216},
        OutputCase{"Opus", 5, 1, 48000, {14217, 1, 0, 0, 1, 8, 0}, MEDIASUBTYPE_QRN_OPUS, 3840, 3840},
        OutputCase{"OpusStereo", 5, 2, 48000, {14217, 2, 0, 0, 2, 8, 0}, MEDIASUBTYPE_QRN_OPUS, 7680, 7680}),
    qrn::test::CaseName{});

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

class AudioCompressorCodec : public AudioCompressor, public testing::WithParamInterface<CodecCase> {
protected:
    void StartCodec(DWORD channels = 1) { Start(GetParam().codec, channels, GetParam().sampleRateHz); }
};

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

TEST_P(AudioCompressorCodec, AnchorsItsTimesWhenTheInputRanDry) {
    const CodecCase& row = GetParam();
    StartCodec();
    const std::size_t half = row.packetSamples / 2;
    const REFERENCE_TIME halfTime = row.packetTime / 2;
    const Pcm voice = OffsetVoice(row, 2);
    // Half a packet at 1000 ms, and what completes it. The packet began half a packet before that.
    m_bench->Push(Part(voice, 0, half), 1000 * kMs);
    m_bench->Push(Part(voice, 0, half), 1000 * kMs + halfTime);
    // A gap of a second, then a packet and a half in one sample, and the rest of the second one late.
    m_bench->Push(Part(voice, 0, 3 * half), 2080 * kMs);
    m_bench->Push(Part(voice, 0, half), 2280 * kMs);
    // A time before the stream's start is lifted to it.
    m_bench->Push(Part(voice, 0, half), 10 * kMs);
    m_bench->Push(Part(voice, 0, half), 15 * kMs);
    EXPECT_EQ(Times(), (std::vector<REFERENCE_TIME>{1000 * kMs - row.delay, 2080 * kMs - row.delay,
                                                    2280 * kMs - halfTime - row.delay, 0}));
}

TEST_P(AudioCompressorCodec, SendsAfterARestartWhatWasGatheredBefore) {
    const CodecCase& row = GetParam();
    StartCodec();
    const std::size_t half = row.packetSamples / 2;
    Pcm voice = OffsetVoice(row, 1);
    m_bench->Push(Part(voice, 0, half), 1000 * kMs);
    m_bench->Stop();
    m_bench->Run();
    m_bench->Push(Part(voice, half, half), 500 * kMs);
    EXPECT_EQ(Times(), (std::vector<REFERENCE_TIME>{500 * kMs - row.packetTime / 2 - row.delay}));
    if (row.isConditioned) {
        qrn::CDcFilter filter;
        filter.Process(voice);
    }
    CAudioEncoder encoder(static_cast<int>(row.codec), 64);
    EXPECT_EQ(m_bench->Samples()[0].data, Encode(encoder, voice.data()));
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

TEST_F(AudioCompressor, HalvesTheGatheredTimeOfAStereoStreamTwice) {
    Start(kGsm, 2);
    const Pcm half = Voice(320, 8000);
    m_bench->Push(Interleave(half, half), 1000 * kMs);
    m_bench->Push(Interleave(half, half), 1040 * kMs);
    EXPECT_EQ(Times(), (std::vector<REFERENCE_TIME>{1020 * kMs}));
}

TEST_F(AudioCompressor, TakesTimeZeroFromASampleWithoutTime) {
    Start(kGsm);
    m_bench->Push(Voice(640, 8000));
    EXPECT_EQ(Times(), (std::vector<REFERENCE_TIME>{0}));
}

struct DayCase {
    const char* name;
    std::size_t blockSamples;
    REFERENCE_TIME blockTime;  ///< that passes from one block to the next
    REFERENCE_TIME tolerance;  ///< of a time after the stream was muted for minutes and ran on by itself
};
class AudioCompressorDay : public AudioCompressor, public testing::WithParamInterface<DayCase> {};

TEST_P(AudioCompressorDay, LeavesTheTimesWhereTheSamplesAre) {
    // Muted but for a moment every 5 minutes, since coding a day takes minutes.
    constexpr REFERENCE_TIME kDay = 24 * 3600 * 1000 * kMs;
    constexpr REFERENCE_TIME kPeriod = 300 * 1000 * kMs;
    const DayCase& row = GetParam();
    Start(kSpeex);
    m_control->SetMute(true);
    const Pcm block(row.blockSamples);
    std::size_t pushed = 0;
    std::size_t moments = 0;
    bool wasMuted = true;
    REFERENCE_TIME start = 0;
    for (; start < kDay; start += row.blockTime, pushed += row.blockSamples) {
        const bool isMoment = start % kPeriod >= kPeriod - 500 * kMs;
        m_control->SetMute(!isMoment);
        m_bench->Push(block, start);
        auto& samples = m_bench->Samples();
        if (samples.empty()) {
            wasMuted = !isMoment;
            continue;
        }
        // Where the first sample of the packet lies on the clock of the input: all before it have been taken.
        const std::size_t behind = (pushed + row.blockSamples) % 640;
        const auto ahead = static_cast<REFERENCE_TIME>(640 + behind) - static_cast<REFERENCE_TIME>(row.blockSamples);
        const REFERENCE_TIME expected = start - ahead * 1250;
        ASSERT_NEAR(static_cast<double>(*samples[0].start), static_cast<double>(expected),
                    static_cast<double>(wasMuted ? row.tolerance : 0))
            << "after " << start / (60 * 1000 * kMs) << " minutes";
        wasMuted = false;
        ++moments;
        samples.clear();
    }
    EXPECT_GE(moments, 288U * 6U);
}
INSTANTIATE_TEST_SUITE_P(Inputs, AudioCompressorDay,
                         testing::Values(DayCase{"InOddBlocks", 441, 551250, 0},
                                         DayCase{"WithADriftingClock", 640, 800100, 38 * kMs},
                                         DayCase{"WithAClockThatDriftsBack", 640, 799900, 38 * kMs}),
                         qrn::test::CaseName{});

TEST_F(AudioCompressor, StampsByTheStreamClockWhenAskedTo) {
    m_filter->SetSyncSource(&m_bench->clock);
    m_bench->clock.now = 70000 * kMs;
    m_control->SetUseSampleTimes(false);
    Start(kGsm);
    m_bench->clock.now += 123 * kMs;
    m_bench->Push(Voice(640, 8000), 5 * kMs);
    m_filter->SetSyncSource(nullptr);
    m_bench->Push(Voice(640, 8000), 7 * kMs);
    EXPECT_EQ(Times(), (std::vector<REFERENCE_TIME>{123 * kMs, 7 * kMs})) << "without a clock the sample's time counts";
}

TEST_F(AudioCompressor, MeasuresWhileMutedAndSendsNothing) {
    Start(kGsm);
    m_control->SetMute(true);
    const Pcm loud = Voice(640, 8000);
    m_bench->Push(loud, 100 * kMs);
    LONG level = 0;
    m_control->GetLevel(&level, 0);
    EXPECT_GT(level, 15000);
    EXPECT_TRUE(m_bench->Samples().empty());
    m_bench->Push(Pcm(640), 180 * kMs);
    m_bench->Push(Pcm(640), 260 * kMs);
    m_control->GetLevel(&level, 0);
    EXPECT_LT(level, 1000) << "the level follows the muted input";
    // Time went on by a packet for each: the running time, and not that of the sample, is used.
    m_control->SetMute(false);
    m_bench->Push(Pcm(640), 999 * kMs);
    EXPECT_EQ(Times(), (std::vector<REFERENCE_TIME>{340 * kMs}));
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

/// A stream as a compressor with these settings saves it.
ComPtr<CMemoryStream> SavedSettings(std::uint8_t channels, std::uint8_t codec) {
    auto stream = CMemoryStream::Create();
    for (const char character : std::string("00000000001 ")) {
        stream->bytes.push_back(static_cast<std::uint8_t>(character));
        stream->bytes.push_back(0);
    }
    const Bytes settings{channels, 0, 0, 0, codec, 0, 0, 0, 64, 0, 0, 0};
    stream->bytes.insert(stream->bytes.end(), settings.begin(), settings.end());
    return stream;
}

TEST_F(AudioCompressor, PersistsItsSettings) {
    auto persist = m_bench->As<IPersistStream>();
    ASSERT_TRUE(persist);
    ULONGLONG size = 0;
    EXPECT_EQ(persist->GetSizeMax(&size), S_OK);
    EXPECT_EQ(size, 28U);
    const auto stream = CMemoryStream::Create();
    ASSERT_EQ(persist->Save(stream.Get(), TRUE), S_OK);
    const Bytes expected{'0', 0, '0', 0, '0', 0, '0', 0, '0', 0, '0', 0, '0', 0, '0', 0, '0', 0,
                         '0', 0, '1', 0, ' ', 0, 1,   0, 0,   0, 3,   0, 0,   0, 44,  0, 0,   0};
    EXPECT_EQ(stream->bytes, expected);
}

struct LoadCase {
    const char* name;
    Bytes tail;  ///< what follows the version text
    char version;
    HRESULT result;
    DWORD codec;
    DWORD channels;
    LONG bitrate;
};
class AudioCompressorLoad : public AudioCompressor, public testing::WithParamInterface<LoadCase> {};

TEST_P(AudioCompressorLoad, TakesWholeAndValidSettingsOnly) {
    const LoadCase& row = GetParam();
    auto persist = m_bench->As<IPersistStream>();
    const auto stream = SavedSettings(1, kGsm);
    stream->bytes.resize(24);
    stream->bytes[20] = static_cast<std::uint8_t>(row.version);
    stream->bytes.insert(stream->bytes.end(), row.tail.begin(), row.tail.end());
    EXPECT_EQ(persist->Load(stream.Get()), row.result);
    DWORD codec = 0;
    DWORD channels = 0;
    LONG bitrate = 0;
    m_control->GetCodec(&codec);
    m_control->GetChannels(&channels);
    m_control->GetBitrate(&bitrate);
    EXPECT_EQ(codec, row.codec);
    EXPECT_EQ(channels, row.channels);
    EXPECT_EQ(bitrate, row.bitrate);
}
INSTANTIATE_TEST_SUITE_P(
    Streams, AudioCompressorLoad,
    testing::Values(LoadCase{"Opus", {2, 0, 0, 0, 5, 0, 0, 0, 96, 0, 0, 0}, '1', S_OK, 5, 2, 96},
                    LoadCase{"OtherVersion", {2, 0, 0, 0, 5, 0, 0, 0, 96, 0, 0, 0}, '2', E_FAIL, 3, 1, 44},
                    LoadCase{"Short", {2, 0, 0, 0, 5, 0, 0, 0, 96, 0, 0}, '1', E_FAIL, 3, 1, 44},
                    LoadCase{"NoSuchChannels", {3, 0, 0, 0, 5, 0, 0, 0, 96, 0, 0, 0}, '1', E_INVALIDARG, 3, 1, 44},
                    LoadCase{"NoSuchCodec", {2, 0, 0, 0, 6, 0, 0, 0, 96, 0, 0, 0}, '1', E_INVALIDARG, 3, 1, 44}),
    qrn::test::CaseName{});

TEST_F(AudioCompressor, OutlastsALoadInMidStream) {
    Start(kGsm);
    const auto stream = SavedSettings(2, kOpus);
    ASSERT_EQ(m_bench->As<IPersistStream>()->Load(stream.Get()), S_OK);
    // Packets of the new encoder do not fit the buffers any more, and the right encoder is missing.
    EXPECT_EQ(m_bench->Push(Voice(1920 * 4, 48000)), S_OK);
    EXPECT_EQ(m_bench->Push(Voice(1920 * 4, 48000)), S_OK);
    for (const Delivered& sample : m_bench->Samples()) {
        EXPECT_LE(sample.data.size(), 132U);
    }
}

TEST_F(AudioCompressor, IsSetByAHostWhileItRuns) {
    Start(kGsm);
    std::atomic<bool> isDone = false;
    std::thread host([&] {
        const auto persist = m_bench->As<IPersistStream>();
        for (bool mute = false; !isDone; mute = !mute) {
            LONG level = 0;
            DWORD value = 0;
            m_control->SetMute(mute);
            m_control->SetUseSampleTimes(mute);
            m_control->GetLevel(&level, 0);
            m_control->GetInputPacketBytes(&value);
            m_control->SetCodec(kOpus, 64);
            persist->Load(SavedSettings(1, kGsm).Get());
        }
    });
    for (int i = 0; i < 200; ++i) {
        EXPECT_EQ(m_bench->Push(Voice(640, 8000), i * 80 * kMs), S_OK);
    }
    isDone = true;
    host.join();
    m_control->SetMute(false);
    const std::size_t before = m_bench->Samples().size();
    EXPECT_EQ(m_bench->Push(Voice(640, 8000)), S_OK);
    EXPECT_GT(m_bench->Samples().size(), before);
}

TEST_F(AudioCompressor, NamesItsPageAndIsOneObject) {
    auto pages = m_bench->As<ISpecifyPropertyPages>();
    ASSERT_TRUE(pages);
    CAUUID ids{};
    ASSERT_EQ(pages->GetPages(&ids), S_OK);
    const qrn::TaskMemoryPtr<GUID> owned(ids.pElems);
    ASSERT_EQ(ids.cElems, 1U);
    EXPECT_EQ(ids.pElems[0], CLSID_QRN_AudioCompressorPage);
    EXPECT_EQ(pages->GetPages(nullptr), E_POINTER);
    CLSID id{};
    EXPECT_EQ(m_bench->As<IPersistStream>()->GetClassID(&id), S_OK);
    EXPECT_EQ(id, CLSID_QRN_AudioCompressor);
    EXPECT_EQ(pages.As<IUnknown>(), m_control.As<IUnknown>());
}

}  // namespace
