#include "platform/sound/CPlayoutQueue.h"

#include <gtest/gtest.h>

#include <numeric>

namespace {

using Bytes = std::vector<std::uint8_t>;

// 1000 frames of 2 bytes a second: 20 bytes a period, a cushion of 2 periods, a capacity of 8.
constexpr qrn::SoundFormat kFormat{1000, 1};
constexpr std::uint32_t kPeriodMs = 10;
constexpr std::size_t kPeriodBytes = 20;

Bytes Period(std::uint8_t value) {
    return Bytes(kPeriodBytes, value);
}

Bytes PullPeriod(qrn::CPlayoutQueue& queue) {
    Bytes out(kPeriodBytes, 0xFF);
    queue.Pull(out);
    return out;
}

TEST(PlayoutQueue, CollectsACushionFirst) {
    qrn::CPlayoutQueue queue(kFormat, kPeriodMs);
    EXPECT_EQ(PullPeriod(queue), Period(0));
    queue.Push(Period(1));
    EXPECT_EQ(PullPeriod(queue), Period(0));
    queue.Push(Period(2));
    EXPECT_EQ(PullPeriod(queue), Period(1));
    EXPECT_EQ(PullPeriod(queue), Period(2));
}

TEST(PlayoutQueue, RunningDryFillsWithSilenceAndCollectsAgain) {
    qrn::CPlayoutQueue queue(kFormat, kPeriodMs);
    queue.Push(Bytes(50, 1));
    PullPeriod(queue);
    PullPeriod(queue);
    Bytes rest(10, 1);
    rest.resize(kPeriodBytes, 0);
    EXPECT_EQ(PullPeriod(queue), rest);
    queue.Push(Period(2));
    EXPECT_EQ(PullPeriod(queue), Period(0));
    queue.Push(Period(3));
    EXPECT_EQ(PullPeriod(queue), Period(2));
}

TEST(PlayoutQueue, ASlowDeviceLosesTheOldestAndStaysNear) {
    qrn::CPlayoutQueue queue(kFormat, kPeriodMs);
    for (std::uint8_t i = 1; i <= 9; ++i) {
        queue.Push(Period(i));
    }
    // The ninth did not fit: the cushion is what stays, the newest two.
    EXPECT_EQ(PullPeriod(queue), Period(8));
    EXPECT_EQ(PullPeriod(queue), Period(9));
}

}  // namespace
