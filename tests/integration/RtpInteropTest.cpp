// Our sessions against RTP that others write and others count: tshark, GStreamer, scapy.

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "client/impair/ImpairmentModel.h"
#include "integration/GStreamer.h"
#include "integration/Tshark.h"
#include "platform/system/Event.h"
#include "rtp/CNetworkReceiver.h"
#include "rtp/CNetworkSender.h"
#include "rtp/RtpErrors.h"
#include "rtp/TestWire.h"
#include "support/RunCommand.h"
#include "support/TempFolder.h"

namespace qrn::test {
namespace {

constexpr std::uint8_t kType = 113;

/// A receiving session and what it gives.
class CListener {
public:
    CListener() {
        m_session.SetBufferSize(4 * 1024 * 1024);
        EXPECT_EQ(m_session.OpenReceiver(0, "127.0.0.1", 0.000125, false, &m_stop), kRtpOk);
        EXPECT_TRUE(m_packet.Allocate(65536));
    }
    CNetworkReceiver& Session() { return m_session; }
    /// The next frame, or nothing when none comes in time.
    std::optional<Bytes> Receive(std::uint32_t timeoutMs) {
        m_packet.m_payloadType = kType;
        if (m_session.ReceiveFrame(m_packet, timeoutMs) != kRtpComplete) {
            return std::nullopt;
        }
        return Bytes(m_packet.m_data, m_packet.m_data + m_packet.m_length);
    }

private:
    CEvent m_stop{EventReset::kManual};
    CNetworkReceiver m_session;
    CPacket m_packet;
};

// ---------------------------------------------------------------------------------------------------------------------

constexpr std::size_t kPackets = 2000;

/// A fixed stream of one packet a frame as our sender puts it on the wire.
std::vector<Bytes> RecordStream(SendStatistics& statistics) {
    const CUdpPeer peer;
    CNetworkSender sender;
    EXPECT_EQ(sender.Open(0, "127.0.0.1", 0.000125, true), kRtpOk);
    EXPECT_EQ(sender.AddDestination("127.0.0.1", peer.Port()), kRtpOk);
    std::vector<Bytes> datagrams;
    for (std::size_t i = 0; i < kPackets; ++i) {
        EXPECT_EQ(sender.SendFrame(Pattern(20 + i % 50), static_cast<std::uint32_t>(20 * i), kType), kRtpOk);
        datagrams.push_back(peer.Receive().value_or(Bytes{}));
    }
    statistics = sender.Statistics();
    return datagrams;
}

struct NetworkCase {
    const char* name;
    bool hasQueue;
    ImpairmentSettings network;
};

void PrintTo(const NetworkCase& row, std::ostream* stream) {
    *stream << row.name;
}

/// The model's far end. The first packet and the last one get through, so that what is missing lies between two others.
std::vector<Bytes> Impair(const std::vector<Bytes>& datagrams, const ImpairmentSettings& settings,
                          ImpairmentCounters& counters) {
    constexpr std::chrono::milliseconds kApart{20};
    CImpairmentModel network(settings);
    std::vector<Bytes> arrived{datagrams.front()};
    const auto take = [&](CImpairmentModel::Time now) {
        while (auto datagram = network.Take(now)) {
            arrived.push_back(std::move(datagram->bytes));
        }
    };
    for (std::size_t i = 1; i + 1 < datagrams.size(); ++i) {
        network.Offer(datagrams[i], i * kApart);
        take(i * kApart);
    }
    take(datagrams.size() * kApart + CImpairmentModel::kLongestHold);
    counters = network.Counters();
    arrived.push_back(datagrams.back());
    return arrived;
}

class Analysis : public testing::TestWithParam<NetworkCase> {
protected:
    /// Sends what arrives and takes what comes of it, packet by packet, so that no age and no full buffer has a say.
    void Receive(CListener& listener, const std::vector<Bytes>& arrived) {
        const CUdpPeer peer;
        for (const Bytes& datagram : arrived) {
            peer.SendTo(listener.Session().LocalPort(), datagram);
            m_frames += listener.Receive(0) ? 1 : 0;
            while (listener.Session().ReceiveStatistics().datagrams < ++m_sent) {
                m_frames += listener.Receive(10) ? 1 : 0;
                --m_sent;
            }
        }
        while (listener.Receive(0)) {
            ++m_frames;
        }
    }
    std::size_t m_frames = 0;
    std::size_t m_sent = 0;
};

TEST_P(Analysis, AgreesWithOurCounters) {
    if (!HasProgram("tshark")) {
        GTEST_SKIP() << "tshark is not here (packaging/install-deps test)";
    }
    SendStatistics sent;
    ImpairmentCounters network;
    const std::vector<Bytes> arrived = Impair(RecordStream(sent), GetParam().network, network);
    EXPECT_EQ(sent.packets, kPackets);

    const std::vector<RtpStream> streams = AnalyseRtpStreams(arrived);
    ASSERT_EQ(streams.size(), 1u);
    const std::uint64_t lost = network.lost + network.lostInBursts;
    EXPECT_EQ(streams[0].packets, sent.packets - lost);
    EXPECT_EQ(streams[0].lost, static_cast<std::int64_t>(lost));

    // What the dissector sees of the numbers: holes, and packets that came before one with a smaller number.
    const auto packets = DissectAsRtp(arrived);
    std::vector<std::uint32_t> numbers;
    for (const auto& packet : packets) {
        ASSERT_TRUE(packet);
        numbers.push_back(static_cast<std::uint16_t>(packet->sequence - packets.front()->sequence));
    }
    std::size_t holes = 0;
    const std::set<std::uint32_t> present(numbers.begin(), numbers.end());
    for (auto number = present.begin(); std::next(number) != present.end(); ++number) {
        holes += *std::next(number) != *number + 1 ? 1 : 0;
    }
    std::size_t early = 0;
    std::uint32_t smallestToCome = UINT32_MAX;
    for (auto number = numbers.rbegin(); number != numbers.rend(); ++number) {
        early += smallestToCome < *number ? 1 : 0;
        smallestToCome = std::min(smallestToCome, *number);
    }

    CListener listener;
    listener.Session().SetReorder(GetParam().hasQueue);
    Receive(listener, arrived);
    const ReceiveStatistics received = listener.Session().ReceiveStatistics();
    EXPECT_EQ(received.datagrams, streams[0].packets);
    EXPECT_EQ(listener.Session().TakeReceivedCount(), streams[0].packets);
    EXPECT_EQ(listener.Session().TakeGapCount(), holes);
    EXPECT_EQ(received.heldBack, early);
    EXPECT_EQ(received.late + received.malformed + received.noRoom, 0u);
    EXPECT_EQ(m_frames, streams[0].packets);
    if (GetParam().network.reorder > 0) {
        EXPECT_GT(early, 50u) << "the network did nothing";
    }
    if (!GetParam().hasQueue) {
        EXPECT_GT(holes, 50u) << "the network did nothing";
    }
}

INSTANTIATE_TEST_SUITE_P(
    Networks, Analysis,
    testing::Values(NetworkCase{"Good", true, {}}, NetworkCase{"Lossy", false, {.loss = 0.05, .seed = 3}},
                    NetworkCase{"InBursts", false, {.burstStart = 0.03, .burstLength = 4, .seed = 4}},
                    NetworkCase{"OutOfOrder", true, {.reorder = 0.05, .reorderDistance = 4, .seed = 5}}),
    [](const auto& row) { return std::string(row.param.name); });

// ---------------------------------------------------------------------------------------------------------------------

TEST(GStreamerSender, AVideoStreamWithHeaderExtensionsArrivesWhole) {
    if (!HasProgram("gst-launch-1.0") || !HasProgram("tshark")) {
        GTEST_SKIP() << "gst-launch-1.0 or tshark is not here (packaging/install-deps test)";
    }
    constexpr std::size_t kFrames = 15;
    CListener listener;
    const CUdpPeer peer;  // gets the same datagrams, for tshark to take apart
    CGStreamer sender("videotestsrc pattern=snow num-buffers=" + std::to_string(kFrames) +
                      " ! video/x-raw,format=I420,width=64,height=48,framerate=25/1"
                      " ! rtpvrawpay pt=113 timestamp-offset=0 seqnum-offset=65500"
                      " ! 'application/x-rtp,extmap-3=(string)urn:ietf:params:rtp-hdrext:ntp-64'"
                      " ! multiudpsink sync=false clients=127.0.0.1:" +
                      std::to_string(listener.Session().LocalPort()) + ",127.0.0.1:" + std::to_string(peer.Port()));
    std::vector<Bytes> frames;
    std::vector<Bytes> datagrams;
    const auto takeDatagrams = [&] {
        while (auto datagram = peer.Receive(0)) {
            datagrams.push_back(*std::move(datagram));
        }
    };
    while (frames.size() < kFrames) {
        std::optional<Bytes> frame = listener.Receive(20000);
        ASSERT_TRUE(frame) << "frame " << frames.size() << " did not come";
        frames.push_back(*std::move(frame));
        takeDatagrams();
    }
    ASSERT_EQ(sender.Finish(), "");
    EXPECT_EQ(listener.Session().TakeGapCount(), 0u);

    takeDatagrams();
    std::vector<Bytes> expected(1);
    std::size_t extensions = 0;
    for (const auto& packet : DissectAsRtp(datagrams)) {
        ASSERT_TRUE(packet);
        extensions += packet->extension ? 1 : 0;
        expected.back().insert(expected.back().end(), packet->payload.begin(), packet->payload.end());
        if (packet->marker) {
            expected.emplace_back();
        }
    }
    expected.pop_back();
    EXPECT_EQ(extensions, kFrames) << "one packet of each frame has one";
    EXPECT_TRUE(frames == expected);
}

// Every count of CSRC entries with every extension and padding.
TEST(ScapySender, PaddingExtensionAndSourcesAreTakenOff) {
    const std::string python = "/usr/bin/python3";  // the one that Debian's packages are for
    if (std::system((python + " -c 'import scapy.layers.rtp' 2> /dev/null").c_str()) != 0) {
        GTEST_SKIP() << "python3-scapy is not here (packaging/install-deps test)";
    }
    CListener listener;
    const CTempFolder folder;
    const std::string script = folder.File("send.py");
    std::ofstream(script) << R"(
import socket, sys
from scapy.layers.rtp import RTP, RTPExtension
out = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
number = 0
for sources in range(16):
    for words in (None, 0, 1, 7):
        for padding in (0, 1, 4, 255):
            packet = RTP(version=2, padding=int(padding > 0), extension=int(words is not None), marker=1,
                         payload_type=113, sequence=(65400 + number) % 65536, timestamp=40 * number,
                         sourcesync=0x01020304, sync=list(range(1, sources + 1)))
            if words is not None:
                packet = packet / RTPExtension(header_id=0xBEDE, header=list(range(words)))
            payload = bytes((number + k) % 256 for k in range(number % 60))
            fill = bytes(padding - 1) + bytes([padding]) if padding else b''
            out.sendto(bytes(packet) + payload + fill, ('127.0.0.1', int(sys.argv[1])))
            number += 1
print(number)
)";
    const std::string said =
        RunCommand(python + " " + script + " " + std::to_string(listener.Session().LocalPort()) + " 2>&1");
    ASSERT_EQ(said, "256\n");
    for (std::size_t number = 0; number < 256; ++number) {
        Bytes payload(number % 60);
        for (std::size_t k = 0; k < payload.size(); ++k) {
            payload[k] = static_cast<std::uint8_t>(number + k);
        }
        EXPECT_EQ(listener.Receive(5000), payload) << number;
    }
    EXPECT_EQ(listener.Session().TakeGapCount(), 0u);
    EXPECT_EQ(listener.Session().ReceiveStatistics().malformed, 0u);
}

}  // namespace
}  // namespace qrn::test
