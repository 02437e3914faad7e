#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <optional>
#include <string>
#include <thread>

#include "FilterBench.h"
#include "Signals.h"
#include "audiocoding/CAudioDeCompressor.h"
#include "audiocoding/CAudioEncoder.h"
#include "platform/com/TaskMemory.h"

namespace {

using qrn::ComPtr;
using qrn::test::Bytes;
using qrn::test::CFilterBench;
using qrn::test::Delivered;
using qrn::test::Pcm;
using qrn::test::Random;
using qrn::test::Voice;

constexpr WORD kGsmTag = 14212;
constexpr WORD kMp3Tag = 14216;
constexpr WORD kOpusTag = 14217;
constexpr int kMp3 = 4;
constexpr DWORD kLeft = 0;
constexpr DWORD kRight = 1;
constexpr DWORD kBoth = 2;

CMediaType CodedType(WORD tag, WORD channels, DWORD samplesPerSec = 1650, WORD bits = 8) {
    WAVEFORMATEX format{};
    format.wFormatTag = tag;
    format.nChannels = channels;
    format.nSamplesPerSec = samplesPerSec;
    format.wBitsPerSample = bits;
    CMediaType type;
    type.SetType(&MEDIATYPE_Audio);
    type.SetFormatType(&FORMAT_WaveFormatEx);
    type.SetFormat(reinterpret_cast<const BYTE*>(&format), sizeof(format));
    return type;
}

/// One channel's packets of a voice, and what a decoder makes of them.
class CChannel {
public:
    CChannel(int codec, double pitchHz) : m_encoder(codec, 64), m_decoder(codec, 64), m_pitchHz(pitchHz) {
        if (codec == kMp3) {
            // The frame that the encoder keeps back at the start, so that all packets are whole ones.
            const Pcm silence(1152);
            Bytes nothing(4000);
            EXPECT_EQ(m_encoder.Encode(silence.data(), 1152, nothing.data(), 4000), 0);
        }
    }

    Bytes Encode() {
        const int samples = m_encoder.GetPacketSamples();
        const Pcm voice = Voice(samples, m_encoder.GetSampleRate(), m_pitchHz);
        Bytes packet(4000);
        packet.resize(static_cast<std::size_t>(m_encoder.Encode(voice.data(), samples, packet.data(), 4000)));
        return packet;
    }
    Pcm Decode(const Bytes& packet) {
        Pcm pcm(static_cast<std::size_t>(m_decoder.GetPacketBytes()) / 2);
        EXPECT_EQ(
            m_decoder.Decode(packet.data(), static_cast<int>(packet.size()), pcm.data(), m_decoder.GetPacketBytes()),
            m_decoder.GetPacketBytes());
        return pcm;
    }

private:
    CAudioEncoder m_encoder;
    CAudioDecoder m_decoder;
    const double m_pitchHz;
};

Bytes Join(const Bytes& left, const Bytes& right) {
    Bytes payload = left;
    payload.insert(payload.end(), right.begin(), right.end());
    return payload;
}

/// The payload of a stereo stream of that codec.
Bytes Payload(int codec, const Bytes& left, const Bytes& right) {
    if (codec != kMp3) {
        return Join(left, right);
    }
    return Join({static_cast<std::uint8_t>(left.size()), static_cast<std::uint8_t>(left.size() >> 8)},
                Join(left, right));
}

Pcm PcmOf(const Delivered& sample) {
    Pcm pcm(sample.data.size() / 2);
    std::memcpy(pcm.data(), sample.data.data(), pcm.size() * 2);
    return pcm;
}

Pcm ChannelOf(const Delivered& sample, std::size_t channel) {
    const Pcm both = PcmOf(sample);
    Pcm pcm;
    for (std::size_t i = channel; i < both.size(); i += 2) {
        pcm.push_back(both[i]);
    }
    return pcm;
}

bool IsSilence(const Delivered& sample) {
    return sample.data == Bytes(sample.data.size(), 0);
}

class AudioDeCompressor : public testing::Test {
protected:
    void SetUp() override {
        HRESULT result = S_OK;
        CUnknown* filter = CAudioDeCompressor::CreateInstance(nullptr, &result);
        ASSERT_NE(filter, nullptr);
        ASSERT_EQ(result, S_OK);
        m_bench.emplace(filter);
        m_filter = static_cast<CAudioDeCompressor*>(filter);
        m_control = m_bench->As<IQRN_AudioDeCompressor>();
        ASSERT_TRUE(m_control);
    }

