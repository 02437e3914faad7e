// The audio path over real UDP on loopback: what our sender puts on the wire as others read it, and what our receiver
// makes of a good and of a bad network.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <memory>
#include <random>

extern "C" {
#include <gsm.h>
}

#include "audiocoding/PeerDecoder.h"
#include "integration/AudioGraphs.h"
#include "integration/Tshark.h"

namespace qrn::test {
namespace {

constexpr std::ptrdiff_t kHeaderBytes = 12;

constexpr AudioFormat kGsm{kQrnCodecGsm, 13, 1};
constexpr AudioFormat kGsmStereo{kQrnCodecGsm, 13, 2};
constexpr AudioFormat kOpus{kQrnCodecOpus, 64, 1};
constexpr AudioFormat kOpusStereo{kQrnCodecOpus, 64, 2};

/// What our sender puts on the wire for that many packets, the first one stamped `firstMs`.
std::vector<Bytes> RecordCall(const AudioFormat& format, unsigned packets, unsigned firstMs = 0, unsigned seed = 1) {
    CTestSocket farEnd;
    CSendGraph call(format, farEnd.Port());
    const std::vector<std::int16_t> signal = TestSignal(format, packets, seed);
    const std::size_t perPacket = std::size_t{format.PacketSamples()} * format.channels;
    std::vector<Bytes> datagrams;
    for (unsigned i = 0; i < packets; ++i) {
        call.Push(std::span(signal).subspan(i * perPacket, perPacket),
                  REFERENCE_TIME{10000} * (firstMs + i * format.PacketMs()));
        if (auto datagram = farEnd.Receive()) {
            datagrams.push_back(*std::move(datagram));
        }
    }
    EXPECT_EQ(datagrams.size(), packets);
    EXPECT_FALSE(farEnd.Receive(0)) << "more datagrams than packets";
    return datagrams;
}

// ---------------------------------------------------------------------------------------------------------------------

struct WireCase {
    const char* name;
    AudioFormat format;
    unsigned payloadType;
    std::size_t payloadBytes;
};

class WireFormat : public testing::TestWithParam<WireCase> {};

TEST_P(WireFormat, DissectsAsRtp) {
    const WireCase& expected = GetParam();
    constexpr unsigned kFirstMs = 1000;
    constexpr unsigned kPackets = 12;
    const std::vector<Bytes> datagrams = RecordCall(expected.format, kPackets, kFirstMs);
    const auto packets = DissectAsRtp(datagrams);
    ASSERT_EQ(packets.size(), kPackets);
    ASSERT_TRUE(packets[0]);
    for (unsigned i = 0; i < kPackets; ++i) {
        SCOPED_TRACE(i);
        ASSERT_TRUE(packets[i]) << "no RTP";
        const RtpDissection& packet = *packets[i];
        EXPECT_FALSE(packet.padding || packet.extension);
        EXPECT_EQ(packet.csrcCount, 0u);
        EXPECT_TRUE(packet.marker);
        EXPECT_EQ(packet.payloadType, expected.payloadType);
        EXPECT_EQ(packet.sequence, (packets[0]->sequence + i) % 65536);
        EXPECT_EQ(packet.timestamp, kFirstMs + i * expected.format.PacketMs());
        EXPECT_EQ(packet.ssrc, packets[0]->ssrc);
        EXPECT_EQ(packet.payload.size(), expected.payloadBytes);
        EXPECT_EQ(packet.payload, Bytes(datagrams[i].begin() + 12, datagrams[i].end()));
    }
}

// 64 kbit/s of Opus are 160 bytes in 20 ms; the packet of two such frames has one byte of head more.
INSTANTIATE_TEST_SUITE_P(Codecs, WireFormat,
                         testing::Values(WireCase{"Gsm", kGsm, 112, 132}, WireCase{"GsmStereo", kGsmStereo, 112, 264},
                                         WireCase{"Opus", kOpus, 115, 319},
                                         WireCase{"OpusStereo", kOpusStereo, 115, 638}),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(WireFormat, EverySessionHasASourceOfItsOwn) {
    const auto first = DissectAsRtp(RecordCall(kGsm, 1));
    const auto second = DissectAsRtp(RecordCall(kGsm, 1));
    ASSERT_TRUE(first.at(0) && second.at(0));
    EXPECT_NE(first[0]->ssrc, second[0]->ssrc);
}

// ---------------------------------------------------------------------------------------------------------------------

/// libgsm by itself, frame after frame.
std::vector<std::int16_t> DecodeWithLibgsm(const std::vector<Bytes>& datagrams) {
    const std::unique_ptr<gsm_state, void (*)(gsm)> decoder(gsm_create(), gsm_destroy);
    std::vector<std::int16_t> samples;
    for (const Bytes& datagram : datagrams) {
        for (std::size_t at = kHeaderBytes; at + sizeof(gsm_frame) <= datagram.size(); at += sizeof(gsm_frame)) {
            gsm_frame frame;
            std::copy_n(datagram.begin() + static_cast<std::ptrdiff_t>(at), sizeof frame, frame);
            std::int16_t block[160];
            gsm_decode(decoder.get(), frame, block);
            samples.insert(samples.end(), std::begin(block), std::end(block));
        }
    }
    return samples;
}

/// A receive graph that runs, and datagrams sent to it no faster than it hears them: its ring holds four packets.
class BadNetwork : public testing::Test {
protected:
    void Start(const AudioFormat& format) {
        m_format = format;
        m_port = FreeEvenPort();
        m_graph.emplace(format, m_port);
        m_graph->Run();
    }

    void Send(const Bytes& datagram) { m_socket.SendTo(m_port, datagram); }

    /// Sends each and waits until it is heard.
    void Talk(std::span<const Bytes> datagrams) {
        for (const Bytes& datagram : datagrams) {
            Send(datagram);
            ASSERT_TRUE(m_graph->WaitForPackets(++m_expected)) << "packet " << m_expected << " was not heard";
        }
    }

    CTestSocket m_socket;
    AudioFormat m_format{};
    std::uint16_t m_port = 0;
    std::optional<CReceiveGraph> m_graph;
    std::size_t m_expected = 0;
};

TEST_F(BadNetwork, GsmIsHeardAsLibgsmAloneDecodesIt) {
    const std::vector<Bytes> sent = RecordCall(kGsm, 10);
    Start(kGsm);
    Talk(sent);
    EXPECT_EQ(m_graph->Heard(), DecodeWithLibgsm(sent));
    EXPECT_EQ(m_graph->Received(), sent.size());
    EXPECT_EQ(m_graph->Gaps(), 0u);
}

TEST_F(BadNetwork, OpusIsHeardAsAnotherDecoderHearsIt) {
    const std::vector<Bytes> sent = RecordCall(kOpus, 12);
    Start(kOpus);
    Talk(sent);
    CPeerDecoder peer("opus", 48000);
    ASSERT_TRUE(peer.IsOpen());
    std::vector<std::int16_t> reference;
    for (const Bytes& datagram : sent) {
        const Pcm block = peer.Decode(std::span(datagram).subspan(kHeaderBytes));
        reference.insert(reference.end(), block.begin(), block.end());
    }
    const std::vector<std::int16_t> heard = m_graph->Heard();
    ASSERT_EQ(heard.size(), reference.size());
    int worst = 0;
    for (std::size_t i = 0; i < heard.size(); ++i) {
        worst = std::max(worst, std::abs(heard[i] - reference[i]));
    }
    // Two decoders of the same standard, in fixed and in floating point, differ by their rounding only.
    EXPECT_LE(worst, 32);
}

TEST_F(BadNetwork, SpeechComesBackWithTheNextPacketAfterALoss) {
    const std::vector<Bytes> sent = RecordCall(kGsm, 9);
    Start(kGsm);
    Talk(std::span(sent).first(3));
    Talk(std::span(sent).subspan(4));
    EXPECT_EQ(m_graph->Received(), sent.size() - 1);
    EXPECT_EQ(m_graph->Gaps(), 1u);
}

TEST_F(BadNetwork, DoubledAndSwappedPacketsAreHeardOnceAndInOrder) {
    const std::vector<Bytes> sent = RecordCall(kGsm, 8);
    Start(kGsm);
    Talk(std::span(sent).first(2));
    Send(sent[1]);  // again
    Send(sent[3]);  // before its turn
    Send(sent[2]);
    ASSERT_TRUE(m_graph->WaitForPackets(m_expected += 2));
    Send(sent[3]);
    Talk(std::span(sent).subspan(4));
    EXPECT_EQ(m_graph->Heard(), DecodeWithLibgsm(sent));
    EXPECT_EQ(m_graph->Received(), sent.size());
    EXPECT_EQ(m_graph->Gaps(), 0u);
}

TEST_F(BadNetwork, ARestartedSenderIsHeardFromItsFirstPacket) {
    const std::vector<Bytes> first = RecordCall(kGsm, 4, 5000, 1);
    const std::vector<Bytes> second = RecordCall(kGsm, 4, 0, 2);
    Start(kGsm);
    Talk(first);
    Talk(second);
    EXPECT_EQ(m_graph->Received(), first.size() + second.size());
    EXPECT_EQ(m_graph->Gaps(), 0u);
}

TEST_F(BadNetwork, AReceiverThatIsRunAgainGoesOn) {
    const std::vector<Bytes> sent = RecordCall(kGsm, 8);
    Start(kGsm);
    Talk(std::span(sent).first(3));
    m_graph->Stop();
    m_graph->Run();
    Talk(std::span(sent).subspan(3));
    EXPECT_EQ(m_graph->Heard(), DecodeWithLibgsm(sent));
    EXPECT_EQ(m_graph->Received(), sent.size());
    EXPECT_EQ(m_graph->Gaps(), 0u);
}

TEST_F(BadNetwork, ForeignDatagramsAreNotHeardAndDoNoHarm) {
    const std::vector<Bytes> sent = RecordCall(kGsm, 6);
    const std::vector<Bytes> otherCodec = RecordCall(kOpus, 3);
    Start(kGsm);
    Talk(std::span(sent).first(3));
    std::mt19937 random(7);
    for (std::size_t length : {0u, 1u, 11u, 12u, 13u, 200u, 1500u, 60000u}) {
        Bytes datagram(length);
        std::generate(datagram.begin(), datagram.end(), [&] { return static_cast<std::uint8_t>(random()); });
        if (!datagram.empty()) {
            datagram[0] &= 0x7F;  // never RTP version 2
        }
        Send(datagram);
    }
    for (const Bytes& datagram : otherCodec) {
        Send(datagram);
    }
    Talk(std::span(sent).subspan(3));
    EXPECT_EQ(m_graph->Received(), sent.size());
}

TEST_F(BadNetwork, StereoKeepsItsChannelsApart) {
    const AudioFormat stereo = kGsmStereo;
    const std::vector<Bytes> sent = RecordCall(stereo, 6);
    Start(stereo);
    Talk(sent);
    // Each half of a payload is a GSM stream of its own.
    std::vector<Bytes> left = sent;
    std::vector<Bytes> right = sent;
    for (std::size_t i = 0; i < sent.size(); ++i) {
        left[i].resize(kHeaderBytes + 132);
        right[i].erase(right[i].begin() + kHeaderBytes, right[i].begin() + kHeaderBytes + 132);
    }
    const std::vector<std::int16_t> leftSamples = DecodeWithLibgsm(left);
    const std::vector<std::int16_t> rightSamples = DecodeWithLibgsm(right);
    std::vector<std::int16_t> interleaved;
    for (std::size_t i = 0; i < leftSamples.size(); ++i) {
        interleaved.push_back(leftSamples[i]);
        interleaved.push_back(rightSamples[i]);
    }
    EXPECT_EQ(m_graph->Heard(), interleaved);
}

}  // namespace
}  // namespace qrn::test
