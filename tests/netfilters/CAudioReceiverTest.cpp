#include "netfilters/CAudioReceiver.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "rtp/TestWire.h"
#include "runtime/exceptions.h"
#include "support/FakeClock.h"

using qrn::test::Bytes;
using qrn::test::CAutoClock;
using qrn::test::CFakeTransport;
using qrn::test::CUdpPeer;
using qrn::test::Encode;
using qrn::test::WirePacket;

namespace {

class CCountingReceiver final : public CAudioReceiver {
public:
    explicit CCountingReceiver(qrn::IClock& clock) : CAudioReceiver(clock) { m_capacity = 100; }
    ~CCountingReceiver() override { Stop(); }

    int OnPacket(const CPacket& packet) override {
        m_texts.emplace_back(packet.m_data, packet.m_data + packet.m_length);
        ++m_count;
        if (m_throws) {
            throw base_exception(L"test", 1, L"thrown in the step", 0);
        }
        return m_answer;
    }

    using CAudioReceiver::IsChannelOpen;
    using CAudioReceiver::m_capacity;
    using CAudioReceiver::m_codec;
    using CAudioReceiver::m_port;
    using CAudioReceiver::m_selected;
    using CAudioReceiver::m_timeoutMs;
    using CAudioReceiver::OpenChannel;
    using CAudioReceiver::Session;
    using CAudioReceiver::SetAddress;

    std::vector<std::string> m_texts;  // of the engine's thread
    std::atomic<int> m_count{0};
    int m_answer = 0;
    bool m_throws = false;
};

using Texts = std::vector<std::string>;

WirePacket Audio(std::uint16_t sequence, const std::string& payload, std::uint8_t type = 112) {
    return {.sequence = sequence, .timestamp = 1000, .marker = true, .payload = payload, .type = type};
}

/// The step, called by the test in virtual time; a transport for each channel.
class AudioReceiverStep : public testing::Test {
protected:
    void Open(std::uint32_t channel) {
        ASSERT_EQ(m_engine.OpenChannel(channel, &m_transports[channel]), 0);
        m_engine.Session(channel).StartExternal();
    }

    CAutoClock m_clock;
    std::array<CFakeTransport, CAudioReceiver::kChannels> m_transports;
    CCountingReceiver m_engine{m_clock};
};

TEST_F(AudioReceiverStep, WaitsForAChannelToBeOpened) {
    const auto start = m_clock.Now();
    EXPECT_EQ(m_engine.Run(), 0);
    EXPECT_EQ(m_clock.Now() - start, std::chrono::milliseconds(1000));
    m_engine.m_timeoutMs = 100;
    EXPECT_EQ(m_engine.Run(), 0);
    EXPECT_EQ(m_clock.Now() - start, std::chrono::milliseconds(1100));
    m_engine.Stop();
    EXPECT_EQ(m_engine.Run(), 240) << "the stop event of the channel";
}

TEST_F(AudioReceiverStep, HandsOnTheSelectedChannelAndDrainsTheOthers) {
    Open(2);
    Open(1);
    EXPECT_EQ(m_engine.m_selected, 1u) << "the one opened last";
    for (std::uint16_t i = 0; i < 3; ++i) {
        m_transports[1].Arrive(Audio(i + 10u, "heard" + std::to_string(i)));
        m_transports[2].Arrive(Audio(i + 20u, "other" + std::to_string(i)));
    }
    EXPECT_EQ(m_engine.Run(), 0);
    EXPECT_EQ(m_engine.m_texts, Texts{"heard0"});
    EXPECT_EQ(m_engine.Session(2).TakeReceivedCount(), 1u) << "one frame of each other channel a round";
    m_engine.m_selected = 2;
    EXPECT_EQ(m_engine.Run(), 0);
    EXPECT_EQ(m_engine.m_texts, (Texts{"heard0", "other1"}));
    EXPECT_EQ(m_engine.Run(), 0);
    EXPECT_EQ(m_engine.m_texts, (Texts{"heard0", "other1", "other2"}));
    EXPECT_EQ(m_engine.Session(1).TakeReceivedCount(), 3u);
}

TEST_F(AudioReceiverStep, TakesOnlyThePayloadTypeOfItsCodecFromTheSelectedChannel) {
    Open(0);
    std::uint16_t sequence = 10;
    for (std::uint32_t codec = 0; codec < 6; ++codec) {
        m_engine.m_codec = codec;
        for (const std::uint8_t type : {std::uint8_t{112}, std::uint8_t{114}, std::uint8_t{115}}) {
            m_transports[0].Arrive(Audio(sequence++, std::to_string(type), type));
        }
        // Twice without a packet: the reorder queue has given all that it held.
        while (m_engine.Run() != 242 || m_engine.Run() != 242) {
        }
    }
    EXPECT_EQ(m_engine.m_texts, (Texts{"112", "112", "112", "112", "114", "115"}));
}

TEST_F(AudioReceiverStep, GivesTheCodeOfTheSelectedChannel) {
    Open(0);
    m_transports[0].Arrive(Audio(10, std::string(101, 'x')));
    EXPECT_EQ(m_engine.Run(), 245) << "larger than a packet of the codec";
    m_transports[0].Arrive(Bytes{1});
    EXPECT_EQ(m_engine.Run(), -14);
    EXPECT_EQ(m_engine.Run(), 242);
    m_engine.m_answer = 17;
    m_transports[0].Arrive(Audio(11, "a"));
    EXPECT_EQ(m_engine.Run(), 17);
}

TEST_F(AudioReceiverStep, AnExceptionEndsTheThread) {
    Open(0);
    m_engine.m_throws = true;
    m_transports[0].Arrive(Audio(10, "a"));
    EXPECT_EQ(m_engine.Run(), 240);
}

TEST_F(AudioReceiverStep, OpensEachChannelOnceOnItsOwnPort) {
    m_engine.SetAddress("127.0.0.1");
    EXPECT_EQ(m_engine.OpenChannel(4, nullptr), 243);
    EXPECT_EQ(m_engine.OpenChannel(0xFFFFFFFF, nullptr), 243);
    EXPECT_FALSE(m_engine.IsChannelOpen(4));
    m_engine.m_port = 5001;
    EXPECT_EQ(m_engine.OpenChannel(0, nullptr), -3);
    EXPECT_FALSE(m_engine.IsChannelOpen(0));

    // Four neighbouring even ports that are free, as near as one can tell.
    std::uint32_t first = 20000;
    for (bool opened = false; !opened; first += 8) {
        ASSERT_LT(first, 60000u);
        CCountingReceiver engine(m_clock);
        engine.SetAddress("127.0.0.1");
        engine.m_port = first;
        opened = true;
        for (std::uint32_t channel = 0; opened && channel < 4; ++channel) {
            opened = engine.OpenChannel(channel, nullptr) == 0;
            EXPECT_EQ(engine.Session(channel).LocalPort(), opened ? first + 2 * channel : 0);
        }
    }
    m_engine.m_port = 0;
    ASSERT_EQ(m_engine.OpenChannel(3, nullptr), 0);
    const std::uint16_t port = m_engine.Session(3).LocalPort();
    EXPECT_NE(port, 0);
    ASSERT_EQ(m_engine.OpenChannel(0, nullptr), 0);
    EXPECT_EQ(m_engine.OpenChannel(3, nullptr), 0);
    EXPECT_EQ(m_engine.Session(3).LocalPort(), port) << "opened once";
    EXPECT_EQ(m_engine.m_selected, 0u) << "an opened channel is not selected anew";
}

TEST_F(AudioReceiverStep, AWrongAddressThrows) {
    m_engine.SetAddress("somewhere");
    EXPECT_THROW(m_engine.OpenChannel(0, nullptr), exc_CNetwork);
}

/// The thread over real sockets, in real time that no case waits for.
class AudioReceiverThread : public testing::Test {
protected:
    void WaitForPackets(int count) {
        const auto start = qrn::SystemClock().Now();
        while (m_engine.m_count < count && qrn::SystemClock().Now() - start < qrn::test::kTestPatience) {
            qrn::SystemClock().SleepFor(std::chrono::milliseconds(1));
        }
        ASSERT_EQ(m_engine.m_count, count);
    }

