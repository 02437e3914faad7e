#include "runtime/CMediaThread.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sched.h>

#include <atomic>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/system/DebugOutput.h"
#include "platform/system/Lock.h"
#include "runtime/CQRN_Lock.h"
#include "support/CommonDataFolder.h"
#include "support/FakeClock.h"
#include "support/Faults.h"

namespace {

using namespace std::chrono_literals;
using qrn::test::CCommonDataFolder;
using qrn::test::CManualClock;
using testing::ElementsAre;
using testing::MatchesRegex;

/// A worker whose step is the test's.
class CWorker final : public CMediaThread {
public:
    explicit CWorker(std::function<int(CWorker&)> step, qrn::IClock& clock = qrn::SystemClock(),
                     std::chrono::milliseconds patience = kStopPatience)
        : CMediaThread(clock, "worker", patience),
          m_step(std::move(step)) {}
    ~CWorker() override { Stop(); }

    int Run() override {
        ++m_steps;
        return m_step(*this);
    }

    using CMediaThread::Clock;
    using CMediaThread::IsRunning;
    using CMediaThread::StopEvent;

    bool IsHeld() const { return m_thread.IsHeld(); }
    int Steps() const { return m_steps; }
    void SetPeriod(std::uint32_t ms) { m_period = ms; }
    void MoveTick(std::uint32_t ms) { m_nextTick += ms; }

    /// Waits until the thread has taken that many steps.
    bool WaitForSteps(int steps) const {
        return WaitUntil([&] { return m_steps >= steps; });
    }
    bool WaitForEnd() const {
        return WaitUntil([&] { return !m_running; });
    }

private:
    template <class Condition>
    static bool WaitUntil(Condition condition) {
        const auto start = qrn::SystemClock().Now();
        while (!condition()) {
            if (qrn::SystemClock().Now() - start > qrn::test::kTestPatience) {
                return false;
            }
            sched_yield();
        }
        return true;
    }

    const std::function<int(CWorker&)> m_step;
    std::atomic<int> m_steps = 0;
};

int WaitForStop(CWorker& worker) {
    worker.StopEvent().Wait(qrn::SystemClock(), -1ns);
    return 0;
}

TEST(MediaThread, StopWithoutAThreadIsDone) {
    CWorker worker(WaitForStop);
    EXPECT_TRUE(worker.Stop());
    EXPECT_FALSE(worker.IsHeld());
}

TEST(MediaThread, SecondStartMakesNoSecondThread) {
    CWorker worker(WaitForStop);
    EXPECT_TRUE(worker.Start());
    ASSERT_TRUE(worker.WaitForSteps(1));
    EXPECT_TRUE(worker.Start());
    EXPECT_TRUE(worker.Stop());
    EXPECT_FALSE(worker.IsHeld());
    EXPECT_FALSE(worker.IsRunning());
    EXPECT_EQ(worker.Steps(), 1);
}

TEST(MediaThread, OnlyTheStopCodeEndsTheLoopAndItStartsAgain) {
    CWorker worker([](CWorker& self) {
        constexpr int kCodes[] = {0, 241, -1, 245, 0xF0};
        return kCodes[(self.Steps() - 1) % 5];
    });
    EXPECT_TRUE(worker.Start());
    ASSERT_TRUE(worker.WaitForEnd());
    EXPECT_EQ(worker.Steps(), 5);
    EXPECT_TRUE(worker.IsHeld()) << "ended, not idle";
    EXPECT_TRUE(worker.Start());
    ASSERT_TRUE(worker.WaitForEnd());
    EXPECT_EQ(worker.Steps(), 10);
    EXPECT_TRUE(worker.Stop());
    EXPECT_FALSE(worker.IsHeld());
}

TEST(MediaThread, StopOnTheThreadItselfOnlyEndsTheLoop) {
    bool result = true;
    CWorker worker([&result](CWorker& self) {
        result = self.Stop();
        return 0;
    });
    EXPECT_TRUE(worker.Start());
    ASSERT_TRUE(worker.WaitForEnd());
    EXPECT_TRUE(worker.Stop());
    EXPECT_FALSE(result);
    EXPECT_EQ(worker.Steps(), 1);
}

/// Times of the steps, in milliseconds after the start.
class Pacing : public testing::Test {
protected:
    void Note() QRN_EXCLUDES(m_gate) {
        qrn::CScopedLock lock(m_gate);
        m_times.push_back(std::chrono::duration_cast<std::chrono::milliseconds>(m_clock.Now() - m_start).count());
    }
    std::vector<std::int64_t> Times() QRN_EXCLUDES(m_gate) {
        qrn::CScopedLock lock(m_gate);
        return m_times;
    }

