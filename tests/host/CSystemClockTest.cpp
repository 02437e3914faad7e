#include "host/CSystemClock.h"

#include <gtest/gtest.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <chrono>
#include <limits>
#include <thread>
#include <vector>

#include "support/FakeClock.h"

namespace qrn {
namespace {

using namespace std::chrono_literals;
using test::CManualClock;

constexpr REFERENCE_TIME kMs = 10'000;
constexpr REFERENCE_TIME kStart = test::kFakeStart / 100ns;

/// A counting eventfd as a client of the clock has it.
class CCounter {
public:
    CCounter() : m_descriptor(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)) {}
    ~CCounter() { Close(); }
    CCounter(const CCounter&) = delete;
    CCounter& operator=(const CCounter&) = delete;

    int Descriptor() const { return m_descriptor; }
    std::uint64_t Take() {
        std::uint64_t count = 0;
        return read(m_descriptor, &count, sizeof(count)) == sizeof(count) ? count : 0;
    }
    void Close() {
        if (m_descriptor >= 0) {
            close(std::exchange(m_descriptor, -1));
        }
    }

private:
    int m_descriptor;
};

class SystemClockTest : public testing::Test {
protected:
    /// Lets the dispatcher do what is due; it is parked afterwards.
    void Advance(std::chrono::nanoseconds time) {
        ASSERT_TRUE(m_time.WaitForBlocked(1));
        m_time.Advance(time);
        ASSERT_TRUE(m_time.WaitForBlocked(1));
    }

