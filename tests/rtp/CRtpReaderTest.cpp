#include "rtp/CRtpReader.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <deque>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "FakeReceiveCalls.h"
#include "TestWire.h"
#include "rtp/RtpErrors.h"

using qrn::test::Bytes;
using qrn::test::CFakeReceiveCalls;
using qrn::test::Encode;

namespace {

/// What the system has: the call for several messages, or an error in its place.
struct SystemKind {
    const char* name;
    int manyError;
    bool puttingTogether;
};

void PrintTo(const SystemKind& row, std::ostream* stream) {
    *stream << row.name;
}

class Reader : public testing::TestWithParam<SystemKind> {
protected:
    Reader() { m_reader.UseSocket(qrn::CSocket::Make()); }

    void Put(const std::vector<Bytes>& datagrams, std::optional<std::uint32_t> noRoom = {}) {
        if (!GetParam().puttingTogether) {
            for (const Bytes& datagram : datagrams) {
                m_calls.m_pending.push_back({datagram, 0, noRoom});
            }
            return;
        }
        qrn::test::FakeMessage message{{}, datagrams.size() > 1 ? static_cast<int>(datagrams[0].size()) : 0, noRoom};
        for (const Bytes& datagram : datagrams) {
            message.bytes.insert(message.bytes.end(), datagram.begin(), datagram.end());
        }
        m_calls.m_pending.push_back(std::move(message));
    }

    int Poll() {
        m_length = 0;
        return m_reader.Poll(m_length, m_info);
    }
    std::string Payload() const { return {m_info.payload, m_info.payload + m_info.payloadLength}; }

    CFakeReceiveCalls m_calls{GetParam().manyError};
    CRtpParityCoder m_parity;
    CRtpReader m_reader{m_parity, m_calls};
    std::int32_t m_length = 0;
    RtpPacketInfo m_info;
};

/// Equal datagrams, as one message may hold, and a shorter one behind them.
std::vector<Bytes> RandomRun(std::mt19937& engine, std::uint16_t& sequence) {
    const auto below = [&](std::uint32_t end) { return static_cast<std::uint32_t>(engine() % end); };
    const std::size_t payload = below(6) == 0 ? below(60000) : below(1100);
    const std::size_t count = std::min<std::size_t>(1 + below(64), std::max<std::size_t>(1, 65000 / (payload + 12)));
    std::vector<Bytes> run;
    for (std::size_t i = 0; i < count; ++i) {
        const std::size_t bytes = i + 1 == count ? below(static_cast<std::uint32_t>(payload) + 1) : payload;
        run.push_back(Encode({.sequence = sequence++,
                              .payload = std::string(bytes, static_cast<char>('a' + below(26))),
                              .type = below(9) == 0 ? std::uint8_t{127} : std::uint8_t{113}}));
        run.back()[0] = below(12) == 0 ? 0x40 : 0x80;  // no packet now and then
    }
    if (below(10) == 0) {
        run.assign(1, Bytes(below(12)));
    }
    return run;
}

TEST_P(Reader, GivesOutOneByOneWhateverWasReadAtOnce) {
    for (const bool parityOn : {false, true}) {
        m_parity.SetGroupSize(parityOn ? 5 : 0);
        m_reader.SetParityOn(parityOn);
        std::mt19937 engine(20);
        std::deque<Bytes> sent;
        std::uint16_t sequence = 0;
        std::string last;
        const auto isKept = [&](const Bytes& datagram) {
            return datagram.empty() ||
                   (parityOn && (datagram.size() < 12 || datagram[0] != 0x80 || (datagram[1] == 127)));
        };
        for (int round = 0; round < 400; ++round) {
            for (auto runs = engine() % 5; runs > 0; --runs) {
                const std::vector<Bytes> run = RandomRun(engine, sequence);
                Put(run);
                sent.insert(sent.end(), run.begin(), run.end());
            }
            for (auto polls = engine() % 150; polls > 0; --polls) {
                while (!sent.empty() && isKept(sent.front())) {
                    sent.pop_front();
                }
                const int result = Poll();
                if (sent.empty()) {
                    ASSERT_EQ(result, 0);
                    ASSERT_EQ(m_length, 0);
                } else {
                    const bool isPacket = sent.front().size() >= 12 && sent.front()[0] == 0x80;
                    ASSERT_EQ(result, isPacket ? 0 : -1) << round;
                    ASSERT_EQ(m_length, isPacket ? static_cast<std::int32_t>(sent.front().size()) : 0);
                    if (isPacket) {
                        last.assign(sent.front().begin() + 12, sent.front().end());
                    }
                    sent.pop_front();
                }
                if (m_info.payload != nullptr) {
                    ASSERT_EQ(Payload(), last) << "it stays what it was until there is another packet";
                }
            }
        }
        while (!sent.empty()) {
            Poll();
            sent.pop_front();
        }
        m_calls.m_pending.clear();
        while (m_reader.HasPending()) {
            Poll();
        }
        m_info = {};
    }
}

TEST_P(Reader, CountsWhatCameAndWhatTheSystemDropped) {
    Put({Encode({.payload = "abc"}), Encode({.payload = "def"}), Encode({.payload = "g"})}, 0xFFFFFFFE);
    Put({Bytes{}});
    Put({Encode({.payload = "h"})}, 3);
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(Poll(), 0);
    }
    const qrn::ReceiveStatistics counted = m_reader.Counters().Read();
    EXPECT_EQ(counted.datagrams, 5u);
    EXPECT_EQ(counted.bytes, 4u * 12 + 8);
    EXPECT_EQ(counted.noRoom, 0xFFFFFFFEull + 5) << "the system's count goes on over its end";
}

