#include "rtp/CNetworkReceiver.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "TestWire.h"
#include "rtp/RtpErrors.h"
#include "support/FakeClock.h"

using qrn::test::Bytes;
using qrn::test::CAutoClock;
using qrn::test::CFakeTransport;
using qrn::test::Encode;
using qrn::test::WirePacket;

namespace {

constexpr std::uint32_t kTimeoutMs = 100;
constexpr std::uint32_t kOtherSource = 0x55667788;

/// A receiver in virtual time whose datagrams come from the test. Frames are written as text, a lost mark as '!' behind
/// it, results other than a frame as their code.
class NetworkReceiver : public testing::Test {
protected:
    NetworkReceiver() {
        m_receiver.SetExternalTransport(&m_transport);
        EXPECT_EQ(m_receiver.OpenReceiver(0, "127.0.0.1", 0.000125, false, &m_stop), 0);
        m_receiver.StartExternal();
        EXPECT_TRUE(m_packet.Allocate(64));
    }

    void Arrive(const std::vector<WirePacket>& packets) {
        for (const WirePacket& packet : packets) {
            m_transport.Arrive(packet);
        }
    }

    int Receive() {
        m_packet.m_payloadType = m_wantedType;
        return m_tolerant ? m_receiver.ReceiveFrameTolerant(m_packet, kTimeoutMs)
                          : m_receiver.ReceiveFrame(m_packet, kTimeoutMs);
    }

    /// Everything until nothing has come for two time-outs, which is longer than the queue holds a packet.
    std::vector<std::string> Drain() {
        std::vector<std::string> results;
        for (int quiet = 0; quiet < 2;) {
            const int result = Receive();
            if (result == qrn::kRtpTimeout) {
                ++quiet;
            } else {
                quiet = 0;
                results.push_back(result == qrn::kRtpComplete ? Text() : std::to_string(result));
            }
        }
        return results;
    }

    /// A first frame by itself: the tolerant way holds the first packet back and, when that leaves the queue, empties
    /// the queue of its new source.
    void BeginStream(std::uint16_t sequence) {
        Arrive({{.sequence = sequence, .marker = true, .payload = "first"}});
        EXPECT_EQ(Drain(), std::vector<std::string>{"first"});
        EXPECT_EQ(m_receiver.TakeReceivedCount(), 1u);
    }

    std::string Text() const {
        return std::string(reinterpret_cast<const char*>(m_packet.m_data), m_packet.m_length) +
               (m_packet.m_lost != 0 ? "!" : "");
    }