    CUdpPeer m_peer;
    CCountingReceiver m_engine{qrn::SystemClock()};
};

TEST_F(AudioReceiverThread, ReceivesStopsAtOnceAndStartsAgain) {
    m_engine.SetAddress("127.0.0.1");
    ASSERT_EQ(m_engine.OpenChannel(0, nullptr), 0);
    m_engine.m_timeoutMs = 60000;  // only the stop event ends a wait
    std::uint16_t sequence = 10;
    for (int round = 1; round <= 2; ++round) {
        ASSERT_TRUE(m_engine.Start());
        m_peer.SendTo(m_engine.Session(0).LocalPort(), Encode(Audio(sequence++, "a")));
        WaitForPackets(round);
        EXPECT_TRUE(m_engine.Stop()) << "ended by itself";
    }
}

TEST_F(AudioReceiverThread, StopsWhileNoChannelIsOpen) {
    m_engine.m_timeoutMs = 60000;
    ASSERT_TRUE(m_engine.Start());
    EXPECT_TRUE(m_engine.Stop());
}

TEST_F(AudioReceiverThread, StopsUnderAFloodThatNeverMakesAFrame) {
    m_engine.SetAddress("127.0.0.1");
    ASSERT_EQ(m_engine.OpenChannel(0, nullptr), 0);
    ASSERT_TRUE(m_engine.Start());
    std::atomic<bool> done{false};
    std::thread flood([&] {
        const Bytes datagram = Encode({.sequence = 1, .timestamp = 1, .payload = "x", .type = 99});
        while (!done) {
            m_peer.SendTo(m_engine.Session(0).LocalPort(), datagram);
        }
    });
    EXPECT_TRUE(m_engine.Stop()) << "had to be killed";
    done = true;
    flood.join();
}

TEST_F(AudioReceiverThread, StartsAndStopsTheExternalStreams) {
    CFakeTransport transport;
    ASSERT_EQ(m_engine.OpenChannel(2, &transport), 0);
    EXPECT_EQ(transport.m_streams, 0);
    ASSERT_TRUE(m_engine.Start());
    EXPECT_EQ(transport.m_streams, 1);
    EXPECT_TRUE(m_engine.Start()) << "runs already";
    EXPECT_EQ(transport.m_streams, 1);
    EXPECT_TRUE(m_engine.Stop());
    EXPECT_EQ(transport.m_streams, 0);
}

}  // namespace
