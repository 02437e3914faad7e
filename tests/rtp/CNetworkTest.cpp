#include "rtp/CNetwork.h"

#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "TestWire.h"
#include "rtp/CNetworkReceiver.h"
#include "rtp/CNetworkSender.h"
#include "runtime/exceptions.h"
#include "support/FakeClock.h"

using qrn::test::Bytes;
using qrn::test::CFakeTransport;
using qrn::test::CManualClock;
using qrn::test::CUdpPeer;
using qrn::test::Encode;

namespace {

constexpr double kUnit = 0.000125;

/// An even port that was free a moment ago.
std::uint16_t FreeEvenPort() {
    for (;;) {
        const CUdpPeer peer;
        if (peer.Port() % 2 == 0) {
            return peer.Port();
        }
    }
}

TEST(NetworkOpen, JudgesThePort) {
    for (const std::uint32_t odd : {1u, 5001u, 65535u}) {
        CNetworkSender session;
        EXPECT_EQ(session.Open(odd, "127.0.0.1", kUnit, true), -3) << odd;
        EXPECT_FALSE(session.IsOpened());
        EXPECT_EQ(session.LocalPort(), 0);
    }
    const std::uint16_t port = FreeEvenPort();
    CNetworkReceiver session;
    EXPECT_EQ(session.Open(port, "127.0.0.1", kUnit, false), 0);
    EXPECT_EQ(session.LocalPort(), port);
}

TEST(NetworkOpen, Port0BindsToAFreeOne) {
    CNetworkReceiver session;
    EXPECT_EQ(session.Open(0, "127.0.0.1", kUnit, false), 0);
    EXPECT_NE(session.LocalPort(), 0);
}

TEST(NetworkOpen, ASecondTimeIsRefused) {
    CNetworkSender session;
    ASSERT_EQ(session.Open(0, "127.0.0.1", kUnit, true), 0);
    const std::uint16_t port = session.LocalPort();
    EXPECT_EQ(session.Open(0, "127.0.0.1", kUnit, true), -26);
    EXPECT_EQ(session.LocalPort(), port);
}

TEST(NetworkOpen, AnAddressOfAnotherMachineCannotBeBound) {
    CNetworkSender session;
    EXPECT_EQ(session.Open(0, "192.0.2.1", kUnit, true), -5);
}

TEST(NetworkOpen, TwoSessionsMayHaveOnePort) {
    CNetworkSender first;
    CNetworkSender second;
    ASSERT_EQ(first.Open(0, "127.0.0.1", kUnit, true), 0);
    EXPECT_EQ(second.Open(first.LocalPort() % 2 == 0 ? first.LocalPort() : 0, "127.0.0.1", kUnit, true), 0);
}

struct AddressCase {
    const char* address;
    const wchar_t* words;
    std::int32_t line;
};

TEST(NetworkOpen, ThrowsForWhatIsNoAddress) {
    for (const AddressCase& row :
         {AddressCase{nullptr, L"No local address.", 79}, AddressCase{"", L"Invalid local address.", 85},
          AddressCase{"localhost", L"Invalid local address.", 85},
          AddressCase{"1.2.3.4.5", L"Invalid local address.", 85},
          AddressCase{"255.255.255.255", L"Invalid local address.", 85}}) {
        CNetworkSender session;
        try {
            session.Open(0, row.address, kUnit, true);
            ADD_FAILURE() << "no exception";
        } catch (const exc_CNetwork& failure) {
            EXPECT_EQ(failure.Words(), row.words);
            EXPECT_EQ(failure.Line(), row.line);
            EXPECT_EQ(failure.Kind(), L"CNetwork");
            EXPECT_EQ(failure.File(), L"CNetwork");
        }
        EXPECT_FALSE(session.IsOpened());
    }
}

TEST(NetworkOpen, OnAnyAddressFindsTheOneOfTheMachine) {
    CNetworkReceiver session;
    ASSERT_EQ(session.OpenReceiver(0, "0.0.0.0", kUnit, false, nullptr), 0);
    EXPECT_NE(session.LocalAddress(), 0u);
    const CUdpPeer peer;
    peer.SendTo(session.LocalPort(), Encode({.marker = true, .payload = "x", .type = 112}));
    CPacket packet;
    ASSERT_TRUE(packet.Allocate(10));
    EXPECT_EQ(session.ReceiveFrame(packet, 10000), 241) << "loopback reaches it too";
}

int OptionOf(int descriptor, int level, int name) {
    int value = -1;
    socklen_t bytes = sizeof(value);
    EXPECT_EQ(::getsockopt(descriptor, level, name, &value, &bytes), 0);
    return value;
}

/// A connection, whose descriptor can be asked.
class Connection : public testing::Test {
protected:
    void Open(bool isSender) { ASSERT_EQ(m_connection.Open(0, INADDR_LOOPBACK, false, nullptr, isSender), 0); }
    int Option(int level, int name) { return OptionOf(m_connection.Descriptor(), level, name); }