    void Start(WORD tag, WORD channels, DWORD mode) {
        const CAudioEncoder announced(tag - kGsmTag, 64);
        const auto byteRate = static_cast<DWORD>(announced.GetByteRate());
        ASSERT_EQ(m_bench->ConnectInput(CodedType(tag, channels, byteRate)), S_OK);
        ASSERT_EQ(m_control->SetChannelMode(mode), S_OK);
        ASSERT_EQ(m_bench->ConnectOutput(), S_OK);
        m_bench->Run();
    }

    DWORD Mode() {
        DWORD mode = 99;
        EXPECT_EQ(m_control->GetChannelMode(&mode), S_OK);
        return mode;
    }

    std::vector<Delivered>& Samples() { return m_bench->Samples(); }

    std::optional<CFilterBench> m_bench;
    CAudioDeCompressor* m_filter = nullptr;
    ComPtr<IQRN_AudioDeCompressor> m_control;
};

TEST_F(AudioDeCompressor, StartsWithFieldsAndDecoderThatDisagree) {
    DWORD codec = 0;
    LONG bitrate = 0;
    EXPECT_EQ(m_control->GetCodec(&codec), S_OK);
    EXPECT_EQ(m_control->GetBitrate(&bitrate), S_OK);
    EXPECT_EQ(codec, 3U);
    EXPECT_EQ(bitrate, 44);
    EXPECT_EQ(Mode(), kLeft);
}

struct InputCase {
    const char* name;
    WORD tag;
    HRESULT result;
};
class AudioDeCompressorInput : public AudioDeCompressor, public testing::WithParamInterface<InputCase> {};

TEST_P(AudioDeCompressorInput, MustBeOfACodec) {
    const CMediaType type = CodedType(GetParam().tag, 1);
    EXPECT_EQ(m_filter->CheckInputType(&type), GetParam().result);
    EXPECT_EQ(m_filter->SetMediaType(PINDIR_INPUT, &type), GetParam().result);
    EXPECT_EQ(m_filter->SetMediaType(PINDIR_OUTPUT, &type), S_OK);
}
INSTANTIATE_TEST_SUITE_P(Tags, AudioDeCompressorInput,
                         testing::Values(InputCase{"First", 14212, S_OK}, InputCase{"Last", 14217, S_OK},
                                         InputCase{"Below", 14211, VFW_E_TYPE_NOT_ACCEPTED},
                                         InputCase{"Above", 14218, VFW_E_TYPE_NOT_ACCEPTED},
                                         InputCase{"Pcm", 1, VFW_E_TYPE_NOT_ACCEPTED}),
                         qrn::test::CaseName{});

TEST_F(AudioDeCompressor, RefusesTypesThatAreNoWaveFormat) {
    CMediaType type = CodedType(kGsmTag, 1);
    type.SetType(&MEDIATYPE_Video);
    EXPECT_EQ(m_filter->CheckInputType(&type), VFW_E_TYPE_NOT_ACCEPTED);
    CMediaType bare;
    bare.SetType(&MEDIATYPE_Audio);
    EXPECT_EQ(m_filter->CheckInputType(&bare), E_OUTOFMEMORY);
    EXPECT_EQ(m_filter->SetMediaType(PINDIR_INPUT, &bare), E_OUTOFMEMORY);
    const BYTE tooShort[4] = {};
    bare.SetFormat(tooShort, sizeof(tooShort));
    EXPECT_EQ(m_filter->CheckInputType(&bare), VFW_E_TYPE_NOT_ACCEPTED);
}

TEST_F(AudioDeCompressor, HasNoOutputWithoutADecoder) {
    const CMediaType wrong = CodedType(1, 1);
    ASSERT_EQ(m_filter->SetMediaType(PINDIR_INPUT, &wrong), VFW_E_TYPE_NOT_ACCEPTED);
    CMediaType type;
    EXPECT_EQ(m_filter->GetMediaType(0, &type), E_UNEXPECTED);
}

struct RateCase {
    const char* name;
    WORD tag;
    DWORD samplesPerSec;
    WORD bits;
    LONG bitrate;
};
class AudioDeCompressorRate : public AudioDeCompressor, public testing::WithParamInterface<RateCase> {};

TEST_P(AudioDeCompressorRate, ComesFromTheCodedByteRate) {
    const CMediaType type = CodedType(GetParam().tag, 1, GetParam().samplesPerSec, GetParam().bits);
    ASSERT_EQ(m_filter->SetMediaType(PINDIR_INPUT, &type), S_OK);
    LONG bitrate = -1;
    DWORD codec = 99;
    m_control->GetBitrate(&bitrate);
    m_control->GetCodec(&codec);
    EXPECT_EQ(bitrate, GetParam().bitrate);
    EXPECT_EQ(codec, GetParam().tag - kGsmTag);
}
// Opus keeps the rate that it is given, so it can be read back.
INSTANTIATE_TEST_SUITE_P(
    Types, AudioDeCompressorRate,
    testing::Values(RateCase{"OpusNone", 14217, 0, 8, 0}, RateCase{"OpusWhole", 14217, 3100, 8, 25},
                    RateCase{"OpusRoundedDown", 14217, 1056, 8, 8}, RateCase{"OpusRoundedUp", 14217, 1063, 8, 9},
                    RateCase{"OpusPastEveryRate", 14217, 0xFFFFFFFF, 0xFFFF, 2147483647},
                    RateCase{"Gsm", 14212, 1650, 8, 13}, RateCase{"G72x", 14213, 4000, 8, 32},
                    RateCase{"Speex", 14214, 3100, 8, 25}, RateCase{"SpeexHqRoundsTo22", 14215, 2800, 8, 23},
                    RateCase{"SpeexHqRoundsTo19", 14215, 2350, 8, 19}, RateCase{"SpeexHqLowest", 14215, 950, 8, 8},
                    RateCase{"Mp3", 14216, 64000, 8, 64}),
    qrn::test::CaseName{});

struct OutputCase {
    const char* name;
    WORD tag;
    WORD channels;
    DWORD mode;
    WAVEFORMATEX format;
    std::size_t silence;
};
class AudioDeCompressorOutput : public AudioDeCompressor, public testing::WithParamInterface<OutputCase> {};

TEST_P(AudioDeCompressorOutput, IsPcmAndSilenceForALostPacket) {
    const OutputCase& row = GetParam();
    Start(row.tag, row.channels, row.mode);
    AM_MEDIA_TYPE connected{};
    ASSERT_EQ(m_bench->OutputPin()->ConnectionMediaType(&connected), S_OK);
    EXPECT_EQ(connected.majortype, MEDIATYPE_Audio);
    EXPECT_EQ(connected.subtype, MEDIASUBTYPE_PCM);
    EXPECT_EQ(connected.formattype, FORMAT_WaveFormatEx);
    ASSERT_EQ(connected.cbFormat, 18U);
    EXPECT_EQ(std::memcmp(connected.pbFormat, &row.format, 18), 0);
    CoTaskMemFree(connected.pbFormat);

    CMediaType type;
    EXPECT_EQ(m_filter->GetMediaType(-1, &type), E_INVALIDARG);
    EXPECT_EQ(m_filter->GetMediaType(1, &type), VFW_S_NO_MORE_ITEMS);

    EXPECT_EQ(m_bench->Push(Bytes(), 770000), S_OK);
    ASSERT_EQ(Samples().size(), 1U);
    EXPECT_EQ(Samples()[0].data.size(), row.silence);
    EXPECT_TRUE(IsSilence(Samples()[0]));
    EXPECT_TRUE(Samples()[0].isSyncPoint);
    EXPECT_FALSE(Samples()[0].isPreroll);
    EXPECT_EQ(Samples()[0].start, 770000);
}
INSTANTIATE_TEST_SUITE_P(
    Streams, AudioDeCompressorOutput,
    testing::Values(OutputCase{"GsmMono", kGsmTag, 1, kLeft, {1, 1, 8000, 16000, 2, 16, 0}, 1280},
                    OutputCase{"GsmRight", kGsmTag, 2, kRight, {1, 1, 8000, 16000, 2, 16, 0}, 1280},
                    OutputCase{"GsmBoth", kGsmTag, 2, kBoth, {1, 2, 8000, 32000, 4, 16, 0}, 2560},
                    OutputCase{"MonoIsNeverBoth", kGsmTag, 1, kBoth, {1, 1, 8000, 16000, 2, 16, 0}, 1280},
                    OutputCase{"SpeexMono", 14214, 1, kLeft, {1, 1, 8000, 16000, 2, 16, 0}, 1280},
                    OutputCase{"SpeexHqBoth", 14215, 2, kBoth, {1, 2, 32000, 128000, 4, 16, 0}, 10240},
                    OutputCase{"Mp3Left", kMp3Tag, 2, kLeft, {1, 1, 32000, 64000, 2, 16, 0}, 4608},
                    OutputCase{"Mp3Both", kMp3Tag, 2, kBoth, {1, 2, 32000, 128000, 4, 16, 0}, 9216},
                    OutputCase{"OpusBoth", kOpusTag, 2, kBoth, {1, 2, 48000, 192000, 4, 16, 0}, 7680}),
    qrn::test::CaseName{});

class AudioDeCompressorStereo : public AudioDeCompressor, public testing::WithParamInterface<int> {
protected:
    WORD Tag() const { return static_cast<WORD>(kGsmTag + GetParam()); }
};

TEST_P(AudioDeCompressorStereo, GivesBothChannelsOverALostPacket) {
    Start(Tag(), 2, kBoth);
    CChannel left(GetParam(), 110);
    CChannel right(GetParam(), 180);
    for (std::size_t i = 0; i < 6; ++i) {
        const Bytes leftPacket = left.Encode();
        const Bytes rightPacket = right.Encode();
        ASSERT_EQ(leftPacket.size(), rightPacket.size());
        const bool isLost = i == 3;
        ASSERT_EQ(m_bench->Push(isLost ? Bytes() : Payload(GetParam(), leftPacket, rightPacket)), S_OK);
        if (isLost) {
            EXPECT_TRUE(IsSilence(Samples()[i]));
            continue;
        }
        EXPECT_EQ(ChannelOf(Samples()[i], 0), left.Decode(leftPacket)) << "packet " << i;
        EXPECT_EQ(ChannelOf(Samples()[i], 1), right.Decode(rightPacket)) << "packet " << i;
    }
}

TEST_P(AudioDeCompressorStereo, ChangesItsChannelWhileRunning) {
    Start(Tag(), 2, kLeft);
    CChannel left(GetParam(), 110);
    CChannel right(GetParam(), 180);
    const Bytes leftPacket = left.Encode();
    const Bytes rightPacket = right.Encode();
    const Bytes payload = Payload(GetParam(), leftPacket, rightPacket);

    m_bench->Push(payload);
    EXPECT_EQ(m_control->SetChannelMode(kRight), S_OK);
    m_bench->Push(payload);
    EXPECT_EQ(m_control->SetChannelMode(kBoth), S_OK) << "is ignored: the output has one channel";
    EXPECT_EQ(Mode(), kRight);
    m_bench->Push(payload);
    m_bench->Push(Bytes());
    EXPECT_EQ(m_control->SetChannelMode(kLeft), S_OK);
    m_bench->Push(payload);

    ASSERT_EQ(Samples().size(), 5U);
    EXPECT_EQ(PcmOf(Samples()[0]), left.Decode(leftPacket));
    EXPECT_EQ(PcmOf(Samples()[1]), right.Decode(rightPacket));
    EXPECT_EQ(PcmOf(Samples()[2]), right.Decode(rightPacket));
    EXPECT_TRUE(IsSilence(Samples()[3])) << "lost";
    EXPECT_EQ(PcmOf(Samples()[4]), left.Decode(leftPacket)) << "its decoder stood still meanwhile";
}
INSTANTIATE_TEST_SUITE_P(Codecs, AudioDeCompressorStereo, testing::Range(0, 6));

struct PrefixCase {
    const char* name;
    int prefix;      ///< the left part's length as the packet tells it, of 576 bytes
    int extraBytes;  ///< behind the right part
    bool isLeftHeard;
    bool isRightHeard;
};
class AudioDeCompressorPrefix : public AudioDeCompressor, public testing::WithParamInterface<PrefixCase> {};

TEST_P(AudioDeCompressorPrefix, SplitsAStereoMp3Packet) {
    const PrefixCase& row = GetParam();
    CChannel left(kMp3, 110);
    CChannel right(kMp3, 180);
    // The sound comes a frame late: in the first packet one frame is still silent.
    left.Encode();
    right.Encode();
    Bytes payload = Payload(kMp3, left.Encode(), right.Encode());
    ASSERT_EQ(payload.size(), 1154U);
    payload[0] = static_cast<std::uint8_t>(row.prefix);
    payload[1] = static_cast<std::uint8_t>(row.prefix >> 8);
    payload.resize(payload.size() + static_cast<std::size_t>(row.extraBytes));
    Start(kMp3Tag, 2, kLeft);
    m_bench->Push(payload);
    m_control->SetChannelMode(kRight);
    m_bench->Push(payload);
    ASSERT_EQ(Samples().size(), 2U);
    EXPECT_EQ(!IsSilence(Samples()[0]), row.isLeftHeard);
    EXPECT_EQ(!IsSilence(Samples()[1]), row.isRightHeard);
    for (const Delivered& sample : Samples()) {
        EXPECT_LE(sample.data.size(), 4608U);
    }
}
// A part that begins within a frame, or has a few bytes behind its last one, is not decoded at all. 1154 is the
// packet's length, and still taken.
INSTANTIATE_TEST_SUITE_P(Lengths, AudioDeCompressorPrefix,
                         testing::Values(PrefixCase{"Right", 576, 0, true, true}, PrefixCase{"None", 0, 0, false, true},
                                         PrefixCase{"OneFrame", 288, 0, true, true},
                                         PrefixCase{"WithinAFrame", 300, 0, true, false},
                                         PrefixCase{"Everything", 1152, 0, true, false},
                                         PrefixCase{"WholeLength", 1154, 0, true, false},
                                         PrefixCase{"PastTheEnd", 1155, 0, false, false},
                                         PrefixCase{"ZerosBehindTheLastFrame", 1156, 2, false, false},
                                         PrefixCase{"Highest", 65535, 0, false, false}),
                         qrn::test::CaseName{});

TEST_F(AudioDeCompressor, LooksForTheRightPartBehindABrokenPrefix) {
    Start(kMp3Tag, 2, kBoth);
    CChannel right(kMp3, 180);
    const Bytes rightPacket = right.Encode();
    // It is decoded from where equal parts would have put it, and half of it is heard on the right.
    Bytes payload(2 + 578, 0xFF);
    payload.insert(payload.end(), rightPacket.begin(), rightPacket.end());
    m_bench->Push(payload);
    m_bench->Push(Bytes{0});
    m_bench->Push(Bytes{0, 0});
    ASSERT_EQ(Samples().size(), 3U);
    ASSERT_EQ(Samples()[0].data.size(), 4608U);
    EXPECT_EQ(ChannelOf(Samples()[0], 0), Pcm(1152));
    Pcm expected = right.Decode(rightPacket);
    expected.resize(1152);
    EXPECT_EQ(ChannelOf(Samples()[0], 1), expected);
    EXPECT_EQ(Samples()[1].data, Bytes(9216, 0));
    EXPECT_EQ(Samples()[2].data, Bytes(9216, 0));
}

TEST_F(AudioDeCompressor, KeepsBothOnAConnectedOutput) {
    Start(kGsmTag, 2, kBoth);
    EXPECT_EQ(m_control->SetChannelMode(kLeft), S_OK);
    EXPECT_EQ(Mode(), kBoth);
    EXPECT_EQ(m_control->SetChannelMode(3), E_INVALIDARG);
}

TEST_F(AudioDeCompressor, ForcesAMonoInputToItsOnlyChannel) {
    Start(kGsmTag, 1, kRight);
    EXPECT_EQ(Mode(), kLeft);
    CChannel channel(0, 110);
    const Bytes packet = channel.Encode();
    m_bench->Push(packet);
    ASSERT_EQ(Samples().size(), 1U);
    EXPECT_EQ(PcmOf(Samples()[0]), channel.Decode(packet));
}

TEST_F(AudioDeCompressor, CopiesTimesAndDiscontinuity) {
    Start(kGsmTag, 1, kLeft);
    CChannel channel(0, 110);
    const Bytes packet = channel.Encode();
    const auto sample = m_bench->Sample();
    BYTE* buffer = nullptr;
    ASSERT_EQ(sample->GetPointer(&buffer), S_OK);
    std::copy(packet.begin(), packet.end(), buffer);
    sample->SetActualDataLength(132);
    const REFERENCE_TIME start = 1234567;
    const REFERENCE_TIME stop = 2345678;
    sample->SetTime(&start, &stop);
    sample->SetDiscontinuity(TRUE);
    sample->SetPreroll(TRUE);
    EXPECT_EQ(m_bench->PushSample(sample.Get()), S_OK);
    ASSERT_EQ(Samples().size(), 1U);
    EXPECT_EQ(Samples()[0].start, start);
    EXPECT_TRUE(Samples()[0].hasStop);
    EXPECT_TRUE(Samples()[0].isDiscontinuity);
    EXPECT_FALSE(Samples()[0].isPreroll);
    EXPECT_TRUE(m_bench->graph.events.empty());
}

TEST_F(AudioDeCompressor, GivesSilenceForAnOpusPacketThatIsRefused) {
    Start(kOpusTag, 1, kLeft);
    m_bench->Push(CChannel(5, 110).Encode());
    // Code 3 with no frame at all (RFC 6716, section 3.2.5).
    m_bench->Push(Bytes{0x03, 0x00});
    ASSERT_EQ(Samples().size(), 2U);
    EXPECT_FALSE(IsSilence(Samples()[0]));
    EXPECT_EQ(Samples()[1].data, Bytes(3840, 0));
}

TEST_F(AudioDeCompressor, PlaysTheHalfThatCanBeDecoded) {
    Start(kOpusTag, 2, kBoth);
    const Bytes good = CChannel(5, 110).Encode();
    Bytes bad(good.size(), 0);
    bad[0] = 0x03;
    m_bench->Push(Join(good, bad));
    m_bench->Push(Join(bad, good));
    ASSERT_EQ(Samples().size(), 2U);
    for (std::size_t i = 0; i < 2; ++i) {
        EXPECT_FALSE(IsSilence(Samples()[i]));
        EXPECT_LE(Samples()[i].data.size(), 7680U);
        const Pcm broken = ChannelOf(Samples()[i], i == 0 ? 1 : 0);
        EXPECT_EQ(broken, Pcm(broken.size())) << "the broken half is silent, not an old packet";
    }
}

TEST_F(AudioDeCompressor, LosesTheLastByteOfAnOddLength) {
    Start(kGsmTag, 2, kRight);
    CChannel left(0, 110);
    CChannel right(0, 180);
    const Bytes rightPacket = right.Encode();
    Bytes payload = Join(left.Encode(), rightPacket);
    payload.push_back(0xD0);
    m_bench->Push(payload);
    ASSERT_EQ(Samples().size(), 1U);
    EXPECT_EQ(PcmOf(Samples()[0]), right.Decode(rightPacket));
}

TEST_F(AudioDeCompressor, CutsPacketsLongerThanItsOutput) {
    Start(kGsmTag, 2, kBoth);
    Bytes payload;
    for (int i = 0; i < 20; ++i) {
        const Bytes packet = CChannel(0, 110).Encode();
        payload.insert(payload.end(), packet.begin(), packet.end());
    }
    EXPECT_EQ(m_bench->Push(payload), S_OK);
    ASSERT_EQ(Samples().size(), 1U);
    EXPECT_EQ(Samples()[0].data.size(), 2560U);
}

TEST_F(AudioDeCompressor, OutlastsAnInputThatIsConnectedAnew) {
    // The output keeps its one channel and its buffers, whatever comes in now.
    Start(kGsmTag, 1, kLeft);
    m_bench->Stop();
    ASSERT_EQ(m_bench->ConnectInput(CodedType(kOpusTag, 2)), S_OK);
    m_bench->Run();
    for (std::uint32_t length = 0; length < 400; ++length) {
        ASSERT_EQ(m_bench->Push(Random<std::uint8_t>(length, length)), S_OK);
    }
    for (const Delivered& sample : Samples()) {
        EXPECT_LE(sample.data.size(), 1280U);
    }
}

TEST_F(AudioDeCompressor, IsSetByAHostWhileItRuns) {
    Start(kGsmTag, 2, kLeft);
    const Bytes packet = CChannel(0, 110).Encode();
    std::atomic<bool> isDone = false;
    std::thread host([&] {
        for (DWORD mode = 0; !isDone; mode = (mode + 1) % 4) {
            LONG bitrate = 0;
            m_control->SetChannelMode(mode);
            m_control->GetBitrate(&bitrate);
        }
    });
    for (int i = 0; i < 200; ++i) {
        EXPECT_EQ(m_bench->Push(Join(packet, packet)), S_OK);
    }
    isDone = true;
    host.join();
    EXPECT_EQ(Samples().size(), 200U);
    EXPECT_NE(Mode(), kBoth);
}

struct NoiseCase {
    const char* name;
    WORD tag;
    WORD channels;
    DWORD mode;
};
class AudioDeCompressorNoise : public AudioDeCompressor, public testing::WithParamInterface<NoiseCase> {};

TEST_P(AudioDeCompressorNoise, GivesOneSampleForEachThatComes) {
    Start(GetParam().tag, GetParam().channels, GetParam().mode);
    for (std::uint32_t seed = 1; seed < 500; ++seed) {
        ASSERT_EQ(m_bench->Push(Random<std::uint8_t>(seed, seed)), S_OK);
    }
    EXPECT_EQ(Samples().size(), 499U);
}
INSTANTIATE_TEST_SUITE_P(
    Streams, AudioDeCompressorNoise,
    testing::Values(NoiseCase{"GsmMono", kGsmTag, 1, kLeft}, NoiseCase{"GsmBoth", kGsmTag, 2, kBoth},
                    NoiseCase{"G72xBoth", 14213, 2, kBoth}, NoiseCase{"SpeexMono", 14214, 1, kLeft},
                    NoiseCase{"SpeexHqBoth", 14215, 2, kBoth}, NoiseCase{"Mp3Mono", kMp3Tag, 1, kLeft},
                    NoiseCase{"Mp3Both", kMp3Tag, 2, kBoth}, NoiseCase{"OpusRight", kOpusTag, 2, kRight},
                    NoiseCase{"OpusBoth", kOpusTag, 2, kBoth}, NoiseCase{"ManyChannels", kGsmTag, 77, kLeft}),
    qrn::test::CaseName{});

TEST_F(AudioDeCompressor, NamesItsPageAndIsOneObject) {
    auto pages = m_bench->As<ISpecifyPropertyPages>();
    ASSERT_TRUE(pages);
    CAUUID ids{};
    ASSERT_EQ(pages->GetPages(&ids), S_OK);
    const qrn::TaskMemoryPtr<GUID> owned(ids.pElems);
    ASSERT_EQ(ids.cElems, 1U);
    EXPECT_EQ(ids.pElems[0], CLSID_QRN_AudioDeCompressorPage);
    EXPECT_EQ(pages.As<IUnknown>(), m_control.As<IUnknown>());
}

}  // namespace
