#include "platform/system/FaultGuard.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <atomic>
#include <cfenv>
#include <csignal>
#include <memory>
#include <stdexcept>
#include <type_traits>
#include <vector>

#include "platform/system/Lock.h"
#include "platform/system/Thread.h"
#include "support/Faults.h"

namespace {

using qrn::Fault;
using qrn::RunGuarded;
using qrn::test::DivideByZero;
using qrn::test::WriteToNowhere;

void RunIllegalInstruction() {
    __builtin_trap();
}

/// Memory beyond the end of its file: the processor finds it, the file does not (SIGBUS).
void ReadBeyondTheFile() {
    const int file = memfd_create("short", MFD_CLOEXEC);
    void* memory = mmap(nullptr, 4096, PROT_READ, MAP_SHARED, file, 0);
    close(file);
    [[maybe_unused]] const char byte = *static_cast<volatile const char*>(memory);
}

struct FaultCase {
    const char* name;
    void (*call)();
    std::uint32_t code;
};

class Faults : public testing::TestWithParam<FaultCase> {};

TEST_P(Faults, EndTheGuardedCallWithTheirCode) {
    bool hasReturned = false;
    const auto fault = RunGuarded([&hasReturned] {
        GetParam().call();
        *static_cast<volatile bool*>(&hasReturned) = true;
    });
    ASSERT_TRUE(fault.has_value());
    EXPECT_EQ(fault->code, GetParam().code);
    EXPECT_FALSE(hasReturned);
}

constexpr FaultCase kFaults[] = {
    {"BadAddress", WriteToNowhere, 0xC0000005},           {"BeyondTheFile", ReadBeyondTheFile, 0xC0000005},
#if defined(__x86_64__)
    {"DivisionByZero", DivideByZero, 0xC0000094},         {"IllegalInstruction", RunIllegalInstruction, 0xC000001D},
#endif
    {"RaisedInside", [] { raise(SIGSEGV); }, 0xC0000005},
};

INSTANTIATE_TEST_SUITE_P(Kinds, Faults, testing::ValuesIn(kFaults),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(FaultGuard, CallWithoutAFaultGivesNothing) {
    int calls = 0;
    EXPECT_EQ(RunGuarded([&calls] { ++calls; }).has_value(), false);
    EXPECT_EQ(calls, 1);
}

TEST(FaultGuard, InnermostGuardTakesTheFaultAndTheOuterOneGoesOn) {
    bool innerCaught = false;
    const auto outer = RunGuarded([&innerCaught] {
        innerCaught = RunGuarded(WriteToNowhere).has_value();
        raise(SIGFPE);
    });
    EXPECT_TRUE(innerCaught);
    ASSERT_TRUE(outer.has_value());
    EXPECT_EQ(outer->code, 0xC0000094u);
}

TEST(FaultGuard, ExceptionPassesThroughAndTheGuardEnds) {
    EXPECT_THROW(RunGuarded([] { throw std::runtime_error("no fault"); }), std::runtime_error);
    const auto later = RunGuarded(WriteToNowhere);
    EXPECT_TRUE(later.has_value());
}

TEST(FaultGuard, SignalMaskIsThatOfBefore) {
    ASSERT_TRUE(RunGuarded(WriteToNowhere).has_value());
    sigset_t mask;
    pthread_sigmask(SIG_SETMASK, nullptr, &mask);
    EXPECT_EQ(sigismember(&mask, SIGSEGV), 0);
}

TEST(FaultGuard, RoundingModeIsThatOfBefore) {
    std::fesetround(FE_UPWARD);
    const auto fault = RunGuarded([] {
        std::fesetround(FE_DOWNWARD);
        WriteToNowhere();
    });
    const int mode = std::fegetround();
    std::fesetround(FE_TONEAREST);
    EXPECT_TRUE(fault.has_value());
    EXPECT_EQ(mode, FE_UPWARD);
}

/// Whether another thread could take it. On this one, a recursive lock would say yes.
template <class Mutex>
bool IsFree(Mutex& mutex) {
    if constexpr (std::is_same_v<Mutex, qrn::CMutex>) {
        if (mutex.TryLock()) {
            mutex.Unlock();
            return true;
        }
        return false;
    } else {
        std::atomic<bool> taken = false;
        qrn::CThread thread;
        thread.Start("taker", [&] {
            qrn::CScopedLock lock(mutex);
            taken = true;
        });
        return thread.Join(std::chrono::seconds(10)) && taken;
    }
}

// The analysis cannot see that the guard gives locks back.
TEST(FaultGuard, LocksOfTheCallAreGivenBackAndCounted) QRN_NO_THREAD_SAFETY_ANALYSIS {
    qrn::CMutex before;
    qrn::CMutex plain;
    qrn::CMutex released;
    qrn::CRecursiveMutex twice;
    before.Lock();
    const auto fault = RunGuarded([&]() QRN_NO_THREAD_SAFETY_ANALYSIS {
        released.Lock();
        plain.TryLock();
        twice.Lock();
        released.Unlock();
        twice.Lock();
        WriteToNowhere();
    });
    ASSERT_TRUE(fault.has_value());
    EXPECT_EQ(fault->locksHeld, 3u);
    EXPECT_TRUE(IsFree(plain));
    EXPECT_TRUE(IsFree(released));
    EXPECT_TRUE(IsFree(twice));
    EXPECT_FALSE(IsFree(before)) << "taken outside the call";
    before.Unlock();
    EXPECT_EQ(RunGuarded(WriteToNowhere)->locksHeld, 0u) << "what was held then is no matter now";
}

TEST(FaultGuard, AnInnerFaultLeavesTheLocksOfTheOuterCall) QRN_NO_THREAD_SAFETY_ANALYSIS {
    qrn::CMutex outer;
    qrn::CMutex kept;
    qrn::CMutex inner;
    std::uint32_t innerHeld = 0;
    bool wereOutersHeld = false;
    const auto fault = RunGuarded([&]() QRN_NO_THREAD_SAFETY_ANALYSIS {
        outer.Lock();
        RunGuarded([&]() QRN_NO_THREAD_SAFETY_ANALYSIS { kept.Lock(); });  // and ends well
        innerHeld = RunGuarded([&]() QRN_NO_THREAD_SAFETY_ANALYSIS {
                        inner.Lock();
                        WriteToNowhere();
                    })->locksHeld;
        wereOutersHeld = IsFree(inner) && !IsFree(outer) && !IsFree(kept);
        WriteToNowhere();
    });
    EXPECT_EQ(innerHeld, 1u);
    EXPECT_TRUE(wereOutersHeld);
    EXPECT_EQ(fault->locksHeld, 2u);
    EXPECT_TRUE(IsFree(outer));
    EXPECT_TRUE(IsFree(kept));
}

TEST(FaultGuard, LocksOnTheStackThatIsGoneAreLeftAlone) QRN_NO_THREAD_SAFETY_ANALYSIS {
    const auto fault = RunGuarded([]() QRN_NO_THREAD_SAFETY_ANALYSIS {
        qrn::CMutex local;
        local.Lock();
        WriteToNowhere();
    });
    EXPECT_EQ(fault->locksHeld, 1u);
}

TEST(FaultGuard, MoreLocksThanAreKnownAreCounted) QRN_NO_THREAD_SAFETY_ANALYSIS {
    constexpr std::uint32_t kLocks = 40;
    std::vector<qrn::CMutex> mutexes(kLocks);
    const auto fault = RunGuarded([&]() QRN_NO_THREAD_SAFETY_ANALYSIS {
        for (qrn::CMutex& mutex : mutexes) {
            mutex.Lock();
        }
        WriteToNowhere();
    });
    EXPECT_EQ(fault->locksHeld, kLocks);
    EXPECT_TRUE(IsFree(mutexes.front()));
    for (qrn::CMutex& mutex : mutexes) {
        if (!IsFree(mutex)) {
            mutex.Unlock();
        }
    }
    EXPECT_FALSE(RunGuarded([] {}).has_value());
}

#if defined(__x86_64__)
TEST(FaultGuard, UnmaskedFloatingDivisionByZeroIsCaughtEveryTime) {
    for (int i = 0; i < 2; ++i) {
        feenableexcept(FE_DIVBYZERO);
        volatile double zero = 0;
        const auto fault = RunGuarded([&zero] { zero = 1 / zero; });
        const int enabled = fegetexcept();
        fedisableexcept(FE_ALL_EXCEPT);
        ASSERT_TRUE(fault.has_value());
        EXPECT_EQ(fault->code, 0xC000008Eu);
        EXPECT_EQ(enabled, FE_DIVBYZERO) << "the thread's own mask came back";
    }
}
#endif

TEST(FaultGuard, ThreadsCatchTheirOwnFaultsAtTheSameTime) {
    constexpr int kThreads = 4;
    constexpr int kRounds = 200;
    std::atomic<int> caught = 0;
    std::vector<std::unique_ptr<qrn::CThread>> threads;
    for (int i = 0; i < kThreads; ++i) {
        threads.push_back(std::make_unique<qrn::CThread>());
        threads.back()->Start("faulty", [&caught] {
            for (int round = 0; round < kRounds; ++round) {
                caught += RunGuarded(WriteToNowhere).has_value() ? 1 : 0;
            }
        });
    }
    for (const auto& thread : threads) {
        thread->Join();
    }
    EXPECT_EQ(caught, kThreads * kRounds);
}

#if !defined(QRN_SANITIZED)  // their frames and stack limits are not those of the program
int __attribute__((noinline)) UseUpTheStack(volatile char* outer) {
    volatile char frame[4096];
    frame[0] = outer[0];
    return outer[0] == 0 ? UseUpTheStack(frame) + frame[0] : 0;
}

TEST(FaultGuard, UsedUpStackIsCaught) {
    std::uint32_t code = 0;
    qrn::CThread thread;
    ASSERT_TRUE(thread.Start("deep", [&code] {
        for (int i = 0; i < 2; ++i) {
            volatile char outermost = 0;
            const auto fault = RunGuarded([&outermost] { UseUpTheStack(&outermost); });
            code = fault ? fault->code : 0;
        }
    }));
    thread.Join();
    EXPECT_EQ(code, 0xC0000005u);
}
#endif

TEST(FaultGuardDeathTest, OutsideAGuardedCallTheSignalTakesItsPreviousCourse) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            signal(SIGSEGV, [](int) { _exit(77); });
            RunGuarded([] {});
            WriteToNowhere();
        },
        testing::ExitedWithCode(77), "");
#if !defined(QRN_SANITIZED)  // there the previous course is the sanitizer's
    EXPECT_EXIT(
        {
            RunGuarded([] {});
            WriteToNowhere();
        },
        testing::KilledBySignal(SIGSEGV), "");
    EXPECT_EXIT(
        {
            RunGuarded([] {});
            RunGuarded([] { kill(getpid(), SIGILL); });
        },
        testing::KilledBySignal(SIGILL), "")
        << "a signal that is sent is no fault of the call";
#endif
}

}  // namespace
