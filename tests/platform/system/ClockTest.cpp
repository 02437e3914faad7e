#include "platform/system/Clock.h"

#include <gtest/gtest.h>
#include <sys/time.h>
#include <unistd.h>

#include <csignal>

#include "platform/system/Event.h"

namespace {

using namespace std::chrono_literals;

/// Interrupts the process's system calls all the time while it lives.
class CInterruptions {
public:
    CInterruptions() {
        struct sigaction action {};
        action.sa_handler = [](int) { s_count = s_count + 1; };  // without SA_RESTART
        sigaction(SIGALRM, &action, &m_previous);
        const itimerval often{{0, 2000}, {0, 2000}};
        setitimer(ITIMER_REAL, &often, nullptr);
    }
    ~CInterruptions() {
        const itimerval never{};
        setitimer(ITIMER_REAL, &never, nullptr);
        sigaction(SIGALRM, &m_previous, nullptr);
    }
    CInterruptions(const CInterruptions&) = delete;
    CInterruptions& operator=(const CInterruptions&) = delete;

    static int Count() { return s_count; }

private:
    static volatile sig_atomic_t s_count;
    struct sigaction m_previous {};
};
volatile sig_atomic_t CInterruptions::s_count = 0;

TEST(SystemClock, SignalsNeitherCutNorLengthenASleep) {
    qrn::IClock& clock = qrn::SystemClock();
    const CInterruptions interruptions;
    const auto start = clock.Now();
    clock.SleepFor(60ms);
    const auto slept = clock.Now() - start;
    EXPECT_GE(slept, 60ms);
    EXPECT_LT(slept, 5s);
    EXPECT_GT(CInterruptions::Count(), 0);
}

TEST(SystemClock, SignalsNeitherCutNorLengthenAPoll) {
    qrn::IClock& clock = qrn::SystemClock();
    const qrn::CEvent never;
    pollfd descriptor{never.Descriptor(), POLLIN, 0};
    const CInterruptions interruptions;
    const auto start = clock.Now();
    EXPECT_EQ(clock.Poll({&descriptor, 1}, 60ms), 0);
    const auto waited = clock.Now() - start;
    EXPECT_GE(waited, 60ms);
    EXPECT_LT(waited, 5s);
}

TEST(SystemClock, PollTellsABadDescriptor) {
    const int closed = dup(STDERR_FILENO);
    close(closed);
    pollfd descriptor{closed, POLLIN, 0};
    EXPECT_EQ(qrn::SystemClock().Poll({&descriptor, 1}, 0ns), 1);
    EXPECT_NE(descriptor.revents & POLLNVAL, 0);
}

}  // namespace
