// The receiving session at its edges: over a real socket, under a flood, before it is open, without memory.

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "TestWire.h"
#include "audiocoding/CountedNew.h"
#include "rtp/CNetworkReceiver.h"
#include "rtp/CNetworkSender.h"
#include "support/FakeClock.h"

using qrn::test::Bytes;
using qrn::test::CAutoClock;
using qrn::test::CFakeTransport;
using qrn::test::CUdpPeer;
using qrn::test::Encode;
using qrn::test::WirePacket;

namespace {

Bytes Audio(std::uint16_t sequence, const std::string& payload) {
    return Encode({.sequence = sequence, .marker = true, .payload = payload, .type = 112});
}

/// What never gets a frame done, sent so fast that no wait times out.
struct FloodCase {
    const char* name;
    bool reorder;
    WirePacket packet;
    int step;  // of the sequence number from one packet to the next
};

void PrintTo(const FloodCase& row, std::ostream* stream) {
    *stream << row.name;
}

class ReceiverFlood : public testing::TestWithParam<FloodCase> {
protected:
    /// One packet arrives during each wait, 20 ms after the one before.
    class CBusyClock final : public qrn::IClock {
    public:
        CBusyClock(CFakeTransport& transport, const FloodCase& flood)
            : m_transport(transport),
              m_packet(flood.packet),
              m_step(flood.step) {}
        std::chrono::nanoseconds Now() const override { return m_clock.Now(); }
        void SleepFor(std::chrono::nanoseconds time) override { m_clock.SleepFor(time); }
        int Poll(std::span<pollfd> descriptors, std::chrono::nanoseconds timeout) override {
            m_transport.Arrive(m_packet);
            m_packet.sequence = static_cast<std::uint16_t>(m_packet.sequence + m_step);
            m_clock.Advance(std::chrono::milliseconds(20));
            return m_clock.Poll(descriptors, timeout);
        }

