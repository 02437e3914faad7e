#include "rtp/CNetworkTSender.h"

#include <gtest/gtest.h>

#include <poll.h>

#include <chrono>
#include <span>
#include <string>
#include <vector>

#include "TestWire.h"
#include "support/FakeClock.h"

using qrn::test::Bytes;
using qrn::test::CAutoClock;
using qrn::test::CFakeTransport;
using qrn::test::CManualClock;
using qrn::test::CUdpPeer;
using qrn::test::Decode;
using qrn::test::Pattern;
using std::chrono::milliseconds;

namespace {

/// Virtual time on a machine that wakes everybody too late.
class CLateClock final : public qrn::IClock {
public:
    std::chrono::nanoseconds Now() const override { return m_clock.Now(); }
    void SleepFor(std::chrono::nanoseconds time) override { m_clock.SleepFor(time + m_lateness); }
    int Poll(std::span<pollfd> descriptors, std::chrono::nanoseconds timeout) override {
        const int ready = m_clock.Poll(descriptors, timeout);
        if (ready == 0) {
            m_clock.Advance(m_lateness);
        }
        return ready;
    }
    milliseconds m_lateness{5};

private:
    CAutoClock m_clock;
};

/// A paced sender whose packets a fake transport keeps, with the time of each.
template <class Clock>
struct Paced {
    Paced() {
        m_transport.m_clock = &m_clock;
        m_sender.SetExternalTransport(&m_transport);
    }
    void Open() {
        ASSERT_EQ(m_sender.Open(6000, "127.0.0.1", 0.000125, true), 0);
        ASSERT_EQ(m_sender.AddDestination("127.0.0.1", 5004), 0);
        m_sender.StartExternal();
    }
    /// Puts the frame in and runs the step that sends it.
    int SendNow(const Bytes& frame, std::uint32_t timestamp = 0) {
        m_sender.EnqueueFrame(frame, timestamp);
        return m_sender.Run();
    }
    std::vector<std::uint32_t> Timestamps() const {
        std::vector<std::uint32_t> timestamps;
        for (const CFakeTransport::Sent& sent : m_transport.m_sent) {
            timestamps.push_back(Decode(sent.datagram).timestamp);
        }
        return timestamps;
    }

