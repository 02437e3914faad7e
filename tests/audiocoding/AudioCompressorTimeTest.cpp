#include "AudioCompressorFixture.h"

#include <vector>

#include "audiocoding/CAudioEncoder.h"
#include "audiocoding/CDcFilter.h"

namespace {

using qrn::test::AudioCompressor;
using qrn::test::AudioCompressorCodec;
using qrn::test::CodecCase;
using qrn::test::Encode;
using qrn::test::Interleave;
using qrn::test::kCodecCases;
using qrn::test::kGsm;
using qrn::test::kMs;
using qrn::test::kSpeex;
using qrn::test::OffsetVoice;
using qrn::test::Part;
using qrn::test::Pcm;
using qrn::test::Voice;

class AudioCompressorTimes : public AudioCompressorCodec {};

TEST_P(AudioCompressorTimes, AnchorsItsTimesWhenTheInputRanDry) {
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

TEST_P(AudioCompressorTimes, SendsAfterARestartWhatWasGatheredBefore) {
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

INSTANTIATE_TEST_SUITE_P(Codecs, AudioCompressorTimes, kCodecCases, qrn::test::CaseName{});

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

}  // namespace