    CRtpConnection m_connection;
};

TEST_F(Connection, ASenderStartsWithATtlOfOneAndTakesOthersModulo256) {
    Open(true);
    EXPECT_EQ(Option(IPPROTO_IP, IP_MULTICAST_TTL), 1);
    EXPECT_EQ(m_connection.SetMulticastTtl(128), 0);
    EXPECT_EQ(Option(IPPROTO_IP, IP_MULTICAST_TTL), 128);
    EXPECT_EQ(m_connection.SetMulticastTtl(257), 0);
    EXPECT_EQ(Option(IPPROTO_IP, IP_MULTICAST_TTL), 1);
    EXPECT_EQ(m_connection.SetTos(0xB8), 0);
    EXPECT_EQ(Option(IPPROTO_IP, IP_TOS), 0xB8);
}

TEST_F(Connection, TheReceiveBufferHoldsTenSmallPacketsToo) {
    m_connection.SetBufferSize(10 * 132);
    Open(false);
    EXPECT_EQ(Option(SOL_SOCKET, SO_REUSEADDR), 1);
    const CUdpPeer peer;
    for (std::uint16_t i = 0; i < 10; ++i) {
        peer.SendTo(m_connection.LocalPort(), Encode({.sequence = i, .payload = std::string(132, 'a')}));
    }
    for (std::uint32_t i = 0; i < 10; ++i) {
        std::int32_t length = 0;
        RtpPacketInfo info;
        ASSERT_EQ(m_connection.Poll(length, info), 0);
        EXPECT_EQ(length, 144) << i;
        EXPECT_EQ(info.sequence, i);
    }
}

TEST_F(Connection, PollWithNothingPendingGivesNothing) {
    std::int32_t length = 0;
    RtpPacketInfo info;
    EXPECT_EQ(m_connection.Poll(length, info), -12);
    Open(false);
    EXPECT_EQ(m_connection.Poll(length, info), 0);
    EXPECT_EQ(info.payload, nullptr) << "nothing was there";
}

TEST_F(Connection, RefusesWhileClosed) {
    const Bytes byte(1);
    qrn::OutgoingFrame frame{byte, 1, 0, 113};
    std::uint16_t sequence = 7;
    EXPECT_EQ(m_connection.SendPackets(frame, 1, sequence), -12);
    EXPECT_EQ(sequence, 8);
    EXPECT_EQ(m_connection.JoinGroup(0xEF010203), -12);
    EXPECT_EQ(m_connection.LeaveGroup(0xEF010203), -12);
    EXPECT_EQ(m_connection.SetMulticastTtl(1), -12);
    EXPECT_EQ(m_connection.SetMulticastLoop(true), -12);
    EXPECT_EQ(m_connection.SetTos(1), -12);
    Open(false);
    EXPECT_EQ(m_connection.Open(0, INADDR_LOOPBACK, false, nullptr, false), -2);
    m_connection.Close();
    EXPECT_FALSE(m_connection.IsOpen());
    EXPECT_EQ(m_connection.Descriptor(), -1);
}

TEST(NetworkGroups, AreJoinedAndLeftOnce) {
    CNetworkReceiver session;
    ASSERT_EQ(session.OpenReceiver(0, "127.0.0.1", kUnit, false, nullptr), 0);
    for (const char* noGroup : {"223.255.255.255", "240.0.0.0", "127.0.0.1", "nonsense", ""}) {
        EXPECT_EQ(session.JoinGroup(noGroup), -36) << noGroup;
        EXPECT_EQ(session.LeaveGroup(noGroup), -36) << noGroup;
    }
    EXPECT_EQ(session.JoinGroup(nullptr), -36);
    EXPECT_EQ(session.LeaveGroup("239.1.2.3"), -38);
    EXPECT_EQ(session.JoinGroup("239.1.2.3"), 0);
    EXPECT_EQ(session.JoinGroup("239.1.2.3"), -37);
    EXPECT_EQ(session.JoinGroup("239.1.2.1"), 0);
    EXPECT_EQ(session.LeaveGroup("239.1.2.2"), -38);
    EXPECT_EQ(session.LeaveGroup("239.1.2.3"), 0);
    EXPECT_EQ(session.LeaveGroup("239.1.2.3"), -38);
    EXPECT_EQ(session.LeaveGroup("239.1.2.1"), 0);
    EXPECT_EQ(session.SetMulticastLoop(false), 0);
}

TEST(NetworkGroups, AGroupThatTheSystemRefusesIsNotKept) {
    CNetworkReceiver session;
    ASSERT_EQ(session.OpenReceiver(0, "127.0.0.1", kUnit, false, nullptr), 0);
    // The system bounds the groups of a socket (net.ipv4.igmp_max_memberships).
    int joined = 0;
    int result = 0;
    while (result == 0 && joined < 100000) {
        const std::string group = "239.7." + std::to_string(joined / 250) + "." + std::to_string(joined % 250);
        result = session.JoinGroup(group.c_str());
        if (result != 0) {
            EXPECT_EQ(result, -39);
            EXPECT_EQ(session.LeaveGroup(group.c_str()), -38);
        }
        ++joined;
    }
    EXPECT_EQ(result, -39);
}

TEST(NetworkGroups, AMemberReceivesWhatIsSentToTheGroup) {
    CNetworkReceiver receiver;
    CNetworkSender sender;
    ASSERT_EQ(receiver.OpenReceiver(0, "0.0.0.0", kUnit, false, nullptr), 0);
    ASSERT_EQ(sender.Open(0, "0.0.0.0", kUnit, true), 0);
    if (receiver.JoinGroup("239.255.17.1") != 0) {
        GTEST_SKIP() << "no interface of this machine takes part in multicast";
    }
    ASSERT_EQ(sender.AddDestination("239.255.17.1", receiver.LocalPort()), 0);
    ASSERT_EQ(sender.SendSingle(Bytes{'m'}, 5), 0);
    CPacket packet;
    ASSERT_TRUE(packet.Allocate(10));
    if (receiver.ReceiveFrame(packet, 2000) == 242) {
        GTEST_SKIP() << "this machine has no route for multicast";
    }
    EXPECT_EQ(packet.m_timestamp, 5u);
}

TEST(NetworkGroups, AnExternalTransportHasNone) {
    CFakeTransport transport;
    CNetworkReceiver session;
    session.SetExternalTransport(&transport);
    ASSERT_EQ(session.OpenReceiver(0, "127.0.0.1", kUnit, false, nullptr), 0);
    EXPECT_EQ(session.JoinGroup("nonsense"), 0);
    EXPECT_EQ(session.LeaveGroup("nonsense"), 0);
}

TEST(SharedSockets, ATakerWithoutAPublisherMakesNone) {
    for (const std::uint32_t bits : {kQrnPortTakeAudio, kQrnPortTakeVideo, 0x00100000u, 0x80000000u}) {
        CNetworkReceiver taker;
        EXPECT_EQ(taker.OpenReceiver(bits, "127.0.0.1", kUnit, false, nullptr), -4) << bits;
        EXPECT_EQ(taker.LocalPort(), 0);
    }
}

TEST(SharedSockets, TwoSessionsUseOnePort) {
    CNetworkReceiver receiver;
    ASSERT_EQ(receiver.OpenReceiver(kQrnPortPublishAudio, "127.0.0.1", kUnit, false, nullptr), 0);
    CNetworkSender sender;
    ASSERT_EQ(sender.Open(kQrnPortTakeAudio, "127.0.0.1", kUnit, true), 0);
    EXPECT_EQ(sender.LocalPort(), receiver.LocalPort());
    CNetworkReceiver video;
    EXPECT_EQ(video.OpenReceiver(kQrnPortTakeVideo, "127.0.0.1", kUnit, false, nullptr), -4) << "another name";

    const CUdpPeer peer;
    ASSERT_EQ(sender.AddDestination("127.0.0.1", peer.Port()), 0);
    ASSERT_EQ(sender.SendSingle(Bytes{'a'}, 0), 0);
    std::uint16_t from = 0;
    ASSERT_TRUE(peer.Receive(10000, &from));
    EXPECT_EQ(from, receiver.LocalPort());
}

TEST(SharedSockets, WhoClosesFirstTakesTheSocketAway) {
    qrn::CEvent stop(qrn::EventReset::kManual);
    CNetworkReceiver receiver;
    ASSERT_EQ(receiver.OpenReceiver(kQrnPortPublishVideo, "127.0.0.1", kUnit, false, &stop), 0);
    const std::uint16_t port = receiver.LocalPort();
    auto sender = std::make_unique<CNetworkSender>();
    ASSERT_EQ(sender->Open(kQrnPortTakeVideo, "127.0.0.1", kUnit, true), 0);

    int result = 0;
    std::thread waiting([&] {
        CPacket packet;
        result = receiver.ReceiveFrame(packet, 0xFFFFFFFF);
    });
    sender.reset();
    waiting.join();
    EXPECT_EQ(result, 240) << "the wait sees the socket closed";
    EXPECT_EQ(receiver.LocalPort(), 0);
    CNetworkSender late;
    EXPECT_EQ(late.Open(kQrnPortTakeVideo, "127.0.0.1", kUnit, true), -4) << "the name gives no stale socket";

    // The port is free although the receiver still stands: nothing else would receive there.
    const CUdpPeer peer;
    CNetworkReceiver next;
    ASSERT_EQ(next.OpenReceiver(port % 2 == 0 ? port : 0, "127.0.0.1", kUnit, false, nullptr), 0);
    peer.SendTo(next.LocalPort(), Encode({.marker = true, .payload = "x", .type = 112}));
    CPacket packet;
    ASSERT_TRUE(packet.Allocate(10));
    EXPECT_EQ(next.ReceiveFrame(packet, 10000), 241);
}

TEST(SharedSockets, TheLastPublisherHoldsTheName) {
    auto first = std::make_unique<CNetworkReceiver>();
    auto second = std::make_unique<CNetworkReceiver>();
    ASSERT_EQ(first->OpenReceiver(kQrnPortPublishAudio, "127.0.0.1", kUnit, false, nullptr), 0);
    ASSERT_EQ(second->OpenReceiver(kQrnPortPublishAudio, "127.0.0.1", kUnit, false, nullptr), 0);
    {
        CNetworkSender taker;
        ASSERT_EQ(taker.Open(kQrnPortTakeAudio, "127.0.0.1", kUnit, true), 0);
        EXPECT_EQ(taker.LocalPort(), second->LocalPort());
    }
    EXPECT_NE(first->LocalPort(), 0);
    second.reset();
    CNetworkSender late;
    EXPECT_EQ(late.Open(kQrnPortTakeAudio, "127.0.0.1", kUnit, true), -4);
}

/// What a wait answers while another thread changes the state it waits for.
class NetworkWait : public testing::Test {
protected:
    NetworkWait() { EXPECT_EQ(m_receiver.OpenReceiver(0, "127.0.0.1", kUnit, false, &m_stop), 0); }

