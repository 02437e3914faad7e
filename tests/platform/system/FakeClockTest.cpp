#include "support/FakeClock.h"

#include <gtest/gtest.h>

#include <atomic>

#include "platform/system/Thread.h"

namespace {

using namespace std::chrono_literals;
using qrn::CEvent;
using qrn::CThread;
using qrn::test::CAutoClock;
using qrn::test::CManualClock;

TEST(AutoClock, ReadyDescriptorCostsNoTime) {
    CAutoClock clock;
    CEvent event;
    event.Set();
    pollfd descriptor{event.Descriptor(), POLLIN, 0};
    const auto start = clock.Now();
    EXPECT_EQ(clock.Poll({&descriptor, 1}, 5s), 1);
    EXPECT_EQ(clock.Now(), start);
    event.Reset();
    EXPECT_EQ(clock.Poll({&descriptor, 1}, 5s), 0);
    EXPECT_EQ(clock.Now() - start, 5s);
    EXPECT_THROW(clock.Poll({&descriptor, 1}, -1ns), std::logic_error);
}

TEST(ManualClock, SleepersGoOnWhenTheirTimeHasComeAndNotBefore) {
    CManualClock clock;
    std::atomic<int> awake = 0;
    CThread early;
    CThread late;
    ASSERT_TRUE(early.Start("early", [&] {
        clock.SleepFor(10ms);
        ++awake;
    }));
    ASSERT_TRUE(late.Start("late", [&] {
        clock.SleepFor(20ms);
        ++awake;
    }));
    ASSERT_TRUE(clock.WaitForBlocked(2));
    clock.Advance(10ms - 1ns);
    EXPECT_EQ(clock.BlockedThreads(), 2u);
    clock.Advance(1ns);
    EXPECT_EQ(clock.BlockedThreads(), 1u);
    early.Join();
    EXPECT_EQ(awake, 1);
    clock.Advance(10ms);
    late.Join();
    EXPECT_EQ(awake, 2);
}

TEST(ManualClock, PollEndsByItsDescriptor) {
    CManualClock clock;
    CEvent other;
    CEvent event;
    int ready = 0;
    pollfd descriptors[] = {{other.Descriptor(), POLLIN, 0}, {event.Descriptor(), POLLIN, 0}};
    CThread thread;
    ASSERT_TRUE(thread.Start("poller", [&] { ready = clock.Poll(descriptors, 1s); }));
    ASSERT_TRUE(clock.WaitForBlocked(1));
    event.Set();
    thread.Join();
    EXPECT_EQ(ready, 1);
    EXPECT_EQ(descriptors[0].revents, 0);
    EXPECT_EQ(descriptors[1].revents, POLLIN);
}

}  // namespace
