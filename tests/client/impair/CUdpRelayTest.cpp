// The relay on loopback, against the model in virtual time.

#include "client/impair/CUdpRelay.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <thread>

#include "client/ClientError.h"
#include "platform/system/Event.h"
#include "rtp/TestWire.h"

namespace qrn {
namespace {

using test::Bytes;
using test::CUdpPeer;

const ImpairmentSettings kBad{.loss = 0.1,
                              .burstStart = 0.02,
                              .burstLength = 4,
                              .jitter = std::chrono::microseconds(300),
                              .reorder = 0.1,
                              .reorderDistance = 6,
                              .duplicate = 0.1,
                              .seed = 7};

/// A relay that runs on a thread of its own, and the two programs at its ends.
class CRelayed {
public:
    explicit CRelayed(const ImpairmentSettings& settings)
        : m_relay({.farAddress = "127.0.0.1", .farPort = m_farEnd.Port()}, settings),
          m_thread([this] { m_relay.Run(m_stop.Descriptor()); }) {}
    ~CRelayed() { Stop(); }
    CRelayed(const CRelayed&) = delete;
    CRelayed& operator=(const CRelayed&) = delete;

    void Send(const Bytes& datagram) { m_nearEnd.SendTo(m_relay.Port(), datagram); }
    std::optional<Bytes> Receive(int timeoutMs = 10000) { return m_farEnd.Receive(timeoutMs); }
    void Stop() {
        m_stop.Set();
        if (m_thread.joinable()) {
            m_thread.join();
        }
    }
    /// After Stop.
    const ImpairmentCounters& Counters() const { return m_relay.Counters(); }

private:
    CUdpPeer m_nearEnd;
    CUdpPeer m_farEnd;
    CEvent m_stop{EventReset::kManual};
    CUdpRelay m_relay;
    std::thread m_thread;
};

Bytes Numbered(std::size_t number) {
    return {static_cast<std::uint8_t>(number / 256), static_cast<std::uint8_t>(number), 1, 2, 3};
}

/// What the model makes of `count` datagrams in virtual time.
std::vector<Bytes> InVirtualTime(const ImpairmentSettings& settings, std::size_t count) {
    CImpairmentModel model(settings);
    std::vector<Bytes> left;
    for (std::size_t i = 0; i < count; ++i) {
        model.Offer(Numbered(i), std::chrono::milliseconds(i));
    }
    while (const auto next = model.NextTime()) {
        while (const auto datagram = model.Take(*next)) {
            left.push_back(datagram->bytes);
        }
    }
    return left;
}

/// Sends and reads in turns, so that no socket's buffer runs over.
std::vector<Bytes> OverLoopback(CRelayed& relay, const ImpairmentSettings& settings, std::size_t count) {
    CImpairmentModel shadow(settings);
    std::vector<Bytes> left;
    for (std::size_t i = 0; i < count; ++i) {
        relay.Send(Numbered(i));
        shadow.Offer(Numbered(i), std::chrono::milliseconds(i));
        while (shadow.Take(std::chrono::milliseconds(i + 1))) {
            if (auto datagram = relay.Receive()) {
                left.push_back(*std::move(datagram));
            }
        }
    }
    while (const auto next = shadow.NextTime()) {
        while (shadow.Take(*next)) {
            if (auto datagram = relay.Receive()) {
                left.push_back(*std::move(datagram));
            }
        }
    }
    return left;
}

TEST(CUdpRelay, TreatsAStreamAsTheModelDoesInVirtualTime) {
    constexpr std::size_t kCount = 400;
    CRelayed relay(kBad);
    const std::vector<Bytes> expected = InVirtualTime(kBad, kCount);
    EXPECT_EQ(OverLoopback(relay, kBad, kCount), expected);
    relay.Stop();
    EXPECT_FALSE(relay.Receive(0)) << "more than the model gives";
    EXPECT_EQ(relay.Counters().offered, kCount);
    EXPECT_EQ(relay.Counters().delivered, expected.size());
    EXPECT_EQ(relay.Counters().waiting, 0u);
}

TEST(CUdpRelay, TwoRelaysDoNotMeet) {
    ImpairmentSettings other = kBad;
    other.seed = 8;
    CRelayed first(kBad);
    CRelayed second(other);
    const auto expectedFirst = InVirtualTime(kBad, 100);
    const auto expectedSecond = InVirtualTime(other, 100);
    ASSERT_NE(expectedFirst, expectedSecond);
    EXPECT_EQ(OverLoopback(second, other, 100), expectedSecond);
    EXPECT_EQ(OverLoopback(first, kBad, 100), expectedFirst);
}

TEST(CUdpRelay, CarriesEmptyAndLargestDatagrams) {
    CRelayed relay({});
    for (const std::size_t bytes : {0u, 65507u}) {
        relay.Send(Bytes(bytes, 7));
        EXPECT_EQ(relay.Receive(), Bytes(bytes, 7));
    }
}

TEST(CUdpRelay, StopsAtOnceWithDatagramsUnderWay) {
    CRelayed relay({.delay = std::chrono::hours(1)});
    relay.Send({1, 2, 3});
    const auto start = std::chrono::steady_clock::now();
    relay.Stop();
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
    EXPECT_FALSE(relay.Receive(0));
}

TEST(CUdpRelay, APortInUseIsToldByItsNumber) {
    const CUdpPeer taken;
    try {
        CUdpRelay({.localPort = taken.Port(), .farAddress = "127.0.0.1", .farPort = 9}, {});
        FAIL() << "shares the port";
    } catch (const CClientError& error) {
        EXPECT_EQ(std::string(error.what()),
                  "cannot listen on UDP port " + std::to_string(taken.Port()) + " of 127.0.0.1: it is in use");
        EXPECT_EQ(error.Status(), ExitStatus::kFailed);
    }
    EXPECT_THROW(CUdpRelay({.farAddress = "nowhere", .farPort = 9}, {}), CClientError);
    EXPECT_THROW(CUdpRelay({.localAddress = "1.2.3", .farAddress = "127.0.0.1", .farPort = 9}, {}), CClientError);
}

TEST(CUdpRelay, TellsItsCountersOnceASecond) {
    // The clock of the relay moves by the time-outs of its waits alone.
    test::CUdpPeer farEnd;
    class CStoppingClock final : public IClock {
    public:
        std::chrono::nanoseconds Now() const override { return m_now; }
        void SleepFor(std::chrono::nanoseconds time) override { m_now += time; }
        int Poll(std::span<pollfd> descriptors, std::chrono::nanoseconds timeout) override {
            m_now += timeout;
            return SystemClock().Poll(descriptors, std::chrono::nanoseconds::zero());
        }

    private:
        std::chrono::nanoseconds m_now{std::chrono::seconds(9)};
    } clock;
    CUdpRelay relay({.farAddress = "127.0.0.1", .farPort = farEnd.Port()}, {}, clock);
    CEvent stop(EventReset::kManual);
    std::vector<std::chrono::nanoseconds> told;
    relay.Run(stop.Descriptor(), [&](const ImpairmentCounters&) {
        told.push_back(clock.Now());
        if (told.size() == 3) {
            stop.Set();
        }
    });
    using std::chrono::seconds;
    EXPECT_EQ(told, (std::vector<std::chrono::nanoseconds>{seconds(10), seconds(11), seconds(12)}));
}

}  // namespace
}  // namespace qrn
