#pragma once
/// Clocks that a test moves. `#include "support/FakeClock.h"`, link qrn_test_support.

#include <poll.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <list>
#include <span>
#include <stdexcept>
#include <utility>
#include <vector>

#include "platform/system/Clock.h"
#include "platform/system/Condition.h"
#include "platform/system/Event.h"
#include "platform/system/Lock.h"

namespace qrn::test {

/// Both clocks start here, far enough from zero that differences cannot fall below it.
inline constexpr std::chrono::nanoseconds kFakeStart = std::chrono::seconds(1000);

/// How long a test waits for another thread to do what it must do, by the machine's clock, before it fails.
inline constexpr std::chrono::nanoseconds kTestPatience = std::chrono::seconds(20);

inline int PollNow(std::span<pollfd> descriptors) {
    return SystemClock().Poll(descriptors, std::chrono::nanoseconds::zero());
}

/// Virtual time for code under test that runs on the test's own thread: a wait passes at once and moves the time on.
class CAutoClock final : public IClock {
public:
    std::chrono::nanoseconds Now() const override { return std::chrono::nanoseconds(m_nowNs.load()); }

    void SleepFor(std::chrono::nanoseconds time) override {
        if (time > std::chrono::nanoseconds::zero()) {
            Advance(time);
        }
    }

    /// Looks at the descriptors first; where none is ready the whole time-out has passed.
    /// @throws std::logic_error for a wait without an end: nobody else could end it.
    int Poll(std::span<pollfd> descriptors, std::chrono::nanoseconds timeout) override {
        const int ready = PollNow(descriptors);
        if (ready != 0) {
            return ready;
        }
        if (timeout < std::chrono::nanoseconds::zero()) {
            throw std::logic_error("an endless wait under a clock that moves by itself");
        }
        Advance(timeout);
        return 0;
    }

    void Advance(std::chrono::nanoseconds time) { m_nowNs += time.count(); }

private:
    std::atomic<std::chrono::nanoseconds::rep> m_nowNs{kFakeStart.count()};
};

/// Time that stands still until the test moves it; threads that sleep or poll are blocked so long. Any thread.
class CManualClock final : public IClock {
public:
    std::chrono::nanoseconds Now() const override QRN_EXCLUDES(m_gate) {
        CScopedLock lock(m_gate);
        return m_now;
    }

    void SleepFor(std::chrono::nanoseconds time) override {
        if (time > std::chrono::nanoseconds::zero()) {
            Poll({}, time);
        }
    }

    int Poll(std::span<pollfd> descriptors, std::chrono::nanoseconds timeout) override QRN_EXCLUDES(m_gate) {
        int ready = PollNow(descriptors);
        if (ready != 0 || timeout == std::chrono::nanoseconds::zero()) {
            return ready;
        }
        std::vector<pollfd> watched(descriptors.begin(), descriptors.end());
        const CWaiting waiting(*this, watched, timeout);
        watched.push_back({waiting.Wake().Descriptor(), POLLIN, 0});
        do {
            ready = SystemClock().Poll(watched, std::chrono::nanoseconds(-1));
        } while (ready == 0);
        const bool isWoken = ready > 0 && watched.back().revents != 0;
        for (std::size_t i = 0; i < descriptors.size(); ++i) {
            descriptors[i].revents = watched[i].revents;
        }
        return isWoken ? ready - 1 : ready;
    }

    /// Moves the time and lets every thread go on whose wait ends by it.
    void Advance(std::chrono::nanoseconds time) QRN_EXCLUDES(m_gate) {
        CScopedLock lock(m_gate);
        m_now += time;
        for (Waiter& waiter : m_waiters) {
            if (waiter.isEndless || waiter.end > m_now) {
                continue;
            }
            waiter.isReleased = true;
            waiter.wake->Set();
        }
    }

    /// Waits until that many threads are blocked in this clock: not those that an Advance let go or whose descriptor is
    /// ready. @return false when it takes longer than a test may wait.
    bool WaitForBlocked(std::size_t threads) QRN_EXCLUDES(m_gate) {
        constexpr auto kLookAgain = std::chrono::milliseconds(1);  // nobody tells that a descriptor became ready
        const auto start = SystemClock().Now();
        CScopedLock lock(m_gate);
        while (CountBlocked() < threads) {
            if (SystemClock().Now() - start > kTestPatience) {
                return false;
            }
            m_changed.WaitFor(m_gate, kLookAgain);
        }
        return true;
    }

    std::size_t BlockedThreads() QRN_EXCLUDES(m_gate) {
        CScopedLock lock(m_gate);
        return CountBlocked();
    }

private:
    struct Waiter {
        std::vector<pollfd> descriptors;
        std::chrono::nanoseconds end;
        bool isEndless;
        bool isReleased;
        CEvent* wake;
    };

    /// Enters a waiter into the list for its scope.
    class CWaiting {
    public:
        CWaiting(CManualClock& clock, std::vector<pollfd> descriptors, std::chrono::nanoseconds timeout)
            : m_clock(clock) {
            CScopedLock lock(clock.m_gate);
            const bool isEndless = timeout < std::chrono::nanoseconds::zero();
            const auto longest = std::chrono::nanoseconds::max() - clock.m_now;
            clock.m_waiters.push_front(
                {std::move(descriptors), clock.m_now + std::min(timeout, longest), isEndless, false, &m_wake});
            m_position = clock.m_waiters.begin();
            clock.m_changed.NotifyAll();
        }
        ~CWaiting() {
            CScopedLock lock(m_clock.m_gate);
            m_clock.m_waiters.erase(m_position);
            m_clock.m_changed.NotifyAll();
        }
        CWaiting(const CWaiting&) = delete;
        CWaiting& operator=(const CWaiting&) = delete;

        const CEvent& Wake() const { return m_wake; }

    private:
        CManualClock& m_clock;
        CEvent m_wake;
        std::list<Waiter>::iterator m_position;
    };

    std::size_t CountBlocked() const QRN_REQUIRES(m_gate) {
        return static_cast<std::size_t>(std::count_if(m_waiters.begin(), m_waiters.end(), [](const Waiter& waiter) {
            std::vector<pollfd> looked = waiter.descriptors;
            return !waiter.isReleased && PollNow(looked) == 0;
        }));
    }

    mutable CMutex m_gate;
    CCondition m_changed;
    std::chrono::nanoseconds m_now QRN_GUARDED_BY(m_gate) = kFakeStart;
    std::list<Waiter> m_waiters QRN_GUARDED_BY(m_gate);
};

}  // namespace qrn::test
