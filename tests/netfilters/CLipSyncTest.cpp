#include "netfilters/CLipSync.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

struct Step {
    std::uint32_t frame;
    qrn::CLipSync::AudioTimes audio;
    std::optional<std::int64_t> position;
};

struct SyncCase {
    const char* name;
    std::vector<Step> steps;  // with frames of 40 ms
};

class LipSync : public testing::TestWithParam<SyncCase> {};

TEST_P(LipSync, ShowsAFrameWhenItsAudioIsHeard) {
    qrn::CLipSync sync;
    for (const Step& step : GetParam().steps) {
        EXPECT_EQ(sync.PositionOf(step.frame, step.audio, 40), step.position) << step.frame;
    }
}

constexpr std::uint32_t kLast = 0xFFFFFFFF;

INSTANTIATE_TEST_SUITE_P(
    Cases, LipSync,
    testing::Values(
        SyncCase{"Together", {{5000, {5000, 700, 0}, 700}}}, SyncCase{"Latency", {{5000, {5000, 700, 150}, 850}}},
        SyncCase{"FrameAhead", {{5999, {5000, 700, 0}, 1699}}}, SyncCase{"FrameBehind", {{4001, {5000, 700, 0}, -299}}},
        SyncCase{"TooFarAhead", {{6000, {5000, 700, 0}, std::nullopt}}},
        SyncCase{"TooFarBehind", {{4000, {5000, 700, 0}, std::nullopt}}},
        SyncCase{"HoldsStillWithinAPeriod",
                 {{5000, {5000, 700, 0}, 700}, {5000, {5000, 740, 0}, 700}, {5000, {5000, 741, 0}, 741}}},
        SyncCase{"FarApartKeepsTheOffset", {{5000, {5000, 700, 0}, 700}, {9000, {5000, 900, 0}, std::nullopt}}},
        SyncCase{"OverTheWrap", {{9, {kLast - 9, 700, 0}, 719}, {9, {19, 739, 0}, 729}}},
        SyncCase{"NoLatencyAtAll", {{5000, {5000, 700, std::numeric_limits<std::int64_t>::max()}, 86'400'700}}}),
    [](const auto& row) { return std::string(row.param.name); });

}  // namespace