    CManualClock m_clock;
    std::chrono::nanoseconds m_start = m_clock.Now();

private:
    qrn::CMutex m_gate;
    std::vector<std::int64_t> m_times QRN_GUARDED_BY(m_gate);
};

TEST_F(Pacing, SlippedScheduleStartsAnewFromTheLateStep) {
    CWorker worker(
        [this](CWorker& self) {
            Note();
            if (self.Steps() == 2) {
                m_clock.SleepFor(100ms);
            }
            return 0;
        },
        m_clock);
    worker.SetPeriod(20);
    worker.Start();
    ASSERT_TRUE(m_clock.WaitForBlocked(1));
    EXPECT_THAT(Times(), ElementsAre(0));
    for (const auto time : {20ms, 100ms, 19ms, 1ms, 20ms}) {
        m_clock.Advance(time);
        ASSERT_TRUE(m_clock.WaitForBlocked(1));
    }
    EXPECT_TRUE(worker.Stop());
    EXPECT_THAT(Times(), ElementsAre(0, 20, 120, 140, 160));
}

TEST_F(Pacing, TimeOfAShortStepIsNotAddedToThePeriod) {
    CWorker worker(
        [this](CWorker&) {
            Note();
            m_clock.SleepFor(5ms);
            return 0;
        },
        m_clock);
    worker.SetPeriod(20);
    worker.Start();
    ASSERT_TRUE(m_clock.WaitForBlocked(1));
    for (const auto time : {5ms, 15ms, 5ms, 15ms}) {
        m_clock.Advance(time);
        ASSERT_TRUE(m_clock.WaitForBlocked(1));
    }
    m_clock.Advance(5ms);
    EXPECT_TRUE(worker.Stop());
    EXPECT_THAT(Times(), ElementsAre(0, 20, 40));
}

TEST_F(Pacing, ClockThatJumpedBackDoesNotHoldTheNextStep) {
    CWorker worker(
        [this](CWorker& self) {
            Note();
            if (self.Steps() == 1) {
                self.MoveTick(1);
            }
            return self.Steps() == 3 ? CMediaThread::kStopCode : 0;
        },
        m_clock);
    worker.SetPeriod(20);
    worker.Start();
    // The second step is due 21 ms after now, which is more than the period: it comes at once, and the third after 20.
    ASSERT_TRUE(m_clock.WaitForBlocked(1));
    EXPECT_THAT(Times(), ElementsAre(0, 0));
    m_clock.Advance(20ms);
    ASSERT_TRUE(worker.WaitForEnd());
    EXPECT_THAT(Times(), ElementsAre(0, 0, 20));
}

TEST_F(Pacing, GoesOnOverTheWrapOfTheMilliseconds) {
    m_clock.Advance(std::chrono::milliseconds(0x100000000 - 30 - qrn::TimeMs(m_clock)));
    m_start = m_clock.Now();
    CWorker worker(
        [this](CWorker&) {
            Note();
            return 0;
        },
        m_clock);
    worker.SetPeriod(20);
    worker.Start();
    for (int i = 0; i < 3; ++i) {
        ASSERT_TRUE(m_clock.WaitForBlocked(1));
        m_clock.Advance(20ms);
    }
    ASSERT_TRUE(m_clock.WaitForBlocked(1));
    EXPECT_TRUE(worker.Stop());
    EXPECT_THAT(Times(), ElementsAre(0, 20, 40, 60));
}

TEST_F(Pacing, StopDoesNotWaitForTheNextStep) {
    CWorker worker([](CWorker&) { return 0; }, m_clock);
    worker.SetPeriod(3600 * 1000);
    worker.Start();
    ASSERT_TRUE(m_clock.WaitForBlocked(1));
    EXPECT_TRUE(worker.Stop());
    EXPECT_EQ(worker.Steps(), 1);
}

/// Never comes back and owns nothing that a kill would lose.
int HangForEver(CWorker&) {
    qrn::SystemClock().SleepFor(24h);
    return 0;
}

class StuckWorker : public testing::Test {
protected:
    StuckWorker() {
        qrn::SetDebugOutputSink([this](std::wstring_view text) { m_output += text; });
    }
    ~StuckWorker() override { qrn::SetDebugOutputSink(nullptr); }

