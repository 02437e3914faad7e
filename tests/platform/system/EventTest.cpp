#include "platform/system/Event.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <vector>

#include "platform/system/Thread.h"
#include "support/FakeClock.h"

namespace {

using namespace std::chrono_literals;
using qrn::CEvent;
using qrn::EventReset;
using qrn::test::CAutoClock;
using qrn::test::CManualClock;

TEST(Event, AutomaticOneIsTakenOnceHoweverOftenItWasSet) {
    CAutoClock clock;
    CEvent event;
    EXPECT_FALSE(event.Wait(clock, 0ns));
    event.Set();
    event.Set();
    EXPECT_TRUE(event.Wait(clock, 0ns));
    EXPECT_FALSE(event.TryConsume());
}

TEST(Event, ManualOneStaysSetUntilReset) {
    CAutoClock clock;
    CEvent event(EventReset::kManual);
    event.Set();
    EXPECT_TRUE(event.Wait(clock, 0ns));
    EXPECT_TRUE(event.TryConsume());
    event.Reset();
    EXPECT_FALSE(event.TryConsume());
    event.Reset();  // of a clear one: nothing, and above all no waiting
}

TEST(Event, TimeOutIsCountedByTheClockGiven) {
    CAutoClock clock;
    CEvent event;
    const auto start = clock.Now();
    EXPECT_FALSE(event.Wait(clock, 24h));
    EXPECT_EQ(clock.Now() - start, 24h);
}

TEST(Event, OneSetWakesExactlyOneOfSeveralWaiters) {
    constexpr std::size_t kWaiters = 4;
    CManualClock clock;
    CEvent event;
    std::atomic<int> woken = 0;
    std::atomic<int> timedOut = 0;
    std::vector<std::unique_ptr<qrn::CThread>> threads;
    for (std::size_t i = 0; i < kWaiters; ++i) {
        threads.push_back(std::make_unique<qrn::CThread>());
        threads.back()->Start("waiter", [&] { ++(event.Wait(clock, 10s) ? woken : timedOut); });
    }
    ASSERT_TRUE(clock.WaitForBlocked(kWaiters));
    event.Set();
    // The losers of the race for it go back to sleep.
    ASSERT_TRUE(clock.WaitForBlocked(kWaiters - 1));
    clock.Advance(10s);
    for (const auto& thread : threads) {
        thread->Join();
    }
    EXPECT_EQ(woken, 1);
    EXPECT_EQ(timedOut, static_cast<int>(kWaiters) - 1);
}

TEST(Event, EndlessWaitEndsBySet) {
    CManualClock clock;
    CEvent event(EventReset::kManual);
    bool result = false;
    qrn::CThread thread;
    ASSERT_TRUE(thread.Start("waiter", [&] { result = event.Wait(clock, -1ns); }));
    ASSERT_TRUE(clock.WaitForBlocked(1));
    clock.Advance(24h);
    EXPECT_EQ(clock.BlockedThreads(), 1u);
    event.Set();
    thread.Join();
    EXPECT_TRUE(result);
}

}  // namespace
