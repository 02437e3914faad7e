#include "netfilters/CVideoReceiver.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "rtp/TestWire.h"
#include "runtime/exceptions.h"
#include "support/FakeClock.h"

using qrn::test::CAutoClock;
using qrn::test::CFakeTransport;
using qrn::test::WirePacket;

namespace {

class CCountingVideo final : public CVideoReceiver {
public:
    explicit CCountingVideo(qrn::IClock& clock) : CVideoReceiver(clock) { m_capacity = 100; }
    ~CCountingVideo() override { Stop(); }

    int OnFrame(const CPacket& frame) override {
        m_texts.emplace_back(frame.m_data, frame.m_data + frame.m_length);
        m_lost.push_back(frame.m_lost != 0);
        return m_answer;
    }

    using CVideoReceiver::m_capacity;
    using CVideoReceiver::m_codecIndex;
    using CVideoReceiver::m_timeoutMs;
    using CVideoReceiver::m_tolerateGaps;
    using CVideoReceiver::OpenSession;
    using CVideoReceiver::Session;
    using CVideoReceiver::SetAddress;

    std::vector<std::string> m_texts;
    std::vector<bool> m_lost;
    int m_answer = 0;
};

using Texts = std::vector<std::string>;

/// The step, called by the test in virtual time.
class VideoReceiverStep : public testing::Test {
protected:
    void Open() {
        ASSERT_EQ(m_engine.OpenSession(&m_transport), 0);
        m_engine.Session().StartExternal();
    }
    /// Packet `index` of a frame: its first or not, its last or not.
    void Arrive(std::uint16_t sequence, std::uint32_t timestamp, bool first, bool last, const std::string& payload,
                std::uint8_t type = 113) {
        m_transport.Arrive(WirePacket{.sequence = sequence,
                                      .timestamp = timestamp * 2 + (first ? 0 : 1),
                                      .marker = last,
                                      .payload = payload,
                                      .type = type});
    }
    /// Until twice nothing came: the reorder queue has given all that it held.
    void RunAll() {
        while (m_engine.Run() != 242 || m_engine.Run() != 242) {
        }
    }

    CAutoClock m_clock;
    CFakeTransport m_transport;
    CCountingVideo m_engine{m_clock};
};

TEST_F(VideoReceiverStep, WaitsForTheSessionToBeOpened) {
    const auto start = m_clock.Now();
    EXPECT_EQ(m_engine.Run(), 0);
    EXPECT_EQ(m_clock.Now() - start, std::chrono::milliseconds(1000));
    m_engine.Stop();
    EXPECT_EQ(m_engine.Run(), 240) << "the stop event";
}

TEST_F(VideoReceiverStep, TheEncoderAtTheOpeningDecidesThePayloadType) {
    const Texts expected{"113", "113", "113", "116", "117", "118", "119", "113"};
    for (std::uint32_t encoder = 0; encoder < expected.size(); ++encoder) {
        CFakeTransport transport;
        CCountingVideo engine(m_clock);
        engine.m_codecIndex = encoder;
        ASSERT_EQ(engine.OpenSession(&transport), 0);
        engine.Session().StartExternal();
        EXPECT_EQ(transport.m_mode, 1u);
        engine.m_codecIndex = 3;  // too late
        EXPECT_EQ(engine.OpenSession(nullptr), 0) << "opened once";
        for (int round = 0; round < 2; ++round) {
            for (std::uint8_t type = 112; type < 120; ++type) {
                transport.Arrive(WirePacket{.sequence = static_cast<std::uint16_t>(round * 8 + type),
                                            .timestamp = 2,
                                            .marker = true,
                                            .payload = std::to_string(type),
                                            .type = type});
            }
            while (engine.Run() != 242 || engine.Run() != 242) {
            }
        }
        EXPECT_EQ(engine.m_texts, Texts(2, expected[encoder])) << encoder;
    }
}

TEST_F(VideoReceiverStep, GivesItsCodes) {
    Open();
    Arrive(10, 1, true, true, std::string(101, 'x'));
    EXPECT_EQ(m_engine.Run(), 245) << "larger than the picture";
    m_transport.Arrive(qrn::test::Bytes{1});
    EXPECT_EQ(m_engine.Run(), -14);
    EXPECT_EQ(m_engine.Run(), 242);
    m_engine.m_answer = 17;
    Arrive(11, 2, true, true, "a");
    EXPECT_EQ(m_engine.Run(), 17);
}

TEST_F(VideoReceiverStep, OnlyATolerantOneGivesFramesWithHoles) {
    for (const bool tolerant : {false, true}) {
        CFakeTransport transport;
        CCountingVideo engine(m_clock);
        ASSERT_EQ(engine.OpenSession(&transport), 0);
        engine.Session().StartExternal();
        engine.m_tolerateGaps = tolerant ? 1 : 0;
        const auto arrive = [&](std::uint16_t sequence, std::uint32_t timestamp, bool last, const char* payload) {
            transport.Arrive(
                WirePacket{.sequence = sequence, .timestamp = timestamp, .marker = last, .payload = payload});
        };
        arrive(9, 500, true, "-");  // with the first packet the tolerant one notices a new source and forgets the rest
        while (engine.Run() != 242 || engine.Run() != 242) {
        }
        arrive(10, 1000, false, "a");
        arrive(11, 1001, true, "b");
        arrive(12, 2000, false, "c");  // 13 is lost
        arrive(14, 2001, true, "e");
        arrive(15, 3000, false, "f");
        arrive(16, 3001, true, "g");
        while (engine.Run() != 242 || engine.Run() != 242) {
        }
        EXPECT_EQ(engine.m_texts, tolerant ? (Texts{"-", "ab", "ce", "fg"}) : (Texts{"-", "ab", "fg"}));
        EXPECT_TRUE(engine.m_lost.at(2));
    }
}

TEST_F(VideoReceiverStep, AWrongAddressThrows) {
    m_engine.SetAddress("somewhere");
    EXPECT_THROW(m_engine.OpenSession(nullptr), exc_CNetwork);
}

TEST(VideoReceiverThread, StopsAtOnceOpenedOrNot) {
    CCountingVideo engine{qrn::SystemClock()};
    engine.SetAddress("127.0.0.1");
    engine.m_timeoutMs = 60000;  // only the stop event ends a wait
    for (const bool opened : {false, true}) {
        if (opened) {
            ASSERT_EQ(engine.OpenSession(nullptr), 0);
        }
        ASSERT_TRUE(engine.Start());
        EXPECT_TRUE(engine.Stop()) << "had to be killed";
    }
}

}  // namespace