    std::wstring m_output;
};

TEST_F(StuckWorker, IsKilledWithAWarningAndMayBeStartedAgain) {
    CWorker worker(HangForEver, qrn::SystemClock(), 20ms);
    worker.Start();
    ASSERT_TRUE(worker.WaitForSteps(1));
    EXPECT_FALSE(worker.Stop());
    EXPECT_EQ(m_output, L"\nWARNING using TerminateThread.\n\n");
    EXPECT_FALSE(worker.IsHeld());
    EXPECT_FALSE(worker.IsRunning());
    EXPECT_TRUE(worker.Stop()) << "nothing left to stop";
    EXPECT_TRUE(worker.Start());
    ASSERT_TRUE(worker.WaitForSteps(2));
    EXPECT_FALSE(worker.Stop());
}

TEST_F(StuckWorker, HasFiveSecondsToEndByItself) {
    CWorker worker(HangForEver);
    worker.Start();
    ASSERT_TRUE(worker.WaitForSteps(1));
    const auto start = qrn::SystemClock().Now();
    EXPECT_FALSE(worker.Stop());
    const auto waited = qrn::SystemClock().Now() - start;
    EXPECT_GE(waited, 5s);
    EXPECT_LT(waited, 10s);
}

struct FaultCase {
    const char* name;
    void (*fault)();
    const char* code;
};

class FaultyStep : public testing::TestWithParam<FaultCase> {};

TEST_P(FaultyStep, EndsTheThreadAndLeavesOneLine) {
    const CCommonDataFolder folder;
    CWorker worker([](CWorker&) {
        GetParam().fault();
        return 0;
    });
    worker.Start();
    ASSERT_TRUE(worker.WaitForEnd());
    EXPECT_EQ(worker.Steps(), 1);
    EXPECT_TRUE(worker.IsHeld());
    EXPECT_THAT(folder.DebugLog(),
                MatchesRegex(std::string("[-0-9]{10} [:0-9]{8}\\.[0-9]{3} \\[CMediaThread\\] -> Exception code: ") +
                             GetParam().code + "\n"));
    EXPECT_TRUE(worker.Stop());
}

constexpr FaultCase kFaults[] = {
    {"BadAddress", qrn::test::WriteToNowhere, "0xC0000005"},
#if defined(__x86_64__)
    {"DivisionByZero", qrn::test::DivideByZero, "0xC0000094"},
#endif
};

INSTANTIATE_TEST_SUITE_P(Kinds, FaultyStep, testing::ValuesIn(kFaults),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(MediaThread, FaultWithoutALogFolderStillEndsCleanly) {
    const CCommonDataFolder folder(CCommonDataFolder::LogFolder::kMissing);
    CWorker worker([](CWorker& self) {
        if (self.Steps() == 1) {
            qrn::test::WriteToNowhere();
        }
        return CMediaThread::kStopCode;
    });
    worker.Start();
    ASSERT_TRUE(worker.WaitForEnd());
    EXPECT_TRUE(std::filesystem::is_empty(folder.Path()));
    EXPECT_FALSE(worker.IsBroken()) << "it held nothing";
    EXPECT_TRUE(worker.Start()) << "a new thread after the fault";
    ASSERT_TRUE(worker.WaitForSteps(2));
    EXPECT_TRUE(worker.Stop());
}

TEST(MediaThread, FaultWithALockHeldFreesTheLockAndBreaksTheObject) {
    const CCommonDataFolder folder;
    CQRN_Lock gate;
    CWorker worker([&gate](CWorker&) {
        CQRN_AutoLock lock(&gate);
        qrn::test::WriteToNowhere();
        return 0;
    });
    ASSERT_TRUE(worker.Start());
    {
        CQRN_AutoLock lock(&gate);  // whoever waits for the lock gets it
    }
    ASSERT_TRUE(worker.WaitForEnd());
    EXPECT_TRUE(worker.IsBroken());
    EXPECT_FALSE(worker.Start());
    EXPECT_TRUE(worker.Stop());
    EXPECT_EQ(worker.Steps(), 1);
    EXPECT_NE(folder.DebugLog(), "");
}

TEST_F(StuckWorker, KilledWithALockHeldFreesTheLockAndBreaksTheObject) {
    CQRN_Lock gate;
    std::atomic<bool> isHeld = false;
    CWorker worker(
        [&](CWorker& self) {
            CQRN_AutoLock lock(&gate);
            isHeld = true;
            return HangForEver(self);
        },
        qrn::SystemClock(), 10ms);
    ASSERT_TRUE(worker.Start());
    while (!isHeld) {
        sched_yield();
    }
    EXPECT_FALSE(worker.Stop());
    CQRN_AutoLock lock(&gate);
    EXPECT_TRUE(worker.IsBroken());
    EXPECT_FALSE(worker.Start());
}

TEST(MediaThread, ExceptionOfAStepEndsTheThreadAndIsNoMatterForTheDebugLog) {
    const CCommonDataFolder folder;
    CWorker worker([](CWorker&) -> int { throw std::runtime_error("on purpose"); });
    worker.Start();
    ASSERT_TRUE(worker.WaitForEnd());
    EXPECT_TRUE(worker.Stop());
    EXPECT_EQ(folder.DebugLog(), "");
}

}  // namespace