    CAutoClock m_clock;
    CFakeTransport m_transport;
    qrn::CEvent m_stop{qrn::EventReset::kManual};
    CNetworkReceiver m_receiver{m_clock};
    CPacket m_packet;
    bool m_tolerant = false;
    std::uint8_t m_wantedType = 0;
};

using Frames = std::vector<std::string>;

struct ReassemblyCase {
    const char* name;
    bool tolerant;
    bool reorder;
    std::vector<WirePacket> packets;
    Frames frames;
    std::uint32_t received;
    std::uint32_t gaps;
};

void PrintTo(const ReassemblyCase& row, std::ostream* stream) {
    *stream << row.name;
}

class Reassembly : public NetworkReceiver, public testing::WithParamInterface<ReassemblyCase> {};

TEST_P(Reassembly, GivesTheFrames) {
    const ReassemblyCase& row = GetParam();
    m_tolerant = row.tolerant;
    m_receiver.SetReorder(row.reorder);
    if (row.tolerant) {
        BeginStream(static_cast<std::uint16_t>(row.packets.front().sequence - 1));
    }
    Arrive(row.packets);
    EXPECT_EQ(Drain(), row.frames);
    EXPECT_EQ(m_receiver.TakeReceivedCount(), row.received);
    EXPECT_EQ(m_receiver.TakeGapCount(), row.gaps);
    EXPECT_EQ(m_receiver.TakeReceivedCount(), 0u) << "not cleared by the reading";
    EXPECT_EQ(m_receiver.TakeGapCount(), 0u);
}

constexpr bool kStrict = false;
constexpr bool kTolerant = true;

/// A frame of the letters of `text`, a packet each, from `sequence` on.
std::vector<WirePacket> Frame(std::uint16_t sequence, std::uint32_t timestamp, const std::string& text,
                              std::uint32_t ssrc = 0x11223344) {
    std::vector<WirePacket> packets;
    for (std::size_t i = 0; i < text.size(); ++i) {
        packets.push_back({.sequence = static_cast<std::uint16_t>(sequence + i),
                           .timestamp = i == 0 ? timestamp & ~1u : timestamp | 1u,
                           .marker = i + 1 == text.size(),
                           .payload = text.substr(i, 1),
                           .ssrc = ssrc});
    }
    return packets;
}

/// All packets of `frames`, one after another, then taken in the order of `order` (all in turn when empty).
std::vector<WirePacket> Stream(const std::vector<std::vector<WirePacket>>& frames,
                               const std::vector<std::size_t>& order = {}) {
    std::vector<WirePacket> all;
    for (const std::vector<WirePacket>& frame : frames) {
        all.insert(all.end(), frame.begin(), frame.end());
    }
    if (order.empty()) {
        return all;
    }
    std::vector<WirePacket> picked;
    for (const std::size_t at : order) {
        picked.push_back(all.at(at));
    }
    return picked;
}

WirePacket Audio(std::uint16_t sequence, std::uint32_t timestamp, const std::string& payload) {
    return {.sequence = sequence, .timestamp = timestamp, .marker = true, .payload = payload, .type = 112};
}

const auto kTwoFrames = std::vector{Frame(100, 1000, "abc"), Frame(103, 1040, "de")};
const auto kThreeFrames = std::vector{Frame(100, 1000, "abc"), Frame(103, 1040, "de"), Frame(105, 1080, "fg")};

INSTANTIATE_TEST_SUITE_P(
    Networks, Reassembly,
    testing::Values(
        ReassemblyCase{"InOrder", kStrict, true, Stream(kTwoFrames), {"abc", "de"}, 5, 0},
        ReassemblyCase{"InOrderQueueOff", kStrict, false, Stream(kTwoFrames), {"abc", "de"}, 5, 0},
        ReassemblyCase{"TolerantInOrder", kTolerant, true, Stream(kTwoFrames), {"abc", "de"}, 5, 0},
        ReassemblyCase{"Swapped", kStrict, true, Stream(kTwoFrames, {0, 2, 1, 3, 4}), {"abc", "de"}, 5, 0},
        ReassemblyCase{"SwappedQueueOff", kStrict, false, Stream(kTwoFrames, {0, 2, 1, 3, 4}), {"de!"}, 5, 1},
        ReassemblyCase{"Duplicated", kStrict, true, Stream(kTwoFrames, {0, 1, 1, 2, 0, 3, 3, 4}), {"abc", "de"}, 5, 0},
        ReassemblyCase{"Lost", kStrict, true, Stream(kThreeFrames, {0, 2, 3, 4, 5, 6}), {"de!", "fg"}, 6, 1},
        ReassemblyCase{"LostStart", kStrict, true, Stream(kThreeFrames, {0, 1, 2, 4, 5, 6}), {"abc", "fg!"}, 6, 1},
        ReassemblyCase{"LostEnd", kStrict, true, Stream(kThreeFrames, {0, 1, 3, 4, 5, 6}), {"de!", "fg"}, 6, 1},
        ReassemblyCase{"LostFrame", kStrict, true, Stream(kThreeFrames, {0, 1, 2, 5, 6}), {"abc", "fg!"}, 5, 1},
        ReassemblyCase{"LostQueueOff", kStrict, false, Stream(kThreeFrames, {0, 2, 3, 4, 5, 6}), {"de!", "fg"}, 6, 1},
        ReassemblyCase{"BeginsInAFrame", kStrict, true, Stream(kTwoFrames, {1, 2, 3, 4}), {"de"}, 4, 0},
        // The packet that starts the next frame ends this one and leaves the queue by its age.
        ReassemblyCase{
            "TolerantLost", kTolerant, true, Stream(kThreeFrames, {0, 1, 3, 4, 5, 6}), {"ab", "de", "fg"}, 7, 1},
        ReassemblyCase{"TolerantLostInside", kTolerant, true, Stream(kThreeFrames, {0, 2, 3, 4}), {"ac!", "de"}, 4, 1},
        ReassemblyCase{"AudioWithOddTimes",
                       kStrict,
                       true,
                       {Audio(7, 1001, "a"), Audio(8, 1081, "b"), Audio(9, 1161, "c")},
                       {"a", "b", "c"},
                       3,
                       0},
        ReassemblyCase{"AudioLost",
                       kStrict,
                       true,
                       {Audio(7, 1001, "a"), Audio(9, 1161, "c"), Audio(10, 1241, "d")},
                       {"a", "c!", "d"},
                       3,
                       1},
        ReassemblyCase{"TolerantAudioLost",
                       kTolerant,
                       true,
                       {Audio(7, 1001, "a"), Audio(9, 1161, "c"), Audio(10, 1241, "d")},
                       {"a", "c!", "d"},
                       3,
                       1},
        ReassemblyCase{"OverTheWrap",
                       kStrict,
                       true,
                       Stream({Frame(65534, 1000, "abcd"), Frame(2, 1040, "e")}),
                       {"abcd", "e"},
                       5,
                       0},
        ReassemblyCase{"SwappedOverTheWrap",
                       kStrict,
                       true,
                       Stream({Frame(65534, 1000, "abcd")}, {0, 2, 1, 3}),
                       {},
                       // 65535 after 0 extends a whole cycle too high: a straggler over the wrap is not put in order.
                       4,
                       1},
        ReassemblyCase{
            "FirstNumberIsZero", kStrict, true, Stream({Frame(0, 1000, "ab"), Frame(2, 1040, "c")}), {"ab", "c"}, 3, 0},
        ReassemblyCase{"NewSourceInsideAFrame",
                       kStrict,
                       true,
                       Stream({Frame(100, 1000, "abc"), Frame(500, 40, "xyz", kOtherSource)}, {0, 1, 3, 4, 5}),
                       {"xyz"},
                       5,
                       0},
        ReassemblyCase{
            "NewSourceInsideItsFrame",
            kStrict,
            true,
            Stream({Frame(100, 1000, "abc"), Frame(500, 40, "xyz", kOtherSource), Frame(503, 80, "w", kOtherSource)},
                   {0, 1, 4, 5, 6}),
            {"w"},
            5,
            0},
        ReassemblyCase{"NewSourceEmptiesTheQueue",
                       kStrict,
                       true,
                       Stream({Frame(100, 1000, "a"), Frame(102, 1040, "b"), Frame(500, 40, "x", kOtherSource)}),
                       {"a", "x"},
                       2,
                       0},
        ReassemblyCase{"PayloadOfNothing",
                       kStrict,
                       true,
                       {{.sequence = 9, .timestamp = 40, .marker = true, .payload = ""}},
                       {""},
                       1,
                       0}),
    [](const auto& row) { return std::string(row.param.name); });

TEST_F(NetworkReceiver, WritesTheFactsOfTheLastPacket) {
    Arrive(Frame(65535, 0x01020304, "ab"));
    ASSERT_EQ(Receive(), 241);
    EXPECT_EQ(m_packet.m_length, 2u);
    EXPECT_EQ(m_packet.m_timestamp, 0x01020305u);
    EXPECT_EQ(m_packet.m_sequence, 65536u) << "the extended number";
    EXPECT_EQ(m_packet.m_payloadType, 113);
    EXPECT_EQ(m_packet.m_lost, 0u);
}

TEST_F(NetworkReceiver, ALostPacketIsWaitedForAHundredMilliseconds) {
    Arrive(Stream(kTwoFrames, {0, 1, 2, 4}));  // 103 is missing
    ASSERT_EQ(Receive(), 241);
    Arrive({Frame(105, 1080, "f")});
    const auto start = m_clock.Now();
    EXPECT_EQ(Receive(), 242);
    ASSERT_EQ(Receive(), 241);
    EXPECT_EQ(Text(), "f!");
    EXPECT_EQ(m_clock.Now() - start, std::chrono::milliseconds(100));
}

TEST_F(NetworkReceiver, TwentyWaitingPacketsReleaseTheHead) {
    std::vector<WirePacket> packets{Audio(100, 0, "a")};
    for (std::uint16_t i = 0; i < 20; ++i) {
        packets.push_back(Audio(static_cast<std::uint16_t>(102 + i), 0, "b"));
    }
    Arrive(packets);
    const auto start = m_clock.Now();
    EXPECT_EQ(Receive(), 241);
    ASSERT_EQ(Receive(), 241);
    EXPECT_EQ(m_clock.Now(), start) << "no time-out was needed";
    EXPECT_EQ(Text(), "b!");
    EXPECT_EQ(m_packet.m_sequence, 102u);
    EXPECT_EQ(m_receiver.TakeGapCount(), 1u) << "one gap, whatever it took";
}

struct WindowCase {
    const char* name;
    std::uint32_t window;
    int framesAtOnce;  // with one packet missing and 21 behind it
};

void PrintTo(const WindowCase& row, std::ostream* stream) {
    *stream << row.name;
}

class ReorderWindow : public NetworkReceiver, public testing::WithParamInterface<WindowCase> {};

TEST_P(ReorderWindow, BoundsWhatWaits) {
    m_receiver.SetWindow(GetParam().window);
    std::vector<WirePacket> packets{Audio(100, 0, "a")};
    for (std::uint16_t i = 0; i < 19; ++i) {
        packets.push_back(Audio(static_cast<std::uint16_t>(102 + i), 0, "b"));
    }
    Arrive(packets);
    int frames = 0;
    while (Receive() == 241) {
        ++frames;
    }
    EXPECT_EQ(frames, GetParam().framesAtOnce);
}

INSTANTIATE_TEST_SUITE_P(Values, ReorderWindow,
                         testing::Values(WindowCase{"Five", 5, 20}, WindowCase{"One", 1, 20},
                                         WindowCase{"Nineteen", 19, 20}, WindowCase{"Twenty", 20, 1},
                                         WindowCase{"ZeroIsIgnored", 0, 1}, WindowCase{"AboveTwentyIsIgnored", 21, 1},
                                         WindowCase{"NegativeIsNoBound", 0x80000001, 1}),
                         [](const auto& row) { return std::string(row.param.name); });

TEST_F(NetworkReceiver, AFrameAboveTheCapacityIsLostAndTheNextArrivesWhole) {
    for (const bool tolerant : {false, true}) {
        m_tolerant = tolerant;
        const std::uint16_t sequence = tolerant ? 300 : 100;
        std::vector<WirePacket> packets = Frame(sequence, 1000, "ab");
        packets[1].payload = std::string(64, 'x');
        Arrive(packets);
        Arrive(Frame(static_cast<std::uint16_t>(sequence + 2), 1040, "cd"));
        // The first call of the second round sees the jump in the numbers as well.
        std::vector<std::string> results = Drain();
        ASSERT_EQ(results.size(), 2u) << tolerant;
        EXPECT_EQ(results[0], "245");
        EXPECT_EQ(results[1], "cd");
        EXPECT_EQ(m_receiver.TakeGapCount(), 1u) << tolerant;
    }
}

TEST_F(NetworkReceiver, AFrameOf70000BytesDoesNotFitIn65536) {
    ASSERT_TRUE(m_packet.Allocate(65536));
    std::vector<WirePacket> packets = Frame(100, 1000, std::string(64, 'v'));
    for (WirePacket& packet : packets) {
        packet.payload = std::string(70000 / 64 + 1, 'v');
    }
    Arrive(packets);
    Arrive(Frame(164, 1040, "next"));
    EXPECT_EQ(Drain(), (Frames{"245", "next"}));
}

TEST_F(NetworkReceiver, WithoutMemoryEveryFrameIsTooLarge) {
    CPacket empty;
    empty.m_capacity = 1000;
    Arrive(Frame(100, 1000, "a"));
    EXPECT_EQ(m_receiver.ReceiveFrame(empty, kTimeoutMs), 245);
}

TEST_F(NetworkReceiver, OtherPayloadTypesAreNotEvenCounted) {
    m_wantedType = 113;
    std::vector<WirePacket> packets = Stream({Frame(100, 1000, "a"), Frame(101, 1040, "b"), Frame(102, 1080, "c")});
    packets[1].type = 119;
    packets[1].ssrc = kOtherSource;
    Arrive(packets);
    EXPECT_EQ(Drain().front(), "a");
    EXPECT_EQ(m_receiver.TakeReceivedCount(), 2u);
}

TEST_F(NetworkReceiver, ATimeOutKeepsTheFrameBegun) {
    const std::vector<WirePacket> packets = Frame(100, 1000, "ab");
    m_transport.Arrive(packets[0]);
    EXPECT_EQ(Receive(), 242);
    m_transport.Arrive(packets[1]);
    ASSERT_EQ(Receive(), 241);
    EXPECT_EQ(Text(), "ab");
}

TEST_F(NetworkReceiver, ARestartedSenderIsFollowedAtOnce) {
    Arrive(Frame(40000, 100000, "old"));
    Arrive(Frame(17, 0, "new", kOtherSource));
    EXPECT_EQ(Drain(), (Frames{"old", "new"}));
    EXPECT_EQ(m_receiver.TakeGapCount(), 0u);
}

TEST_F(NetworkReceiver, WhatIsNoPacketIsReportedAndForgotten) {
    Arrive(Frame(100, 1000, "a"));
    m_transport.Arrive(Bytes{1, 2, 3});
    m_transport.Arrive(Bytes(40, 0x40));
    Arrive(Frame(101, 1040, "b"));
    EXPECT_EQ(Drain(), (Frames{"a", "-14", "-14", "b"}));
}

TEST_F(NetworkReceiver, AWakeUpWithNothingBeforeTheFirstPacketGivesNothing) {
    for (const bool tolerant : {false, true}) {
        m_tolerant = tolerant;
        m_transport.Wake();
        EXPECT_EQ(Receive(), -14);
        m_transport.FailNextReceive(-7);
        EXPECT_EQ(Receive(), -14);
    }
    EXPECT_EQ(m_receiver.TakeReceivedCount(), 0u);
}

TEST_F(NetworkReceiver, AWakeUpWithNothingIsDroppedByTheQueue) {
    Arrive({Audio(100, 0, "a")});
    ASSERT_EQ(Receive(), 241);
    m_transport.Wake();
    Receive();
    EXPECT_EQ(Drain(), Frames{});
    EXPECT_EQ(m_receiver.TakeGapCount(), 0u);
}

TEST_F(NetworkReceiver, AWakeUpWithNothingIsAGapWithoutTheQueue) {
    m_receiver.SetReorder(false);
    Arrive({Audio(100, 0, "old")});
    ASSERT_EQ(Receive(), 241);
    // A datagram that is no packet is read in between: the packet looked at again must not have its bytes.
    m_transport.Arrive(Bytes(40, 'x'));
    EXPECT_EQ(Receive(), -14);
    m_transport.Wake();
    ASSERT_EQ(Receive(), 241);
    EXPECT_EQ(Text(), "old!");
    EXPECT_EQ(m_receiver.TakeGapCount(), 1u);
}

TEST_F(NetworkReceiver, ATransportThatAnswersMoreThanItsRoomIsNotBelieved) {
    m_transport.FailNextReceive(65536);
    EXPECT_EQ(Receive(), -14);
}

TEST_F(NetworkReceiver, TolerantWithoutTheQueueStaysBounded) {
    m_tolerant = true;
    m_receiver.SetReorder(false);
    // Every start of a frame that ends a damaged one goes into a queue that nobody empties.
    std::vector<WirePacket> packets = Frame(100, 1000, "ab");
    packets.pop_back();
    for (int i = 0; i < 2000; ++i) {
        packets.push_back({.sequence = static_cast<std::uint16_t>(200 + 3 * i), .timestamp = 2000, .payload = "z"});
        packets.push_back({.sequence = static_cast<std::uint16_t>(201 + 3 * i), .timestamp = 2001, .payload = "y"});
    }
    Arrive(packets);
    EXPECT_GT(Drain().size(), 500u);
    Arrive(Frame(1, 0, "n", kOtherSource));
    Arrive(Frame(2, 40, "new", kOtherSource));
    EXPECT_EQ(Drain().back(), "new");
}

TEST_F(NetworkReceiver, TolerantBeginsAtTheStartOfAFrame) {
    m_tolerant = true;
    m_transport.Arrive({.sequence = 101, .timestamp = 1001, .payload = "b"});
    EXPECT_EQ(Drain(), Frames{}) << "what continues a frame begins none";
    Arrive(Frame(103, 1040, "de"));
    EXPECT_EQ(Drain(), Frames{"de"});
}

TEST_F(NetworkReceiver, TolerantLosesWhatWaitsBehindItsFirstPacket) {
    m_tolerant = true;
    Arrive(Frame(100, 1000, "abc"));
    const auto start = m_clock.Now();
    EXPECT_EQ(Receive(), 242);
    EXPECT_EQ(m_clock.Now() - start, std::chrono::milliseconds(100));
    EXPECT_EQ(Receive(), 242);
    EXPECT_EQ(m_receiver.TakeReceivedCount(), 1u) << "the change of source has emptied the queue";
}

TEST_F(NetworkReceiver, ParityPacketsStayAwayFromTheFrames) {
    m_receiver.SetParityGroup(2);
    std::vector<WirePacket> packets = Frame(100, 1000, "ab");
    packets.insert(packets.begin() + 1,
                   {.sequence = 1, .timestamp = 1002, .payload = std::string(20, 'p'), .type = 127});
    packets.push_back(packets[1]);
    Arrive(packets);
    EXPECT_EQ(Drain(), Frames{"ab"});
    EXPECT_EQ(m_receiver.TakeReceivedCount(), 2u);
}

TEST_F(NetworkReceiver, TheStopEventEndsTheWaitAlsoUnderAFlood) {
    m_stop.Set();
    EXPECT_EQ(Receive(), 240);
    Arrive(Frame(100, 1000, "a"));
    EXPECT_EQ(Receive(), 240) << "a packet that waits does not keep the thread";
    m_stop.Reset();
    EXPECT_EQ(Drain(), Frames{"a"});
}

}  // namespace
