#include "rtp/CNetworkSender.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "TestWire.h"
#include "rtp/CNetworkReceiver.h"

using qrn::test::Bytes;
using qrn::test::CFakeTransport;
using qrn::test::CUdpPeer;
using qrn::test::Decode;
using qrn::test::Pattern;
using qrn::test::WirePacket;

namespace {

/// A session that sends to the test's own socket.
class NetworkSender : public testing::Test {
protected:
    void Open() {
        ASSERT_EQ(m_sender->Open(0, "127.0.0.1", 0.000125, true), 0);
        ASSERT_EQ(m_sender->AddDestination("127.0.0.1", m_peer.Port()), 0);
    }

    /// The next packets that arrive.
    std::vector<WirePacket> Packets(std::size_t count) {
        std::vector<WirePacket> packets;
        for (std::size_t i = 0; i < count; ++i) {
            const auto datagram = m_peer.Receive();
            if (!datagram) {
                ADD_FAILURE() << "packet " << i << " did not arrive";
                return packets;
            }
            packets.push_back(Decode(*datagram));
        }
        return packets;
    }
    /// The next one, of a mark that only the test sends: proves that nothing came before it.
    void ExpectNothingElse() {
        ASSERT_EQ(m_sender->SendSingle(Bytes(1, 'Q'), 0xFFFFFFFF), 0);
        const auto packets = Packets(1);
        ASSERT_EQ(packets.size(), 1u);
        EXPECT_EQ(packets[0].timestamp, 0xFFFFFFFFu);
    }

