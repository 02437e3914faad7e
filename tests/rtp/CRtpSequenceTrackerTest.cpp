#include "rtp/CRtpSequenceTracker.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

struct ExtendCase {
    const char* name;
    std::vector<std::uint16_t> sequences;
    std::vector<std::uint32_t> extended;
};

void PrintTo(const ExtendCase& row, std::ostream* stream) {
    *stream << row.name;
}

class SequenceTracker : public testing::TestWithParam<ExtendCase> {};

TEST_P(SequenceTracker, Extends) {
    CRtpSequenceTracker tracker;
    std::vector<std::uint32_t> extended;
    for (const std::uint16_t sequence : GetParam().sequences) {
        extended.push_back(tracker.Extend(sequence));
    }
    EXPECT_EQ(extended, GetParam().extended);
}

INSTANTIATE_TEST_SUITE_P(
    Numbers, SequenceTracker,
    testing::Values(ExtendCase{"FirstIsItself", {7, 8}, {7, 8}}, ExtendCase{"FirstIsZero", {0, 1}, {65536, 65537}},
                    ExtendCase{"OverTheWrap", {65535, 0, 1}, {65535, 65536, 65537}},
                    ExtendCase{"LateInOneCycle", {10, 12, 11, 13}, {10, 12, 11, 13}},
                    ExtendCase{"Repeated", {10, 10, 10}, {10, 10, 10}},
                    ExtendCase{"LossOverTheWrap", {65530, 5}, {65530, 65541}},
                    ExtendCase{"LateAfterTheWrap", {65535, 1, 0, 2}, {65535, 65537, 65536, 65538}},
                    // The straggler lands a whole cycle too high and takes the highest number along.
                    ExtendCase{"StragglerFromBeforeTheWrap", {65534, 0, 65535, 1}, {65534, 65536, 131071, 131073}},
                    ExtendCase{"HalfTheCircleBackIsLate", {40000, 7232}, {40000, 7232}},
                    ExtendCase{"MoreThanHalfBackIsAWrap", {40000, 7231}, {40000, 72767}},
                    ExtendCase{"FarAhead", {1, 60000}, {1, 60000}},
                    ExtendCase{"TwoWraps", {65535, 0, 40000, 65535, 0}, {65535, 65536, 105536, 131071, 131072}}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(SequenceTrackerReset, StartsANewNumberSpace) {
    CRtpSequenceTracker tracker;
    tracker.Extend(65535);
    EXPECT_EQ(tracker.Extend(3), 65539u);
    tracker.Reset();
    EXPECT_EQ(tracker.Extend(9), 9u);
}

}  // namespace