    int WaitWhile(std::uint32_t timeoutMs, const std::function<void()>& act) {
        int result = 0;
        std::thread waiting([&] {
            std::int32_t length = 0;
            RtpPacketInfo info;
            result = m_receiver.WaitForPacket(length, info, timeoutMs);
        });
        EXPECT_TRUE(m_clock.WaitForBlocked(1));
        act();
        waiting.join();
        return result;
    }

    CManualClock m_clock;
    qrn::CEvent m_stop{qrn::EventReset::kManual};
    CNetworkReceiver m_receiver{m_clock};
};

TEST_F(NetworkWait, EndsByTheStopEvent) {
    EXPECT_EQ(WaitWhile(0xFFFFFFFF, [&] { m_stop.Set(); }), 240);
}

TEST_F(NetworkWait, EndsByAPacket) {
    const CUdpPeer peer;
    EXPECT_EQ(WaitWhile(1000, [&] { peer.SendTo(m_receiver.LocalPort(), Encode({.payload = "x"})); }), 241);
}

TEST_F(NetworkWait, EndsByWhatIsNoPacket) {
    const CUdpPeer peer;
    EXPECT_EQ(WaitWhile(1000, [&] { peer.SendTo(m_receiver.LocalPort(), Bytes{7}); }), -14);
}

TEST_F(NetworkWait, EndsAtItsTime) {
    EXPECT_EQ(WaitWhile(1000,
                        [&] {
                            m_clock.Advance(std::chrono::milliseconds(999));
                            EXPECT_TRUE(m_clock.WaitForBlocked(1));
                            m_clock.Advance(std::chrono::milliseconds(1));
                        }),
              242);
}

TEST(NetworkWaitExternal, WithoutAStreamOnlyTheStopEventEndsIt) {
    CFakeTransport transport;
    qrn::test::CAutoClock clock;
    qrn::CEvent stop(qrn::EventReset::kManual);
    CNetworkReceiver receiver(clock);
    receiver.SetExternalTransport(&transport);
    ASSERT_EQ(receiver.OpenReceiver(0, "127.0.0.1", kUnit, false, &stop), 0);
    std::int32_t length = 0;
    RtpPacketInfo info;
    transport.Arrive({.payload = "x"});
    EXPECT_EQ(receiver.WaitForPacket(length, info, 50), 242);
    receiver.StartExternal();
    EXPECT_EQ(receiver.WaitForPacket(length, info, 50), 241);
    EXPECT_EQ(length, 13);
    receiver.StopExternal();
    transport.Arrive({.payload = "x"});
    EXPECT_EQ(receiver.WaitForPacket(length, info, 50), 242);
    stop.Set();
    EXPECT_EQ(receiver.WaitForPacket(length, info, 50), 240);
}

}  // namespace
