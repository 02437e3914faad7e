#include "host/CAdviseList.h"

#include <gtest/gtest.h>

#include <limits>

namespace qrn {
namespace {

constexpr REFERENCE_TIME kEnd = std::numeric_limits<REFERENCE_TIME>::max();

struct TickCase {
    const char* name;
    REFERENCE_TIME first;
    REFERENCE_TIME period;
    REFERENCE_TIME now;
    std::uint64_t ticks;  // 0: not due
    REFERENCE_TIME wake;  // -1: leaves the list
};

class AdviseTicks : public testing::TestWithParam<TickCase> {};

TEST_P(AdviseTicks, AreCountedFromTheStart) {
    const TickCase& row = GetParam();
    CAdviseList list;
    list.Add(row.first, row.period, 5);

    const auto due = list.TakeDue(row.now);

    if (row.ticks == 0) {
        EXPECT_TRUE(due.empty());
    } else {
        ASSERT_EQ(due.size(), 1U);
        EXPECT_EQ(due[0].count, row.ticks);
        EXPECT_EQ(due[0].descriptor, 5);
    }
    EXPECT_EQ(list.NextWake().value_or(-1), row.wake);
}

INSTANTIATE_TEST_SUITE_P(
    Edges, AdviseTicks,
    testing::Values(TickCase{"OnceTooEarly", 1000, 0, 999, 0, 1000}, TickCase{"OnceOnTime", 1000, 0, 1000, 1, -1},
                    TickCase{"OnceLate", 1000, 0, 5'000'000, 1, -1},
                    TickCase{"PeriodicTooEarly", 100'000, 100'000, 99'999, 0, 100'000},
                    TickCase{"PeriodicOnTime", 100'000, 100'000, 100'000, 1, 200'000},
                    TickCase{"LateKeepsTheRaster", 100'000, 100'000, 130'000, 1, 200'000},
                    TickCase{"MissedTicksAreMadeUpFor", 100'000, 100'000, 450'000, 4, 500'000},
                    TickCase{"AllOfAnHourAtOnce", 0, 1, 36'000'000'000, 36'000'000'001, 36'000'005'000},
                    TickCase{"ShortPeriodDoesNotSpin", 100'000, 10, 100'000, 1, 105'000},
                    TickCase{"PeriodPastTheEndOfTime", 100'000, kEnd, 100'000, 1, -1},
                    TickCase{"StartAtTheEndOfTime", kEnd, 1, 100'000, 0, kEnd}),
    [](const auto& each) { return std::string(each.param.name); });

TEST(CAdviseList, TicksDoNotDriftWhenEachLookIsLate) {
    CAdviseList list;
    list.Add(0, 100'000, 1);
    std::uint64_t ticks = 0;
    // An hour of 10 ms periods, each look up to 7 ms late.
    for (int period = 0; period < 360'000; ++period) {
        const REFERENCE_TIME late = REFERENCE_TIME{period} * 7919 % 70'000;
        for (const auto& signal : list.TakeDue(period * REFERENCE_TIME{100'000} + late)) {
            ticks += signal.count;
        }
        ASSERT_EQ(ticks, static_cast<std::uint64_t>(period) + 1);
    }
}

TEST(CAdviseList, KeepsTheOrderOfTimeAmongMany) {
    CAdviseList list;
    list.Add(300, 0, 3);
    const DWORD_PTR removed = list.Add(150, 0, 9);
    list.Add(100, 0, 1);
    list.Add(200, 0, 2);
    EXPECT_TRUE(list.Remove(removed));

    EXPECT_EQ(list.NextWake(), 100);
    const auto due = list.TakeDue(250);
    ASSERT_EQ(due.size(), 2U);
    EXPECT_EQ(due[0].descriptor, 1);
    EXPECT_EQ(due[1].descriptor, 2);
    EXPECT_EQ(list.NextWake(), 300);
}

TEST(CAdviseList, RemovesEachAdviceOnce) {
    CAdviseList list;
    const DWORD_PTR once = list.Add(100, 0, 1);
    const DWORD_PTR periodic = list.Add(100, 10'000, 1);
    list.TakeDue(100);

    EXPECT_FALSE(list.Remove(once));  // signalled
    EXPECT_TRUE(list.Remove(periodic));
    EXPECT_FALSE(list.Remove(periodic));
    EXPECT_FALSE(list.Remove(0));
    EXPECT_EQ(list.NextWake(), std::nullopt);
}

}  // namespace
}  // namespace qrn
