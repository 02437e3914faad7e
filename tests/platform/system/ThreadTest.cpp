#include "platform/system/Thread.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <csignal>
#include <list>
#include <stdexcept>
#include <string>

#include "platform/system/Clock.h"
#include "platform/system/Condition.h"
#include "platform/system/Event.h"
#include "platform/system/FaultGuard.h"
#include "platform/system/Lock.h"

namespace {

using namespace std::chrono_literals;
using qrn::CThread;

TEST(Thread, CarriesTheBeginningOfItsName) {
    std::array<char, 32> name{};
    CThread thread;
    ASSERT_TRUE(thread.Start("a-name-of-more-than-15",
                             [&name] { pthread_getname_np(pthread_self(), name.data(), name.size()); }));
    thread.Join();
    EXPECT_STREQ(name.data(), "a-name-of-more-");
}

TEST(Thread, HoldsOneThreadAtATime) {
    qrn::CEvent go;
    CThread thread;
    ASSERT_TRUE(thread.Start("first", [&go] { go.Wait(qrn::SystemClock(), -1ns); }));
    EXPECT_TRUE(thread.IsHeld());
    EXPECT_FALSE(thread.IsCurrent());
    EXPECT_FALSE(thread.Start("second", [] {}));
    EXPECT_FALSE(thread.Join(1ms));
    EXPECT_TRUE(thread.IsHeld());
    go.Set();
    EXPECT_TRUE(thread.Join(20s));
    EXPECT_FALSE(thread.IsHeld());
    EXPECT_TRUE(thread.Join(0ms)) << "nothing to wait for";
    EXPECT_TRUE(thread.Start("again", [] {}));
}

TEST(Thread, CannotJoinItself) {
    bool joined = true;
    bool isCurrent = false;
    CThread thread;
    ASSERT_TRUE(thread.Start("self", [&] {
        isCurrent = thread.IsCurrent();
        joined = thread.Join(1h);
    }));
    EXPECT_TRUE(thread.Join(20s));
    EXPECT_TRUE(isCurrent);
    EXPECT_FALSE(joined);
}

TEST(Thread, ExceptionOfItsBodyEndsTheThreadAlone) {
    CThread thread;
    ASSERT_TRUE(thread.Start("thrower", [] { throw std::runtime_error("on purpose"); }));
    EXPECT_TRUE(thread.Join(20s));
    ASSERT_TRUE(thread.Start("thrower", [] { throw 1; }));
    EXPECT_TRUE(thread.Join(20s));
}

TEST(Thread, LeavesTheProcessSignalsToTheProgram) {
    sigset_t mask;
    sigemptyset(&mask);
    sigset_t own;
    pthread_sigmask(SIG_SETMASK, nullptr, &own);
    CThread thread;
    ASSERT_TRUE(thread.Start("deaf", [&mask] { pthread_sigmask(SIG_SETMASK, nullptr, &mask); }));
    thread.Join();
    EXPECT_EQ(sigismember(&mask, SIGINT), 1);
    EXPECT_EQ(sigismember(&mask, SIGTERM), 1);
    EXPECT_EQ(sigismember(&mask, SIGSEGV), 0);
    sigset_t ownLater;
    pthread_sigmask(SIG_SETMASK, nullptr, &ownLater);
    EXPECT_EQ(sigismember(&own, SIGINT), sigismember(&ownLater, SIGINT));
}

TEST(Thread, KillOfNothingIsDone) {
    EXPECT_TRUE(CThread().Kill());
}

TEST(Thread, KillOfAThreadThatEndedByItself) {
    CThread thread;
    ASSERT_TRUE(thread.Start("short", [] {}));
    EXPECT_TRUE(thread.Kill());
    EXPECT_FALSE(thread.IsHeld());
}

/// Ways to be stuck. They use nothing of the heap, which a killed thread could not give back.
struct StuckCase {
    const char* name;
    void (*wait)();
    bool underThreadSanitizer;  // which delivers signals only inside calls that it knows
};

std::atomic<int> g_entered = 0;

void SpinForEver() {
    for (volatile bool goOn = true; goOn;) {
    }
}

void SleepForEver() {
    qrn::SystemClock().SleepFor(24h);
}

void PollForEver() {
    qrn::SystemClock().Poll({}, -1ns);
}

void ReceiveForEver() {
    static int pair[2] = {-1, -1};
    if (pair[0] < 0) {
        socketpair(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0, pair);
    }
    char byte = 0;
    recv(pair[0], &byte, 1, 0);
}

/// What a killed waiter leaves behind is of no use to the next one.
struct Waitable {
    qrn::CMutex mutex;
    qrn::CCondition condition;
};
std::list<Waitable> g_waitables;

void WaitOnAConditionForEver() {
    Waitable& waitable = g_waitables.emplace_back();
    qrn::CScopedLock lock(waitable.mutex);
    for (;;) {
        waitable.condition.Wait(waitable.mutex);
    }
}

void BeGuardedForEver() {
    static_cast<void>(qrn::RunGuarded(SleepForEver));
}

void RefuseToThrow() noexcept {
    SleepForEver();
}

class StuckThread : public testing::TestWithParam<StuckCase> {};

TEST_P(StuckThread, IsKilled) {
#if defined(__SANITIZE_THREAD__)
    if (!GetParam().underThreadSanitizer) {
        GTEST_SKIP() << "the thread sanitizer keeps the signal back in loops without calls";
    }
#endif
    g_entered = 0;
    bool hasReturned = false;
    CThread thread;
    ASSERT_TRUE(thread.Start("stuck", [&hasReturned] {
        ++g_entered;
        GetParam().wait();
        hasReturned = true;
    }));
    while (g_entered == 0) {
        sched_yield();
    }
    EXPECT_FALSE(thread.Join(5ms));
    EXPECT_TRUE(thread.Kill());
    EXPECT_FALSE(thread.IsHeld());
    EXPECT_FALSE(hasReturned);
    EXPECT_TRUE(thread.Start("successor", [] {}));
}

INSTANTIATE_TEST_SUITE_P(Ways, StuckThread,
                         testing::Values(StuckCase{"Loop", SpinForEver, false}, StuckCase{"Sleep", SleepForEver, true},
                                         StuckCase{"Poll", PollForEver, true},
                                         StuckCase{"Receive", ReceiveForEver, true},
                                         StuckCase{"Condition", WaitOnAConditionForEver, true},
                                         StuckCase{"Guarded", BeGuardedForEver, true},
                                         StuckCase{"Noexcept", RefuseToThrow, true}),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(Condition, TimeOutPassesAndHugeOnesDoNotOverflow) {
    qrn::CMutex mutex;
    qrn::CCondition condition;
    qrn::CScopedLock lock(mutex);
    EXPECT_FALSE(condition.WaitFor(mutex, 1ms));
    EXPECT_FALSE(condition.WaitFor(mutex, -1h));

    bool isSet = false;
    CThread setter;
    ASSERT_TRUE(setter.Start("setter", [&] {
        qrn::CScopedLock inner(mutex);
        isSet = true;
        condition.NotifyOne();
    }));
    while (!isSet) {
        EXPECT_TRUE(condition.WaitFor(mutex, std::chrono::nanoseconds::max()));
    }
}

}  // namespace
