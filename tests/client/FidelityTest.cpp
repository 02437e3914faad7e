#include "client/Fidelity.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <functional>
#include <map>
#include <numbers>
#include <random>

#include "BareCodecs.h"
#include "client/BuiltInSpeech.h"
#include "client/CLevelMeter.h"
#include "client/Verdict.h"

namespace qrn {
namespace {

using test::Pcm;
using test::ThroughG726;
using test::ThroughGsm;
using test::ThroughMp3;
using test::ThroughOpus;
using test::ThroughSpeex;

const Pcm& Speech(int rate, int channels = 1) {
    static std::map<std::pair<int, int>, Pcm> kept;
    Pcm& speech = kept[{rate, channels}];
    if (speech.empty()) {
        speech = LoadBuiltInSpeech({rate, channels});
    }
    return speech;
}

Pcm Delayed(const Pcm& input, std::size_t samples) {
    Pcm output(samples, 0);
    output.insert(output.end(), input.begin(), input.end());
    return output;
}

Pcm Amplified(const Pcm& input, double gain) {
    Pcm output = input;
    for (std::int16_t& sample : output) {
        sample = static_cast<std::int16_t>(sample * gain);
    }
    return output;
}

Pcm WithNoise(const Pcm& input, double rms) {
    std::mt19937 generator(1);
    std::normal_distribution<double> noise(0, rms);
    Pcm output = input;
    for (std::int16_t& sample : output) {
        sample = static_cast<std::int16_t>(std::clamp(sample + noise(generator), -32768.0, 32767.0));
    }
    return output;
}

/// Four low-pass filters of first order in a row.
Pcm LowPassed(const Pcm& input, double edgeHz, double rate) {
    Pcm output = input;
    const double step = 1 - std::exp(-2 * std::numbers::pi * edgeHz / rate);
    for (int pass = 0; pass < 4; ++pass) {
        double state = 0;
        for (std::int16_t& sample : output) {
            state += step * (sample - state);
            sample = static_cast<std::int16_t>(state);
        }
    }
    return output;
}

/// Silence instead of the first `gap` of each `period` samples: lost packets.
Pcm WithGaps(const Pcm& input, std::size_t period, std::size_t gap) {
    Pcm output = input;
    for (std::size_t i = 0; i < output.size(); ++i) {
        if (i % period < gap) {
            output[i] = 0;
        }
    }
    return output;
}

/// Silence put in before each `period` samples: packets that came too late for their turn.
Pcm WithInsertions(const Pcm& input, std::size_t period, std::size_t silence) {
    Pcm output;
    for (std::size_t i = 0; i < input.size(); i += period) {
        output.insert(output.end(), silence, 0);
        const std::size_t count = std::min(period, input.size() - i);
        output.insert(output.end(), &input[i], &input[i] + count);
    }
    return output;
}

Pcm Interleaved(const Pcm& left, const Pcm& right) {
    Pcm both;
    for (std::size_t i = 0; i < std::min(left.size(), right.size()); ++i) {
        both.push_back(left[i]);
        both.push_back(right[i]);
    }
    return both;
}

Pcm ChannelOf(const Pcm& stereo, std::size_t channel) {
    Pcm mono;
    for (std::size_t i = channel; i < stereo.size(); i += 2) {
        mono.push_back(stereo[i]);
    }
    return mono;
}

/// What the program says of a call that brought `received` for `input`.
std::vector<std::string> Judge(const CodecInfo& codec, int channels, const Pcm& input, const Pcm& received) {
    return FindSoundFaults(CompareSound({codec.sampleRate, channels}, input, received, codec.speechBandHz),
                           codec.limits);
}

// ---------------------------------------------------------------------------------------------------------------------
// Good calls: the codecs themselves, through their own libraries

struct GoodCase {
    const char* name;
    const char* codec;
    std::function<Pcm(const Pcm&)> transmit;
};
void PrintTo(const GoodCase& test, std::ostream* out) {
    *out << test.name;
}

class GoodCall : public testing::TestWithParam<GoodCase> {};

TEST_P(GoodCall, IsAcceptedWithRoomToSpare) {
    const CodecInfo& codec = *FindCodec(GetParam().codec);
    const Pcm& input = Speech(codec.sampleRate);
    const Pcm received = GetParam().transmit(input);
    EXPECT_EQ(Judge(codec, 1, input, received), std::vector<std::string>());

    const auto fidelity = CompareSound({codec.sampleRate, 1}, input, received, codec.speechBandHz).at(0);
    EXPECT_GT(fidelity.segments, 15);
    // How near a good call comes to the limits; what this prints is where they are taken from.
    std::printf("correlation %.3f, SNR %.1f dB, gain %.1f dB, band loss %.1f dB, matched %.2f\n", fidelity.correlation,
                fidelity.snrDb, fidelity.gainDb, fidelity.bandLossDb, fidelity.matchedShare);
    EXPECT_GT(fidelity.correlation, codec.limits.minCorrelation + 0.03);
    EXPECT_GT(fidelity.snrDb, codec.limits.minSnrDb + 1.5);
}

INSTANTIATE_TEST_SUITE_P(
    Codecs, GoodCall,
    testing::Values(GoodCase{"Gsm", "gsm", ThroughGsm},
                    GoodCase{"GsmLate", "gsm", [](const Pcm& in) { return Delayed(ThroughGsm(in), 4321); }},
                    GoodCase{"GsmWithSilencePutIn", "gsm",
                             [](const Pcm& in) { return WithInsertions(ThroughGsm(in), 24000, 640); }},
                    GoodCase{"Opus6", "opus", [](const Pcm& in) { return ThroughOpus(in, 6); }},
                    GoodCase{"Opus12", "opus", [](const Pcm& in) { return ThroughOpus(in, 12); }},
                    GoodCase{"Opus32", "opus", [](const Pcm& in) { return ThroughOpus(in, 32); }},
                    GoodCase{"Opus128Late", "opus", [](const Pcm& in) { return Delayed(ThroughOpus(in, 128), 23456); }},
                    GoodCase{"G726", "g72x", [](const Pcm& in) { return ThroughG726(in, 32); }},
                    GoodCase{"Speex", "speex", [](const Pcm& in) { return ThroughSpeex(in, false, 15000); }},
                    GoodCase{"SpeexHq", "speex_hq", [](const Pcm& in) { return ThroughSpeex(in, true, 44000); }},
                    GoodCase{"Mp3", "mp3", ThroughMp3}),
    [](const auto& instance) { return std::string(instance.param.name); });

// ---------------------------------------------------------------------------------------------------------------------
// Faults: each on its own, on a signal that is else unharmed

struct BadCase {
    const char* name;
    std::function<Pcm(const Pcm& input, int rate)> harm;
};
void PrintTo(const BadCase& test, std::ostream* out) {
    *out << test.name;
}

class BadCall : public testing::TestWithParam<std::tuple<const char*, BadCase>> {};

TEST_P(BadCall, IsRefused) {
    const CodecInfo& codec = *FindCodec(std::get<0>(GetParam()));
    const Pcm& input = Speech(codec.sampleRate);
    EXPECT_NE(Judge(codec, 1, input, std::get<1>(GetParam()).harm(input, codec.sampleRate)),
              std::vector<std::string>());
}

std::size_t Ms(int rate, int milliseconds) {
    return static_cast<std::size_t>(rate * milliseconds / 1000);
}

INSTANTIATE_TEST_SUITE_P(
    Faults, BadCall,
    testing::Combine(
        testing::Values("gsm", "g72x", "speex", "speex_hq", "mp3", "opus"),
        testing::Values(
            BadCase{"OtherSpeech", [](const Pcm&, int rate) { return ChannelOf(Speech(rate, 2), 1); }},
            BadCase{"Backwards", [](const Pcm& in, int) { return Pcm(in.rbegin(), in.rend()); }},
            BadCase{"NothingButNoise", [](const Pcm& in, int) { return WithNoise(Pcm(in.size(), 0), 3000); }},
            BadCase{"AsMuchNoiseAsSpeech", [](const Pcm& in, int) { return WithNoise(in, 3000); }},
            BadCase{"Silence", [](const Pcm& in, int) { return Pcm(in.size(), 0); }},
            BadCase{"Nothing", [](const Pcm&, int) { return Pcm(); }},
            BadCase{"Inverted", [](const Pcm& in, int) { return Amplified(in, -1); }},
            BadCase{"HalfTheLevel", [](const Pcm& in, int) { return Amplified(in, 0.5); }},
            BadCase{"ATenthOfTheLevel", [](const Pcm& in, int) { return Amplified(in, 0.1); }},
            BadCase{"TwiceTheLevel", [](const Pcm& in, int) { return Amplified(in, 2); }},
            BadCase{"UpTo1000Hz", [](const Pcm& in, int rate) { return LowPassed(in, 1000, rate); }},
            BadCase{"UpTo2000Hz", [](const Pcm& in, int rate) { return LowPassed(in, 2000, rate); }},
            BadCase{"EverySecondPacketLost",
                    [](const Pcm& in, int rate) { return WithGaps(in, Ms(rate, 160), Ms(rate, 80)); }},
            BadCase{"OnlyTheFirstThird",
                    [](const Pcm& in,
                       int) { return Pcm(in.begin(), in.begin() + static_cast<std::ptrdiff_t>(in.size() / 3)); }})),
    [](const auto& instance) { return std::string(std::get<0>(instance.param)) + std::get<1>(instance.param).name; });

TEST(Fidelity, SeesSwappedChannels) {
    const CodecInfo& codec = *FindCodec("gsm");
    const Pcm& input = Speech(8000, 2);
    const Pcm left = ChannelOf(input, 0);
    const Pcm right = ChannelOf(input, 1);
    EXPECT_EQ(Judge(codec, 2, input, Interleaved(ThroughGsm(left), ThroughGsm(right))), std::vector<std::string>());
    EXPECT_EQ(Judge(codec, 2, input, Interleaved(right, left)).size(), 2u);
    EXPECT_EQ(Judge(codec, 2, input, Interleaved(left, left)).size(), 1u) << "the same channel twice";
}

TEST(Fidelity, MeasuresDelayAndGain) {
    const Pcm& input = Speech(48000);
    const auto fidelity = CompareSound({48000, 1}, input, Delayed(Amplified(input, 0.5), 12345), 3400).at(0);
    EXPECT_NEAR(fidelity.delayMs, 12345 / 48.0, 0.001);
    EXPECT_NEAR(fidelity.gainDb, -6.02, 0.1);
    EXPECT_GT(fidelity.correlation, 0.999);
    EXPECT_EQ(fidelity.matchedShare, 1.0);
}

TEST(Fidelity, MeasuresTheNoiseThatWasAdded) {
    // A steady tone, so that the ratio is the same in each frame.
    Pcm tone(80000);
    for (std::size_t i = 0; i < tone.size(); ++i) {
        tone[i] =
            static_cast<std::int16_t>(10000 * std::sin(2 * std::numbers::pi * 440 * static_cast<double>(i) / 8000));
    }
    const auto fidelity = CompareSound({8000, 1}, tone, WithNoise(tone, 10000 / std::numbers::sqrt2 / 10), 3400).at(0);
    EXPECT_NEAR(fidelity.snrDb, 20.0, 0.5);
}

TEST(FindInLoop, FindsWhereAListenerCameIn) {
    const Pcm& speech = Speech(48000);
    Pcm rest(speech.begin() + 300000, speech.end());
    rest.insert(rest.end(), speech.begin(), speech.begin() + 100000);
    const auto place = FindInLoop({48000, 1}, ThroughOpus(rest, 32), speech);
    ASSERT_TRUE(place);
    EXPECT_NEAR(static_cast<double>(*place), 300000, 500) << "less the delay of the codec";
}

TEST(FindInLoop, DoesNotFindOtherSpeech) {
    const Pcm& speech = Speech(8000);
    EXPECT_FALSE(FindInLoop({8000, 1}, Pcm(speech.rbegin(), speech.rend()), speech));
    EXPECT_FALSE(FindInLoop({8000, 1}, Pcm(100, 1000), speech)) << "too short";
    EXPECT_FALSE(FindInLoop({8000, 1}, speech, {})) << "nothing to look in";
}

TEST(Fidelity, LeavesSilenceOut) {
    const Pcm silence(80000, 3);
    EXPECT_EQ(CompareSound({8000, 1}, silence, silence, 3400).at(0).segments, 0);
    EXPECT_EQ(CompareSound({8000, 1}, {}, {}, 3400).at(0).segments, 0);
}

}  // namespace
}  // namespace qrn