    Clock m_clock;
    CFakeTransport m_transport;
    CNetworkTSender m_sender{m_clock};
};

struct PaceCase {
    const char* name;
    std::uint32_t burst;  // 0: as it is
    std::uint32_t rate;   // 0: as it is
    std::int32_t limit;
    std::size_t packetsInBurst;
    milliseconds pause;
};

void PrintTo(const PaceCase& row, std::ostream* stream) {
    *stream << row.name;
}

class Pace : public testing::TestWithParam<PaceCase> {};

TEST_P(Pace, IsKeptOverFramesOfAllSizes) {
    const PaceCase& row = GetParam();
    Paced<CAutoClock> paced;
    paced.m_sender.SetPacing(row.burst, row.rate);
    paced.Open();
    ASSERT_EQ(paced.m_sender.SetPacketLimit(row.limit), 0);
    const auto payload = static_cast<std::size_t>(row.limit - 12);
    std::size_t packets = 0;
    for (const std::size_t bytes : {std::size_t{1}, payload - 1, payload, payload + 1, 3 * payload, 7 * payload + 1,
                                    40 * payload, 100 * payload - 1, std::size_t{20}}) {
        ASSERT_EQ(paced.SendNow(Pattern(bytes)), 0);
        packets += (bytes + payload - 1) / payload;
    }
    const auto& sent = paced.m_transport.m_sent;
    ASSERT_EQ(sent.size(), packets);
    for (std::size_t i = 1; i < sent.size(); ++i) {
        // Bursts go on across frames: a pause before each packet that opens one, and nowhere else.
        EXPECT_EQ(sent[i].at - sent[i - 1].at, i % row.packetsInBurst == 0 ? row.pause : milliseconds(0)) << i;
    }
    const auto bursts = (packets - 1) / row.packetsInBurst;
    const double rate = static_cast<double>(bursts * row.packetsInBurst * payload * 8) /
                        std::chrono::duration<double, std::milli>(sent.back().at - sent.front().at).count();
    if (row.rate != 0) {
        // As near as whole milliseconds come.
        EXPECT_NEAR(rate, row.rate, row.rate * (0.03 + 1.0 / static_cast<double>(row.pause.count())));
    }
}

INSTANTIATE_TEST_SUITE_P(Settings, Pace,
                         testing::Values(PaceCase{"AsBuilt", 0, 0, 1100, 5, milliseconds(29)},
                                         PaceCase{"OnePacket", 1, 300, 1100, 1, milliseconds(29)},
                                         PaceCase{"ManyPackets", 24, 2000, 1100, 24, milliseconds(104)},
                                         PaceCase{"SmallPackets", 10, 500, 300, 10, milliseconds(46)},
                                         PaceCase{"Slow", 3, 64, 1100, 3, milliseconds(408)}),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(PacedSender, ARateAboveTheBurstLeavesNoPause) {
    Paced<CAutoClock> paced;
    paced.m_sender.SetPacing(5, 1000000);
    paced.Open();
    ASSERT_EQ(paced.SendNow(Pattern(50000)), 0);
    EXPECT_EQ(paced.m_transport.m_sent.size(), 46u);
    EXPECT_EQ(paced.m_clock.Now(), qrn::test::kFakeStart);
}

TEST(PacedSender, ABusyMachineKeepsTheRate) {
    Paced<CLateClock> paced;
    paced.Open();
    const auto meanPauseMs = [&] {
        const std::size_t first = paced.m_transport.m_sent.size();
        EXPECT_EQ(paced.SendNow(Pattern(501 * 1088)), 0);
        const auto& sent = paced.m_transport.m_sent;
        return std::chrono::duration<double, std::milli>(sent.back().at - sent[first].at).count() / 100;
    };
    EXPECT_NEAR(meanPauseMs(), 29.0, 29.0 * 0.03);
    paced.m_clock.m_lateness = milliseconds(100);
    EXPECT_NEAR(meanPauseMs(), 114.5, 3.0) << "half of a pause stays, so that bursts do not run together";
}

TEST(PacedSender, AFrameLeavesAs113WhateverItsCodec) {
    Paced<CAutoClock> paced;
    paced.m_sender.SetCodecIndex(6);
    paced.Open();
    const Bytes frame = Pattern(1089);
    ASSERT_EQ(paced.SendNow(frame, 1001), 0);
    ASSERT_EQ(paced.m_transport.m_sent.size(), 2u);
    const auto first = Decode(paced.m_transport.m_sent[0].datagram);
    const auto second = Decode(paced.m_transport.m_sent[1].datagram);
    EXPECT_EQ(first.type, 113);
    EXPECT_EQ(second.type, 113);
    EXPECT_EQ(first.timestamp, 1000u);
    EXPECT_EQ(second.timestamp, 1001u);
    EXPECT_FALSE(first.marker);
    EXPECT_TRUE(second.marker);
    EXPECT_EQ(qrn::test::ToBytes(first.payload + second.payload), frame);
}

TEST(PacedSender, ASixthFrameDropsTheFirstThatWaits) {
    Paced<CAutoClock> paced;
    paced.Open();
    for (const std::uint32_t timestamp : {2u, 4u, 6u, 8u, 10u, 12u}) {
        EXPECT_EQ(paced.m_sender.EnqueueFrame(Pattern(timestamp), timestamp), 0);
    }
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(paced.m_sender.Run(), 0);
    }
    EXPECT_EQ(paced.Timestamps(), (std::vector<std::uint32_t>{4, 6, 8, 10, 12}));
    EXPECT_EQ(paced.m_clock.Now(), qrn::test::kFakeStart + milliseconds(29)) << "the fifth packet closed a burst";
    EXPECT_EQ(paced.m_sender.Run(), 0) << "finds the ring empty";
    EXPECT_EQ(paced.m_sender.Run(), 0) << "waits for the next frame";
    EXPECT_EQ(paced.m_clock.Now(), qrn::test::kFakeStart + milliseconds(29 + 5000));
}

TEST(PacedSender, AFailureEndsItsFrameAndNotTheThread) {
    Paced<CAutoClock> paced;
    EXPECT_EQ(paced.SendNow(Pattern(10)), -25) << "not opened";
    paced.Open();
    ASSERT_EQ(paced.m_sender.SetPacketLimit(300), 0);
    ASSERT_EQ(paced.m_sender.SetPacketLimit(65536), -31);
    EXPECT_EQ(paced.SendNow(Pattern(70000)), -11);
    EXPECT_TRUE(paced.m_transport.m_sent.empty());
    ASSERT_EQ(paced.m_sender.SetPacketLimit(1100), 0);
    EXPECT_EQ(paced.SendNow(Pattern(10)), 0);
    EXPECT_EQ(paced.m_transport.m_sent.size(), 1u);
}

TEST(PacedSender, AStopEndsAPauseAndARestartSendsWhatIsLeft) {
    Paced<CManualClock> paced;
    paced.m_sender.SetPacing(5, 1);  // a pause of 43 seconds after 5 packets
    paced.Open();
    ASSERT_TRUE(paced.m_sender.Start());
    ASSERT_TRUE(paced.m_clock.WaitForBlocked(1));
    for (const std::uint32_t timestamp : {2u, 4u, 6u}) {
        paced.m_sender.EnqueueFrame(Pattern(12 * 1088), timestamp);
    }
    ASSERT_TRUE(paced.m_clock.WaitForBlocked(1));
    const auto start = qrn::SystemClock().Now();
    EXPECT_TRUE(paced.m_sender.Stop());
    EXPECT_LT(qrn::SystemClock().Now() - start, std::chrono::seconds(1));
    EXPECT_EQ(paced.m_transport.m_sent.size(), 12u) << "the frame on its way is whole, the others wait";

    paced.m_sender.SetPacing(1000, 0);
    ASSERT_TRUE(paced.m_sender.Start());
    // Two frames and an empty ring later it waits for the next frame.
    ASSERT_TRUE(paced.m_clock.WaitForBlocked(1));
    EXPECT_TRUE(paced.m_sender.Stop());
    ASSERT_EQ(paced.m_transport.m_sent.size(), 36u);
    const auto timestamps = paced.Timestamps();
    EXPECT_EQ(timestamps[12], 4u);
    EXPECT_EQ(timestamps[24], 6u);
    for (std::size_t i = 1; i < 36; ++i) {
        EXPECT_EQ(Decode(paced.m_transport.m_sent[i].datagram).sequence,
                  static_cast<std::uint16_t>(Decode(paced.m_transport.m_sent[i - 1].datagram).sequence + 1));
    }
}

TEST(PacedSender, AStopBeforeTheStartDoesNotEndTheThread) {
    Paced<CManualClock> paced;
    paced.Open();
    EXPECT_TRUE(paced.m_sender.Stop());
    ASSERT_TRUE(paced.m_sender.Start());
    ASSERT_TRUE(paced.m_clock.WaitForBlocked(1));
    paced.m_sender.EnqueueFrame(Pattern(5), 2);
    ASSERT_TRUE(paced.m_clock.WaitForBlocked(1));
    EXPECT_TRUE(paced.m_sender.Stop());
    EXPECT_EQ(paced.Timestamps(), std::vector<std::uint32_t>{2});
}

struct StuffingCase {
    const char* name;
    std::int32_t target;
    std::vector<std::size_t> frames;
    std::vector<std::size_t> datagrams;  // after each frame
};

void PrintTo(const StuffingCase& row, std::ostream* stream) {
    *stream << row.name;
}

class Stuffing : public testing::TestWithParam<StuffingCase> {
protected:
    /// Takes what has come and proves its form: the start of `memory`, zeros past its end.
    std::size_t Take(CUdpPeer& peer, std::size_t expected, const Bytes& memory) {
        Bytes datagram = memory;
        datagram.resize(1088);
        std::size_t count = 0;
        // One that is not there shows at once: loopback delivers before the send returns.
        while (const auto arrived = peer.Receive(count < expected ? 10000 : 0)) {
            EXPECT_EQ(*arrived, datagram);
            ++count;
        }
        return count;
    }
};

TEST_P(Stuffing, FillsTheTraffic) {
    const StuffingCase& row = GetParam();
    for (const bool isPaced : {false, true}) {
        SCOPED_TRACE(isPaced ? "paced" : "unpaced");
        CUdpPeer peer;
        Paced<CAutoClock> paced;
        CNetworkTSender& sender = paced.m_sender;
        paced.Open();
        ASSERT_EQ(sender.AddDestination("127.0.0.1", 5008), 0);
        sender.SetStuffing(row.target, peer.Port());
        Bytes memory;  // of the paced sender's frame, which keeps what it held
        for (std::size_t i = 0; i < row.frames.size(); ++i) {
            Bytes frame(row.frames[i], static_cast<std::uint8_t>(i + 1));
            if (isPaced) {
                std::copy(frame.begin(), frame.end(),
                          (memory.resize(std::max(memory.size(), frame.size())), memory.begin()));
                ASSERT_EQ(paced.SendNow(frame), 0);
            } else {
                memory = frame;
                ASSERT_EQ(sender.SendVideoFrame(frame, 0), 0);
            }
            Bytes shown = memory;
            shown.resize(1088);
            EXPECT_EQ(Take(peer, row.datagrams[i], shown), row.datagrams[i]) << "frame " << i;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Targets, Stuffing,
                         testing::Values(StuffingCase{"ARestIsNotSent", 10000, {4000, 4000}, {5, 5}},
                                         StuffingCase{"ADebtIsTakenOffOnce", 10000, {12000, 4000, 4000}, {0, 3, 5}},
                                         StuffingCase{
                                             "ADebtAboveTheNextDeficit", 10000, {19000, 4000, 4000}, {0, 0, 5}},
                                         StuffingCase{"ANewDebtReplacesTheOld", 10000, {19000, 11000, 4000}, {0, 0, 4}},
                                         StuffingCase{"ExactlyTheTarget", 10000, {11000, 10000, 4000}, {0, 0, 5}},
                                         StuffingCase{"ExactlyOneDatagram", 5088, {4000, 4001}, {1, 0}},
                                         StuffingCase{"ShorterThanADatagram", 3000, {1500, 10, 0}, {1, 2, 2}},
                                         StuffingCase{"Off", 0, {4000}, {0}}),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(PacedSender, StuffingCountsInTheBurst) {
    CUdpPeer peer;
    Paced<CAutoClock> paced;
    paced.Open();
    paced.m_sender.SetStuffing(12 * 1088, peer.Port());
    ASSERT_EQ(paced.SendNow(Pattern(3 * 1088)), 0);  // 3 packets and 9 datagrams
    EXPECT_EQ(paced.m_clock.Now() - qrn::test::kFakeStart, 2 * milliseconds(29));
    ASSERT_EQ(paced.SendNow(Pattern(3 * 1088)), 0);
    EXPECT_EQ(paced.m_transport.m_sent[5].at - paced.m_transport.m_sent[3].at, milliseconds(0))
        << "two of the burst before were stuffing";
    EXPECT_EQ(paced.m_clock.Now() - qrn::test::kFakeStart, 4 * milliseconds(29));
    EXPECT_EQ(paced.m_sender.Statistics().datagrams, 24u);
    EXPECT_EQ(paced.m_sender.Statistics().packets, 6u);
}

TEST(PacedSender, AStopDoesNotWaitForStuffing) {
    CUdpPeer peer;
    Paced<CManualClock> paced;
    paced.m_sender.SetPacing(5, 1);
    paced.Open();
    paced.m_sender.SetStuffing(0x7FFFFFFF, peer.Port());
    ASSERT_TRUE(paced.m_sender.Start());
    paced.m_sender.EnqueueFrame(Pattern(10), 2);
    ASSERT_TRUE(peer.Receive());
    EXPECT_TRUE(paced.m_sender.Stop());
}

TEST(PacedSender, StuffingNeedsADestination) {
    CUdpPeer peer;
    CNetworkSender sender;
    sender.SetStuffing(400000, peer.Port());  // 367 datagrams, more than one batch
    EXPECT_EQ(sender.SendVideoFrame(Pattern(5), 0), 0);
    EXPECT_EQ(sender.Statistics().datagrams, 0u);
    EXPECT_EQ(sender.AddDestination("127.0.0.1", 5004), -25) << "and yet it is where stuffing goes";
    EXPECT_EQ(sender.SendVideoFrame(Pattern(5), 0), 0);
    EXPECT_EQ(sender.Statistics().datagrams, 367u);
    EXPECT_EQ(sender.AddDestination("nowhere", 5004), -25);
    EXPECT_EQ(sender.SendVideoFrame(Pattern(5), 0), 0);
    EXPECT_EQ(sender.Statistics().datagrams, 367u);
    EXPECT_EQ(sender.Statistics().failures, 367u) << "255.255.255.255 is not to be had";
}

}  // namespace