    private:
        CFakeTransport& m_transport;
        CAutoClock m_clock;
        WirePacket m_packet;
        const int m_step;
    };
};

TEST_P(ReceiverFlood, DoesNotKeepACallBeyondItsTime) {
    CFakeTransport transport;
    CBusyClock clock(transport, GetParam());
    CNetworkReceiver receiver(clock);
    receiver.SetExternalTransport(&transport);
    ASSERT_EQ(receiver.OpenReceiver(0, "127.0.0.1", 0.000125, false, nullptr), 0);
    receiver.StartExternal();
    receiver.SetReorder(GetParam().reorder);
    CPacket packet;
    ASSERT_TRUE(packet.Allocate(1000));
    packet.m_payloadType = 113;
    // A frame first, so that there is a number to be late for.
    transport.Arrive({.sequence = 1000, .timestamp = 40, .marker = true, .payload = "first"});
    ASSERT_EQ(receiver.ReceiveFrame(packet, 0), 241);
    for (int call = 0; call < 3; ++call) {
        const auto start = clock.Now();
        EXPECT_EQ(receiver.ReceiveFrame(packet, 100), 242);
        EXPECT_LE(clock.Now() - start, std::chrono::milliseconds(120));
    }
}

INSTANTIATE_TEST_SUITE_P(
    Packets, ReceiverFlood,
    testing::Values(
        FloodCase{"OfAnotherType", false, {.sequence = 1001, .marker = true, .payload = "x", .type = 119}, 1},
        FloodCase{"LateOnes", true, {.sequence = 995, .timestamp = 20, .marker = true, .payload = "x"}, 0},
        FloodCase{"MiddlesOfALostFrame", false, {.sequence = 1005, .timestamp = 81, .payload = "x"}, 2}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(NetworkReceiverUnopened, AnswersWithoutWaiting) {
    CAutoClock clock;
    const auto start = clock.Now();
    CNetworkReceiver receiver(clock);
    CPacket packet;
    EXPECT_EQ(receiver.ReceiveFrame(packet, 1000), 243);
    EXPECT_EQ(receiver.ReceiveFrameTolerant(packet, 1000), 243);
    EXPECT_EQ(clock.Now(), start);
    EXPECT_EQ(receiver.JoinGroup("239.1.2.3"), -1);
    EXPECT_EQ(receiver.LeaveGroup("239.1.2.3"), -1);
    EXPECT_EQ(receiver.SetMulticastLoop(true), -1);
}

/// The same over a real socket, with real time-outs that no case needs to wait for.
class UdpReceiver : public testing::Test {
protected:
    UdpReceiver() {
        EXPECT_EQ(m_receiver.OpenReceiver(kQrnPortPublishAudio, "127.0.0.1", 0.000125, false, &m_stop), 0);
        EXPECT_TRUE(m_packet.Allocate(64));
    }
    void Send(const Bytes& datagram) { m_peer.SendTo(m_receiver.LocalPort(), datagram); }
    int Receive() {
        m_packet.m_payloadType = 0;
        return m_receiver.ReceiveFrame(m_packet, 10000);
    }
    std::string Text() const { return std::string(reinterpret_cast<const char*>(m_packet.m_data), m_packet.m_length); }

    CUdpPeer m_peer;
    qrn::CEvent m_stop{qrn::EventReset::kManual};
    CNetworkReceiver m_receiver;
    CPacket m_packet;
};

TEST_F(UdpReceiver, ReadsFramesFromTheSocket) {
    EXPECT_NE(m_receiver.LocalPort(), 0);
    Send(Encode({.sequence = 100, .timestamp = 1000, .payload = "a"}));
    Send(Encode({.sequence = 102, .timestamp = 1001, .marker = true, .payload = "c"}));
    Send(Encode({.sequence = 101, .timestamp = 1001, .payload = "b"}));
    Send(Audio(103, "de"));
    ASSERT_EQ(Receive(), 241);
    EXPECT_EQ(Text(), "abc");
    ASSERT_EQ(Receive(), 241);
    EXPECT_EQ(Text(), "de");
    EXPECT_EQ(m_receiver.ReceiveStatistics().heldBack, 1u);
}

TEST_F(UdpReceiver, EmptyAndMalformedDatagramsDoNotHoldIt) {
    Send(Audio(100, "a"));
    ASSERT_EQ(Receive(), 241);
    Send(Bytes{});  // reads as the packet before, which is late
    Send(Bytes{0x80});
    Send(Audio(101, "b"));
    std::vector<int> results;
    while ((results.empty() || results.back() != 241) && results.size() < 5) {
        results.push_back(Receive());
    }
    EXPECT_EQ(results, (std::vector<int>{-14, 241}));
    EXPECT_EQ(Text(), "b");
}

TEST_F(UdpReceiver, ReadsTheLargestDatagram) {
    ASSERT_TRUE(m_packet.Allocate(65536));
    Send(Audio(100, std::string(65507 - 12, 'v')));
    ASSERT_EQ(Receive(), 241);
    EXPECT_EQ(m_packet.m_length, 65507u - 12u);
}

TEST_F(UdpReceiver, ReadsManyFramesInFewCalls) {
    for (std::uint16_t i = 0; i < 160; ++i) {
        Send(Audio(i, "x"));
    }
    for (int i = 0; i < 160; ++i) {
        ASSERT_EQ(Receive(), 241) << i;
    }
    const qrn::ReceiveStatistics counted = m_receiver.ReceiveStatistics();
    EXPECT_EQ(counted.datagrams, 160u);
    EXPECT_EQ(counted.bytes, 160u * 13);
    EXPECT_LE(counted.systemCalls + counted.waits, 160u / 4);
}

TEST_F(UdpReceiver, TheStopEventWinsOverWhatIsAtHand) {
    for (std::uint16_t i = 0; i < 3; ++i) {
        Send(Audio(i, std::string(1, static_cast<char>('a' + i))));
    }
    ASSERT_EQ(Receive(), 241);
    m_stop.Set();
    EXPECT_EQ(Receive(), 240);
    EXPECT_EQ(Receive(), 240);
    m_stop.Reset();
    ASSERT_EQ(Receive(), 241);
    EXPECT_EQ(Text(), "b") << "what was at hand is not lost";
    ASSERT_EQ(Receive(), 241);
    EXPECT_EQ(Text(), "c");
}

TEST_F(UdpReceiver, ASocketTakenAwayTakesWhatIsAtHandAlong) {
    auto partner = std::make_unique<CNetworkSender>();
    ASSERT_EQ(partner->Open(kQrnPortTakeAudio, "127.0.0.1", 0.000125, true), 0);
    Send(Audio(1, "a"));
    Send(Audio(2, "b"));
    ASSERT_EQ(Receive(), 241);
    partner.reset();
    EXPECT_EQ(Receive(), 240);
}

TEST_F(UdpReceiver, DatagramsThatFindTheBufferFullAreCountedApart) {
    CNetworkReceiver narrow;
    narrow.SetBufferSize(1);
    ASSERT_EQ(narrow.OpenReceiver(0, "127.0.0.1", 0.000125, false, nullptr), 0);
    CPacket packet;
    ASSERT_TRUE(packet.Allocate(2000));
    constexpr std::uint16_t kSent = 500;
    for (std::uint16_t i = 0; i < kSent; ++i) {
        m_peer.SendTo(narrow.LocalPort(), Audio(i, std::string(1000, 'x')));
    }
    while (narrow.ReceiveFrame(packet, 0) == 241) {
    }
    // The system tells with the next one that gets through.
    m_peer.SendTo(narrow.LocalPort(), Audio(kSent, "x"));
    narrow.ReceiveFrame(packet, 10000);
    const qrn::ReceiveStatistics counted = narrow.ReceiveStatistics();
    EXPECT_GT(counted.noRoom, 0u);
    EXPECT_EQ(counted.noRoom + counted.datagrams, kSent + 1u);
}

/// Packets in pairs that are swapped, so that every second one is held back.
void SendSwapped(const CUdpPeer& peer, std::uint16_t port, std::uint16_t from, std::uint16_t count) {
    for (std::uint16_t i = 0; i < count; ++i) {
        peer.SendTo(port, Audio(static_cast<std::uint16_t>(from + (i ^ 1)), std::string(1000, 'x')));
    }
}

TEST_F(UdpReceiver, AllocatesNothingOnceItRuns) {
    ASSERT_TRUE(m_packet.Allocate(2000));
    m_receiver.SetParityGroup(4);
    int allocations = -1;
    for (std::uint16_t from = 1; from < 200; from += 32) {
        SendSwapped(m_peer, m_receiver.LocalPort(), from, 32);
        qrn::test::CAllocationCount count;
        for (int i = 0; i < 32; ++i) {
            ASSERT_EQ(Receive(), 241);
        }
        allocations = count.Stop();
    }
    EXPECT_EQ(allocations, 0);
    EXPECT_GT(m_receiver.ReceiveStatistics().heldBack, 50u);
}

TEST_F(UdpReceiver, LackOfMemoryLosesPacketsAndNothingElse) {
    ASSERT_TRUE(m_packet.Allocate(2000));
    Send(Audio(0, "first"));
    ASSERT_EQ(Receive(), 241);
    for (int allowed = 0;; ++allowed) {
        const auto from = static_cast<std::uint16_t>(1 + 2 * allowed);
        // The later one first: it waits, or is lost for lack of memory.
        Send(Audio(static_cast<std::uint16_t>(from + 1),
                   std::string(1000u + 100u * static_cast<unsigned>(allowed), 'x')));
        Send(Audio(from, "x"));
        const qrn::test::CAllocationFault fault(allowed);
        ASSERT_EQ(Receive(), 241);
        const std::uint64_t refused = m_receiver.ReceiveStatistics().refused;
        ASSERT_LE(refused, static_cast<std::uint64_t>(allowed) + 1);
        if (!fault.HasStruck()) {
            EXPECT_GT(refused, 0u);
            EXPECT_EQ(Receive(), 241);
            break;
        }
        Send(Audio(static_cast<std::uint16_t>(from + 1), "again"));
        ASSERT_EQ(Receive(), 241);
    }
}

TEST(NetworkReceiverMemory, LackOfItIsAResultOfOpening) {
    bool hasStruck = true;
    for (int allowed = 0; hasStruck; ++allowed) {
        CNetworkReceiver receiver;
        const qrn::test::CAllocationFault fault(allowed);
        const int result = receiver.OpenReceiver(0, "127.0.0.1", 0.000125, false, nullptr);
        hasStruck = fault.HasStruck();
        EXPECT_TRUE(hasStruck ? result < 0 : result == 0) << allowed << ": " << result;
    }
}

}  // namespace