    CUdpPeer m_peer;
    std::unique_ptr<CNetworkSender> m_sender = std::make_unique<CNetworkSender>();
};

struct FrameCase {
    const char* name;
    std::size_t bytes;
    std::uint32_t timestamp;
    std::vector<std::size_t> payloads;
    std::vector<std::uint32_t> timestamps;
};

void PrintTo(const FrameCase& row, std::ostream* stream) {
    *stream << row.name;
}

class SentFrame : public NetworkSender, public testing::WithParamInterface<FrameCase> {};

TEST_P(SentFrame, IsCutIntoPackets) {
    Open();
    const FrameCase& row = GetParam();
    const Bytes frame = Pattern(row.bytes);
    ASSERT_EQ(m_sender->SendFrame(frame, row.timestamp, 115), 0);
    const auto packets = Packets(row.payloads.size());
    ASSERT_EQ(packets.size(), row.payloads.size());
    std::string whole;
    for (std::size_t i = 0; i < packets.size(); ++i) {
        EXPECT_EQ(packets[i].payload.size(), row.payloads[i]);
        EXPECT_EQ(packets[i].timestamp, row.timestamps[i]);
        EXPECT_EQ(packets[i].marker, i + 1 == packets.size());
        EXPECT_EQ(packets[i].type, 115);
        EXPECT_EQ(packets[i].ssrc, packets[0].ssrc);
        EXPECT_EQ(packets[i].sequence, static_cast<std::uint16_t>(packets[0].sequence + i));
        whole += packets[i].payload;
    }
    EXPECT_EQ(qrn::test::ToBytes(whole), frame);
    ExpectNothingElse();
}

INSTANTIATE_TEST_SUITE_P(
    Sizes, SentFrame,
    testing::Values(FrameCase{"Nothing", 0, 1000, {}, {}}, FrameCase{"OneByte", 1, 1000, {1}, {1000}},
                    FrameCase{"ExactlyOnePacket", 1088, 1000, {1088}, {1000}},
                    FrameCase{"OneByteMore", 1089, 1000, {1088, 1}, {1000, 1001}},
                    FrameCase{"OddTimestamp", 2177, 1001, {1088, 1088, 1}, {1000, 1001, 1001}},
                    FrameCase{"LastTimestamp", 1089, 0xFFFFFFFF, {1088, 1}, {0xFFFFFFFE, 0xFFFFFFFF}}),
    [](const auto& row) { return std::string(row.param.name); });

TEST_F(NetworkSender, ASinglePacketKeepsItsTimestamp) {
    Open();
    ASSERT_EQ(m_sender->SendSingle(Pattern(33), 1001), 0);
    const auto packets = Packets(1);
    ASSERT_EQ(packets.size(), 1u);
    EXPECT_EQ(packets[0].type, 112);
    EXPECT_TRUE(packets[0].marker);
    EXPECT_EQ(packets[0].timestamp, 1001u);
}

TEST_F(NetworkSender, ARefusedPacketStillTakesANumberAndAnEmptyOneDoesNot) {
    Open();
    ASSERT_EQ(m_sender->SendSingle(Pattern(1088), 0), 0);
    EXPECT_EQ(m_sender->SendSingle(Pattern(1089), 0), -11);
    EXPECT_EQ(m_sender->SendSingle({}, 0), 0);
    ASSERT_EQ(m_sender->SendSingle(Pattern(1), 0), 0);
    const auto packets = Packets(2);
    ASSERT_EQ(packets.size(), 2u);
    EXPECT_EQ(packets[1].sequence, static_cast<std::uint16_t>(packets[0].sequence + 2));
}

TEST_F(NetworkSender, SessionsOfTheSameSecondDiffer) {
    Open();
    ASSERT_EQ(m_sender->SendSingle(Pattern(1), 0), 0);
    const WirePacket first = Packets(1).at(0);
    m_sender = std::make_unique<CNetworkSender>();
    Open();
    ASSERT_EQ(m_sender->SendSingle(Pattern(1), 0), 0);
    const WirePacket second = Packets(1).at(0);
    EXPECT_TRUE(first.ssrc != second.ssrc || first.sequence != second.sequence);
}

struct CodecCase {
    std::uint32_t codec;
    std::uint8_t type;
};

TEST_F(NetworkSender, AVideoFrameTakesThePayloadTypeOfItsCodec) {
    Open();
    for (const CodecCase& row : {CodecCase{0, 113}, CodecCase{2, 113}, CodecCase{3, 116}, CodecCase{4, 117},
                                 CodecCase{5, 118}, CodecCase{6, 119}, CodecCase{8, 113}, CodecCase{9, 113}}) {
        m_sender->SetCodecIndex(row.codec);
        ASSERT_EQ(m_sender->SendVideoFrame(Pattern(1), 0), 0);
        EXPECT_EQ(Packets(1).at(0).type, row.type) << row.codec;
    }
    ASSERT_EQ(m_sender->SetPacketLimit(300), 0);
    ASSERT_EQ(m_sender->SetPacketLimit(299), -13);
    EXPECT_EQ(m_sender->SendVideoFrame(Pattern(400), 0), 0);
}

struct LimitCase {
    const char* name;
    std::int32_t asked;
    int result;
    std::int32_t payloadSize;
    std::size_t largestSent;  // of a single packet
};

void PrintTo(const LimitCase& row, std::ostream* stream) {
    *stream << row.name;
}

class PacketLimit : public NetworkSender, public testing::WithParamInterface<LimitCase> {};

TEST_P(PacketLimit, IsJudgedAfterThePayloadSizeIsStored) {
    Open();
    const LimitCase& row = GetParam();
    EXPECT_EQ(m_sender->SetPacketLimit(row.asked), row.result);
    EXPECT_EQ(m_sender->PayloadSize(), row.payloadSize);
    EXPECT_EQ(m_sender->SendSingle(Pattern(row.largestSent), 0), 0);
    EXPECT_EQ(m_sender->SendSingle(Pattern(row.largestSent + 1), 0), -11);
}

INSTANTIATE_TEST_SUITE_P(
    Values, PacketLimit,
    testing::Values(LimitCase{"Smallest", 300, 0, 288, 288}, LimitCase{"BelowSmallest", 299, -13, 287, 1088},
                    LimitCase{"NoPacketAtAll", 20, 0, 1088, 1088}, LimitCase{"TwelveOfPayload", 24, -13, 12, 1088},
                    LimitCase{"Zero", 0, 0, 1088, 1088}, LimitCase{"Negative", -5, 0, 1088, 1088},
                    LimitCase{"Ethernet", 1500, 0, 1488, 1488}, LimitCase{"Largest", 65535, 0, 65523, 65523},
                    LimitCase{"AboveLargest", 65536, -31, 65524, 1088}),
    [](const auto& row) { return std::string(row.param.name); });

TEST_F(NetworkSender, ParityMakesRoomInTheSameLimit) {
    EXPECT_EQ(m_sender->SetParityGroup(0), 0);
    EXPECT_EQ(m_sender->PayloadSize(), 1088);
    EXPECT_EQ(m_sender->SetParityGroup(5), 0);
    EXPECT_EQ(m_sender->PayloadSize(), 1076);
    Open();
    EXPECT_EQ(m_sender->SendSingle(Pattern(1088), 0), 0);
    EXPECT_EQ(m_sender->SendSingle(Pattern(1089), 0), -11);
}

TEST_F(NetworkSender, AParityPacketFollowsEachGroup) {
    ASSERT_EQ(m_sender->SetParityGroup(2), 0);
    Open();
    ASSERT_EQ(m_sender->SendFrame(Pattern(3 * 1076), 1000, 113), 0);
    const auto packets = Packets(4);
    ASSERT_EQ(packets.size(), 4u);
    EXPECT_EQ(packets[2].type, 127);
    EXPECT_EQ(packets[2].sequence, 1) << "parity packets have numbers of their own";
    EXPECT_EQ(packets[2].ssrc, packets[0].ssrc);
    EXPECT_EQ(packets[2].timestamp, packets[1].timestamp + 2);
    EXPECT_EQ(packets[2].payload.size() + 12, 1100u);
    EXPECT_EQ(packets[3].type, 113);
    EXPECT_EQ(packets[3].sequence, static_cast<std::uint16_t>(packets[1].sequence + 1));
}

TEST_F(NetworkSender, SendsToEachDestinationAsOftenAsItWasAdded) {
    Open();
    CUdpPeer second;
    ASSERT_EQ(m_sender->AddDestination("127.0.0.1", second.Port()), 0);
    ASSERT_EQ(m_sender->AddDestination("127.0.0.1", m_peer.Port() | 0x10000), 0) << "16 bits of the port count";
    ASSERT_EQ(m_sender->SendSingle(Pattern(5), 7), 0);
    EXPECT_EQ(Packets(2).at(1).timestamp, 7u);
    ASSERT_TRUE(second.Receive());

    EXPECT_EQ(m_sender->RemoveDestination("127.0.0.1", m_peer.Port()), 0);
    ASSERT_EQ(m_sender->SendSingle(Pattern(5), 8), 0);
    EXPECT_EQ(Packets(1).at(0).timestamp, 8u);
    EXPECT_EQ(m_sender->RemoveDestination("127.0.0.1", m_peer.Port()), 0);
    EXPECT_EQ(m_sender->RemoveDestination("127.0.0.1", m_peer.Port()), -10);
    EXPECT_EQ(m_sender->RemoveDestination("127.0.0.2", second.Port()), -10);
    ASSERT_EQ(m_sender->SendSingle(Pattern(5), 9), 0);
    ASSERT_EQ(m_sender->RemoveDestination("127.0.0.1", second.Port()), 0);
    EXPECT_EQ(m_sender->SendSingle(Pattern(5), 10), 0) << "nowhere";
    EXPECT_EQ(Decode(*second.Receive()).timestamp, 8u);
    EXPECT_EQ(Decode(*second.Receive()).timestamp, 9u);
    ASSERT_EQ(m_sender->AddDestination("127.0.0.1", m_peer.Port()), 0);
    ExpectNothingElse();
}

TEST_F(NetworkSender, NothingWorksBeforeTheOpening) {
    EXPECT_EQ(m_sender->SendSingle(Pattern(5), 7), -25);
    EXPECT_EQ(m_sender->SendFrame(Pattern(5), 7, 113), -25);
    EXPECT_EQ(m_sender->SendVideoFrame(Pattern(5), 7), 0);
    EXPECT_EQ(m_sender->AddDestination("127.0.0.1", 5000), -25);
    EXPECT_EQ(m_sender->RemoveDestination("127.0.0.1", 5000), -25);
    EXPECT_EQ(m_sender->SetMulticastTtl(1), -25);
    EXPECT_EQ(m_sender->SetTos(1), -25);
}

TEST_F(NetworkSender, DestinationsMayChangeWhileItSends) {
    Open();
    std::atomic<bool> done{false};
    std::thread client([&] {
        for (int i = 0; i < 500; ++i) {
            EXPECT_EQ(m_sender->AddDestination("127.0.0.1", 9), 0);
            EXPECT_EQ(m_sender->SetPacketLimit(300 + i), 0);
            EXPECT_EQ(m_sender->RemoveDestination("127.0.0.1", 9), 0);
        }
        done = true;
    });
    do {
        EXPECT_EQ(m_sender->SendFrame(Pattern(100), 0, 113), 0);
    } while (!done);
    client.join();
    EXPECT_TRUE(m_peer.Receive());
}

TEST_F(NetworkSender, AnExternalStreamCarriesThePackets) {
    CFakeTransport transport;
    m_sender->SetExternalTransport(&transport);
    m_sender->SetExternalMode(3);
    ASSERT_EQ(m_sender->Open(6000, "127.0.0.1", 0.000125, true), 0);
    ASSERT_EQ(m_sender->AddDestination("10.9.8.7", 5004), 0);
    EXPECT_EQ(m_sender->SendSingle(Pattern(5), 7), 0) << "no stream, no send";
    EXPECT_TRUE(transport.m_sent.empty());

    m_sender->StartExternal();
    EXPECT_EQ(transport.m_reserved, 0u);
    EXPECT_EQ(transport.m_port, 6000u);
    EXPECT_EQ(transport.m_mode, 3u);
    ASSERT_EQ(m_sender->SendSingle(Pattern(5), 7), 0);
    ASSERT_EQ(transport.m_sent.size(), 1u);
    EXPECT_EQ(transport.m_sent[0].port, 5004u);
    EXPECT_EQ(transport.m_sent[0].flags, 0u);
    EXPECT_EQ(Decode(transport.m_sent[0].datagram).timestamp, 7u);

    m_sender->StopExternal();
    EXPECT_EQ(transport.m_streams, 0);
    EXPECT_EQ(m_sender->SendSingle(Pattern(5), 7), 0);
    EXPECT_EQ(transport.m_sent.size(), 1u);
    m_sender->StartExternal();
    EXPECT_EQ(transport.m_streams, 1);
    m_sender.reset();
    EXPECT_EQ(transport.m_streams, 0) << "the stream is given back with the session";
}

TEST_F(NetworkSender, ATransportWithoutAStreamSendsNothing) {
    CFakeTransport transport;
    transport.m_hasStreams = false;
    m_sender->SetExternalTransport(&transport);
    ASSERT_EQ(m_sender->Open(0, "127.0.0.1", 0.000125, true), 0);
    ASSERT_EQ(m_sender->AddDestination("10.9.8.7", 5004), 0);
    m_sender->StartExternal();
    EXPECT_EQ(m_sender->SendSingle(Pattern(5), 7), 0);
    EXPECT_TRUE(transport.m_sent.empty());
}

TEST_F(NetworkSender, WhatItSendsAReceiverPutsTogether) {
    CNetworkReceiver receiver;
    ASSERT_EQ(receiver.OpenReceiver(0, "127.0.0.1", 0.000125, false, nullptr), 0);
    ASSERT_EQ(m_sender->Open(0, "127.0.0.1", 0.000125, true), 0);
    ASSERT_EQ(m_sender->AddDestination("127.0.0.1", receiver.LocalPort()), 0);
    CPacket packet;
    ASSERT_TRUE(packet.Allocate(20000));
    for (const std::size_t bytes : {std::size_t{1}, std::size_t{1088}, std::size_t{1089}, std::size_t{20000}}) {
        const Bytes frame = Pattern(bytes);
        ASSERT_EQ(m_sender->SendFrame(frame, 1000, 115), 0);
        packet.m_payloadType = 115;
        ASSERT_EQ(receiver.ReceiveFrame(packet, 10000), 241);
        EXPECT_EQ(Bytes(packet.m_data, packet.m_data + packet.m_length), frame);
        EXPECT_EQ(packet.m_lost, 0u);
    }
}

}  // namespace
