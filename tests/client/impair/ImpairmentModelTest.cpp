#include "client/impair/ImpairmentModel.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>
#include <vector>

namespace qrn {
namespace {

using std::chrono::milliseconds;
using Time = CImpairmentModel::Time;
using Datagram = CImpairmentModel::Datagram;

constexpr Time kInterval = milliseconds(2);
constexpr std::size_t kBytes = 100;

/// What a stream of equal datagrams, one every `kInterval`, becomes.
struct Outcome {
    std::vector<DatagramFate> fates;
    std::vector<Datagram> out;
    ImpairmentCounters counters;

    double ShareLost() const {
        return static_cast<double>(counters.lost + counters.lostInBursts) / static_cast<double>(counters.offered);
    }
};

void ExpectConserved(const ImpairmentCounters& counters) {
    EXPECT_EQ(counters.offered + counters.duplicated,
              counters.delivered + counters.lost + counters.lostInBursts + counters.droppedByQueue + counters.waiting);
}

Outcome Send(const ImpairmentSettings& settings, std::size_t datagrams, Time interval = kInterval) {
    Outcome outcome;
    CImpairmentModel model(settings);
    const auto take = [&](Time now) {
        while (auto datagram = model.Take(now)) {
            EXPECT_LE(datagram->leaves, now);
            outcome.out.push_back(std::move(*datagram));
        }
    };
    Time now = milliseconds(5);
    for (std::size_t i = 0; i < datagrams; ++i, now += interval) {
        take(now);
        outcome.fates.push_back(model.Offer(std::vector<std::uint8_t>(kBytes, static_cast<std::uint8_t>(i)), now));
        ExpectConserved(model.Counters());
    }
    while (const auto next = model.NextTime()) {
        now = std::max(now, *next);
        take(now);
    }
    outcome.counters = model.Counters();
    EXPECT_EQ(outcome.counters.waiting, 0u);
    EXPECT_EQ(outcome.counters.delivered, outcome.out.size());
    EXPECT_EQ(outcome.counters.deliveredBytes, outcome.out.size() * kBytes);
    ExpectConserved(outcome.counters);
    EXPECT_TRUE(std::ranges::is_sorted(outcome.out, {}, &Datagram::leaves));
    return outcome;
}

struct LossCase {
    const char* name;
    double loss;
    double burstStart;
    double burstLength;
    double shareLost;
};

class Loss : public testing::TestWithParam<LossCase> {};

// 100000 datagrams: four standard deviations of an independent loss of one half are 0.0063; bursts of ten spread more.
TEST_P(Loss, TakesItsShare) {
    const LossCase& row = GetParam();
    ImpairmentSettings settings;
    settings.loss = row.loss;
    settings.burstStart = row.burstStart;
    settings.burstLength = row.burstLength;
    const Outcome outcome = Send(settings, 100'000);
    EXPECT_NEAR(outcome.ShareLost(), row.shareLost, row.burstLength > 1 ? 0.012 : 0.0063);
}

INSTANTIATE_TEST_SUITE_P(Shares, Loss,
                         testing::Values(LossCase{"None", 0, 0, 1, 0}, LossCase{"Five", 0.05, 0, 1, 0.05},
                                         LossCase{"Half", 0.5, 0, 1, 0.5}, LossCase{"All", 1, 0, 1, 1},
                                         // Of a cycle of 1/P good ones and LENGTH bad ones.
                                         LossCase{"Bursts", 0, 0.01, 10, 10.0 / 110},
                                         LossCase{"BurstsAndSingles", 0.1, 0.02, 5, 5.0 / 55 + 0.1 * 50 / 55},
                                         LossCase{"AboveOneIsAll", 7, 0, 1, 1}, LossCase{"BelowNothing", -1, -1, -1, 0},
                                         LossCase{"NoNumber", std::nan(""), std::nan(""), std::nan(""), 0}),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(ImpairmentModel, BurstsHaveTheirMeanLength) {
    for (const double length : {1.0, 3.0, 8.0}) {
        ImpairmentSettings settings;
        settings.burstStart = 0.02;
        settings.burstLength = length;
        const Outcome outcome = Send(settings, 200'000);
        std::size_t bursts = 0;
        for (std::size_t i = 1; i < outcome.fates.size(); ++i) {
            bursts += outcome.fates[i].isInBurst && !outcome.fates[i - 1].isInBurst ? 1 : 0;
        }
        ASSERT_GT(bursts, 1000u);
        EXPECT_NEAR(static_cast<double>(outcome.counters.lostInBursts) / static_cast<double>(bursts), length,
                    length * 0.05);
    }
}

TEST(ImpairmentModel, ReorderingKeepsWithinItsDistance) {
    constexpr std::uint32_t kDistance = 7;
    ImpairmentSettings settings;
    settings.reorder = 0.2;
    settings.reorderDistance = kDistance;
    const Outcome outcome = Send(settings, 20'000);
    EXPECT_NEAR(static_cast<double>(outcome.counters.reordered) / 20'000, 0.2, 0.015);
    std::vector<std::size_t> placeOf(20'000);
    for (std::size_t place = 0; place < outcome.out.size(); ++place) {
        placeOf[outcome.out[place].number] = place;
    }
    std::uint32_t farthest = 0;
    std::uint64_t highest = 0;
    for (const Datagram& datagram : outcome.out) {
        highest = std::max(highest, datagram.number);
        farthest = std::max(farthest, static_cast<std::uint32_t>(highest - datagram.number));
    }
    EXPECT_EQ(farthest, kDistance);
    for (std::size_t i = 0; i < outcome.fates.size(); ++i) {
        if (outcome.fates[i].overtakenBy == 0) {
            continue;
        }
        // Those that it lets pass are in front of it, but for those that wait themselves.
        for (std::size_t other = i + 1; other <= i + outcome.fates[i].overtakenBy && other < placeOf.size(); ++other) {
            EXPECT_TRUE(placeOf[other] < placeOf[i] || outcome.fates[other].overtakenBy > 0) << i << " and " << other;
        }
    }
}

TEST(ImpairmentModel, WhatIsToBeOvertakenGoesOnAlsoWhenNothingFollows) {
    ImpairmentSettings settings;
    settings.reorder = 1;
    settings.reorderDistance = 5;
    settings.delay = milliseconds(30);
    CImpairmentModel model(settings);
    model.Offer(std::vector<std::uint8_t>{1}, milliseconds(10));
    ASSERT_TRUE(model.NextTime());
    EXPECT_EQ(*model.NextTime(), milliseconds(10) + CImpairmentModel::kLongestHold);
    EXPECT_FALSE(model.Take(*model.NextTime()));  // on its way now
    const auto datagram = model.Take(milliseconds(5000));
    ASSERT_TRUE(datagram);
    EXPECT_EQ(datagram->leaves, milliseconds(40) + CImpairmentModel::kLongestHold);
    EXPECT_FALSE(model.NextTime());
}

TEST(ImpairmentModel, DelayAndJitterKeepTheOrder) {
    ImpairmentSettings settings;
    settings.delay = milliseconds(40);
    settings.jitter = milliseconds(25);
    // Of those that come close together, one that takes long holds up those behind it.
    for (const Time interval : {milliseconds(2), milliseconds(30)}) {
        const Outcome outcome = Send(settings, 5'000, interval);
        ASSERT_EQ(outcome.out.size(), 5'000u);
        Time shortest = Time::max();
        Time longest{0};
        for (std::size_t i = 0; i < outcome.out.size(); ++i) {
            ASSERT_EQ(outcome.out[i].number, i);
            const Time taken = outcome.out[i].leaves - (milliseconds(5) + static_cast<int>(i) * interval);
            shortest = std::min(shortest, taken);
            longest = std::max(longest, taken);
        }
        EXPECT_GE(shortest, milliseconds(40));
        EXPECT_LT(shortest, interval < settings.jitter ? milliseconds(50) : milliseconds(41));
        EXPECT_GT(longest, milliseconds(64));
        EXPECT_LE(longest, milliseconds(65));
    }
}

TEST(ImpairmentModel, ACopyFollowsItsFirst) {
    ImpairmentSettings settings;
    settings.duplicate = 0.1;
    const Outcome outcome = Send(settings, 20'000);
    EXPECT_NEAR(static_cast<double>(outcome.counters.duplicated) / 20'000, 0.1, 0.01);
    std::map<std::uint64_t, int> copies;
    for (std::size_t i = 0; i < outcome.out.size(); ++i) {
        if (++copies[outcome.out[i].number] == 2) {
            EXPECT_EQ(outcome.out[i - 1].number, outcome.out[i].number);
            EXPECT_EQ(outcome.out[i - 1].bytes, outcome.out[i].bytes);
        }
    }
    for (const auto& [number, count] : copies) {
        EXPECT_EQ(count, outcome.fates[number].isDuplicated ? 2 : 1);
    }
}

TEST(ImpairmentModel, TheLineHasItsRateAndItsQueue) {
    ImpairmentSettings settings;
    settings.rateKbit = 256;  // 128 bytes with their head take 4 ms
    settings.queueDatagrams = 10;
    const Outcome outcome = Send(settings, 1'000, milliseconds(1));
    ASSERT_GT(outcome.out.size(), 2u);
    EXPECT_GT(outcome.counters.droppedByQueue, 700u);
    for (std::size_t i = 1; i < outcome.out.size(); ++i) {
        EXPECT_EQ(outcome.out[i].leaves - outcome.out[i - 1].leaves, milliseconds(4));
    }
    for (const Datagram& datagram : outcome.out) {
        const Time came = milliseconds(5) + static_cast<int>(datagram.number) * milliseconds(1);
        EXPECT_LE(datagram.leaves - came, 11 * milliseconds(4)) << "ten in front of it, and itself";
    }
    EXPECT_EQ(Send(settings, 1'000, milliseconds(4)).counters.droppedByQueue, 0u) << "no more than the line takes";
}

TEST(ImpairmentModel, FatesHangOnSeedAndNumberNotOnTime) {
    ImpairmentSettings settings{.loss = 0.1,
                                .burstStart = 0.02,
                                .burstLength = 4,
                                .jitter = milliseconds(9),
                                .reorder = 0.1,
                                .reorderDistance = 6,
                                .duplicate = 0.1,
                                .seed = 42};
    const auto numbers = [&](Time interval) {
        std::vector<std::uint64_t> left;
        for (const Datagram& datagram : Send(settings, 500, interval).out) {
            left.push_back(datagram.number);
        }
        return left;
    };
    const auto slow = numbers(milliseconds(10));
    EXPECT_EQ(numbers(milliseconds(1)), slow);
    settings.seed = 43;
    EXPECT_NE(numbers(milliseconds(10)), slow);
}

TEST(ImpairmentModel, DrawsAreThoseOfTheNamedGenerator) {
    // The first outputs of SplitMix64 for the seed 1234567, as its authors' program prints them:
    // 6457827717110365317, 3203168211198807973, 9817491932198370423, ... The third decides on the copy.
    const double third = 9817491932198370423.0 / 18446744073709551616.0;
    for (const double duplicate : {third - 1e-6, third + 1e-6}) {
        CImpairmentModel model({.duplicate = duplicate, .seed = 1234567});
        EXPECT_EQ(model.Offer({}, Time{0}).isDuplicated, duplicate > third);
    }
}

}  // namespace
}  // namespace qrn