TEST_P(Reader, AnErrorOfTheSocketIsTakenAway) {
    m_calls.m_errors = {EINTR, ECONNREFUSED, EINTR};
    Put({Encode({.payload = "x"})});
    EXPECT_EQ(Poll(), 0);
    EXPECT_EQ(Payload(), "x");
    m_calls.m_errors.assign(1000, ENOMEM);
    EXPECT_EQ(Poll(), 0) << "an error that stays holds nobody";
    EXPECT_EQ(m_length, 0);
}

TEST_P(Reader, AFloodOfWhatIsThrownAwayHoldsNobody) {
    for (int i = 0; i < 1000; ++i) {
        Put({Bytes{}});
    }
    Put({Encode({.payload = "x"})});
    int polls = 1;
    while (Poll() == 0 && m_length == 0 && polls < 100) {
        ++polls;
    }
    EXPECT_GT(polls, 2);
    EXPECT_EQ(Payload(), "x");
}

TEST_P(Reader, GivesNothingMoreOnceTheSocketIsTakenAway) {
    const std::shared_ptr<qrn::CSocket> socket = qrn::CSocket::Make();
    m_reader.UseSocket(socket);
    Put({Encode({.payload = "a"}), Encode({.payload = "b"})});
    EXPECT_EQ(Poll(), 0);
    m_calls.m_pending.clear();
    socket->TakeAway();
    EXPECT_FALSE(m_reader.HasPending());
    EXPECT_EQ(Poll(), 0);
    EXPECT_EQ(m_length, 0);
    EXPECT_EQ(Payload(), "a");
    m_reader.UseSocket(nullptr);
    EXPECT_EQ(Poll(), -12);
}

INSTANTIATE_TEST_SUITE_P(Systems, Reader,
                         testing::Values(SystemKind{"Everything", 0, true}, SystemKind{"PutsNothingTogether", 0, false},
                                         SystemKind{"OneMessageACall", ENOSYS, true},
                                         SystemKind{"FencedIn", EPERM, false}),
                         [](const auto& row) { return std::string(row.param.name); });

struct SegmentCase {
    const char* name;
    std::size_t bytes;
    int segmentBytes;
    std::vector<std::size_t> datagrams;
};

TEST(ReceiveBatch, CutsAMessageAsTheSystemTells) {
    const SegmentCase rows[] = {{"Single", 30, 0, {30}},       {"Even", 30, 10, {10, 10, 10}},
                                {"Rest", 25, 10, {10, 10, 5}}, {"OneOnly", 7, 10, {7}},
                                {"Negative", 30, -1, {30}},    {"Longest", 65535, 0, {65535}},
                                {"Nothing", 0, 0, {0}},        {"NothingInSegments", 0, 10, {0}}};
    for (const SegmentCase& row : rows) {
        CFakeReceiveCalls calls(0);
        calls.m_pending.push_back({Bytes(row.bytes), row.segmentBytes, {}});
        qrn::CReceiveBatch batch(calls);
        qrn::CReceiveCounters counters;
        ASSERT_TRUE(batch.Prepare());
        ASSERT_EQ(batch.Fill(*qrn::CSocket::Make(), counters), qrn::CReceiveBatch::Outcome::kRead);
        std::vector<std::size_t> datagrams;
        std::span<const std::uint8_t> datagram;
        while (batch.Next(datagram)) {
            datagrams.push_back(datagram.size());
        }
        EXPECT_EQ(datagrams, row.datagrams) << row.name;
        EXPECT_EQ(counters.Read().datagrams, row.datagrams.size()) << row.name;
        EXPECT_TRUE(batch.IsEmpty());
    }
}

}  // namespace
