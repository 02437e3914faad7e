#include <gtest/gtest.h>

#include "Signals.h"
#include "audiocoding/CDcFilter.h"

namespace {

using qrn::test::Pcm;
using qrn::test::Sine;

TEST(DcFilter, FollowsItsStepResponse) {
    // y[n] = 1000 * 0.995^n, rounded half up, worked by hand: 1000, 995, 990.025, 985.074..., 980.149...
    qrn::CDcFilter filter;
    Pcm pcm{1000, 1000, 1000, 1000, 1000, -1000};
    filter.Process(pcm);
    // The last one: -2000 + 0.995 * 980.1495... = -1024.75...
    EXPECT_EQ(pcm, (Pcm{1000, 995, 990, 985, 980, -1025}));
}

TEST(DcFilter, ClipsWhatItGivesButNotWhatItKeeps) {
    qrn::CDcFilter filter;
    Pcm pcm{-32768, 32767, 32767, -32768};
    filter.Process(pcm);
    // Kept: -32768, 65535 - 32604.16 = 32930.84, 32766.19, -65535 + 32602.35 = -32932.64.
    EXPECT_EQ(pcm, (Pcm{-32767, 32767, 32766, -32767}));
}

TEST(DcFilter, GoesOnFromBlockToBlock) {
    qrn::CDcFilter whole;
    qrn::CDcFilter cut;
    Pcm expected = Sine(1000, 300, 8000, 20000);
    for (std::int16_t& sample : expected) {
        sample = static_cast<std::int16_t>(sample + 5000);
    }
    Pcm got = expected;
    whole.Process(expected);
    for (std::size_t at = 0; at < got.size(); at += 125) {
        cut.Process(std::span(got).subspan(at, 125));
    }
    EXPECT_EQ(got, expected);
}

TEST(DcFilter, TakesTheOffsetAndLeavesTheVoice) {
    qrn::CDcFilter filter;
    const Pcm tone = Sine(16000, 400, 8000, 10000);
    Pcm pcm = tone;
    for (std::int16_t& sample : pcm) {
        sample = static_cast<std::int16_t>(sample + 8000);
    }
    filter.Process(pcm);
    // After a second the offset has faded by 0.995^8000; a tone of 400 Hz passes with less than 0.1 dB and 1 degree.
    EXPECT_GT(qrn::test::SignalToNoiseDb(tone.data() + 8000, pcm.data() + 8000, 8000), 30.0);
}

}  // namespace