    CManualClock m_time;
    ComPtr<IReferenceClock> m_clock = ComPtr<IReferenceClock>::Share(new CSystemClock(nullptr, m_time));
    CCounter m_counter;
    DWORD_PTR m_cookie = 0;
};

/// Goes back when it is told to.
class CFaultyClock final : public IClock {
public:
    std::chrono::nanoseconds Now() const override { return now; }
    void SleepFor(std::chrono::nanoseconds) override {}
    int Poll(std::span<pollfd> descriptors, std::chrono::nanoseconds timeout) override {
        return SystemClock().Poll(descriptors, timeout);
    }
    std::chrono::nanoseconds now{1s};
};

TEST(CSystemClock, NeverGoesBack) {
    CFaultyClock time;
    const auto clock = ComPtr<IReferenceClock>::Share(new CSystemClock(nullptr, time));
    REFERENCE_TIME now = 0;
    EXPECT_EQ(clock->GetTime(&now), S_OK);
    EXPECT_EQ(now, 1000 * kMs);
    EXPECT_EQ(clock->GetTime(&now), S_FALSE);
    EXPECT_EQ(now, 1000 * kMs);
    time.now = 900ms;
    EXPECT_EQ(clock->GetTime(&now), S_FALSE);
    EXPECT_EQ(now, 1000 * kMs);
    time.now = 1001ms;
    EXPECT_EQ(clock->GetTime(&now), S_OK);
    EXPECT_EQ(now, 1001 * kMs);
}

TEST_F(SystemClockTest, SignalsAtTheSumOfBaseAndStreamTimeAndOnce) {
    ASSERT_EQ(m_clock->AdviseTime(kStart, 20 * kMs, m_counter.Descriptor(), &m_cookie), S_OK);
    Advance(20ms - 1ns);
    EXPECT_EQ(m_counter.Take(), 0U);
    Advance(1ns);
    EXPECT_EQ(m_counter.Take(), 1U);
    Advance(1h);
    EXPECT_EQ(m_counter.Take(), 0U);
    EXPECT_EQ(m_clock->Unadvise(m_cookie), S_FALSE);
}

TEST_F(SystemClockTest, SignalsAtOnceWhatIsPast) {
    ASSERT_EQ(m_clock->AdviseTime(kStart, -5 * kMs, m_counter.Descriptor(), &m_cookie), S_OK);
    ASSERT_TRUE(m_time.WaitForBlocked(1));
    EXPECT_EQ(m_counter.Take(), 1U);
}

TEST_F(SystemClockTest, AnEarlierAdviceOvertakesALaterOne) {
    CCounter sooner;
    DWORD_PTR soonerCookie = 0;
    ASSERT_EQ(m_clock->AdviseTime(kStart, 5000 * kMs, m_counter.Descriptor(), &m_cookie), S_OK);
    ASSERT_TRUE(m_time.WaitForBlocked(1));
    ASSERT_EQ(m_clock->AdviseTime(kStart, 10 * kMs, sooner.Descriptor(), &soonerCookie), S_OK);
    EXPECT_NE(m_cookie, soonerCookie);
    Advance(10ms);
    EXPECT_EQ(sooner.Take(), 1U);
    EXPECT_EQ(m_counter.Take(), 0U);
}

TEST_F(SystemClockTest, PeriodicAdviceHasNoDrift) {
    ASSERT_EQ(m_clock->AdvisePeriodic(kStart + 20 * kMs, 20 * kMs, m_counter.Descriptor(), &m_cookie), S_OK);
    std::uint64_t ticks = 0;
    std::chrono::nanoseconds passed{0};
    // Steps that never meet the raster, the dispatcher being late by up to a step each time.
    for (int step = 0; step < 500; ++step) {
        Advance(13'700'003ns);
        passed += 13'700'003ns;
        ticks += m_counter.Take();
        ASSERT_EQ(ticks, static_cast<std::uint64_t>(passed / 20ms));
    }
}

TEST_F(SystemClockTest, TheDescriptorIsTheCallersAgainAfterUnadvise) {
    ASSERT_EQ(m_clock->AdvisePeriodic(kStart, kMs, m_counter.Descriptor(), &m_cookie), S_OK);
    Advance(5ms);
    EXPECT_GE(m_counter.Take(), 5U);
    EXPECT_EQ(m_clock->Unadvise(m_cookie), S_OK);
    EXPECT_EQ(m_clock->Unadvise(m_cookie), S_FALSE);

    const int number = m_counter.Descriptor();
    m_counter.Close();
    CCounter other;  // takes the number over
    ASSERT_EQ(other.Descriptor(), number);
    Advance(5ms);
    EXPECT_EQ(other.Take(), 0U);
}

TEST_F(SystemClockTest, AFullDescriptorDoesNotStallTheOthers) {
    CCounter full;
    const std::uint64_t most = std::numeric_limits<std::uint64_t>::max() - 1;
    ASSERT_EQ(write(full.Descriptor(), &most, sizeof(most)), static_cast<ssize_t>(sizeof(most)));
    DWORD_PTR fullCookie = 0;
    ASSERT_EQ(m_clock->AdviseTime(kStart, kMs, full.Descriptor(), &fullCookie), S_OK);
    ASSERT_EQ(m_clock->AdviseTime(kStart, kMs, m_counter.Descriptor(), &m_cookie), S_OK);
    Advance(1ms);
    EXPECT_EQ(m_counter.Take(), 1U);
}

struct BadAdvice {
    const char* name;
    bool isPeriodic;
    REFERENCE_TIME first;
    REFERENCE_TIME second;
    HEVENT event;
};
class SystemClockArguments : public testing::TestWithParam<BadAdvice> {};

TEST_P(SystemClockArguments, AreRefused) {
    const BadAdvice& row = GetParam();
    const auto clock = ComPtr<IReferenceClock>::Share(new CSystemClock(nullptr, SystemClock()));
    DWORD_PTR cookie = 77;
    const HRESULT result = row.isPeriodic ? clock->AdvisePeriodic(row.first, row.second, row.event, &cookie)
                                          : clock->AdviseTime(row.first, row.second, row.event, &cookie);
    EXPECT_EQ(result, E_INVALIDARG);
    EXPECT_EQ(cookie, 77U);
}

constexpr REFERENCE_TIME kLast = std::numeric_limits<REFERENCE_TIME>::max();
INSTANTIATE_TEST_SUITE_P(
    Edges, SystemClockArguments,
    testing::Values(BadAdvice{"SumBelowZero", false, 10, -11, 0}, BadAdvice{"SumPastTheEnd", false, kLast, 1, 0},
                    BadAdvice{"NoEvent", false, 10, 10, -1}, BadAdvice{"StartBelowZero", true, -1, 10, 0},
                    BadAdvice{"NoPeriod", true, 10, 0, 0}, BadAdvice{"NegativePeriod", true, 10, -10, 0},
                    BadAdvice{"NoSemaphore", true, 10, 10, -1}),
    [](const auto& each) { return std::string(each.param.name); });

TEST(CSystemClock, SignalsInRealTimeFromManyThreads) {
    const auto clock = ComPtr<IReferenceClock>::Share(new CSystemClock(nullptr, SystemClock()));
    std::vector<std::thread> clients;
    std::atomic<int> signalled{0};
    for (int client = 0; client < 4; ++client) {
        clients.emplace_back([&] {
            for (int round = 0; round < 50; ++round) {
                CCounter counter;
                REFERENCE_TIME now = 0;
                clock->GetTime(&now);
                DWORD_PTR cookie = 0;
                ASSERT_EQ(clock->AdviseTime(now, kMs, counter.Descriptor(), &cookie), S_OK);
                if (round % 2 == 0) {
                    pollfd wait{counter.Descriptor(), POLLIN, 0};
                    ASSERT_EQ(poll(&wait, 1, 20'000), 1);
                    EXPECT_EQ(counter.Take(), 1U);
                    REFERENCE_TIME then = 0;
                    clock->GetTime(&then);
                    EXPECT_GE(then, now + kMs);
                    ++signalled;
                } else {
                    clock->Unadvise(cookie);
                }
            }
        });
    }
    for (std::thread& client : clients) {
        client.join();
    }
    EXPECT_EQ(signalled, 100);
}

}  // namespace
}  // namespace qrn
