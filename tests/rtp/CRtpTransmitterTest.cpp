#include "rtp/CRtpTransmitter.h"

#include <gtest/gtest.h>
#include <netinet/udp.h>

#include <cerrno>
#include <cstring>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "TestWire.h"
#include "support/FakeClock.h"

using qrn::test::Bytes;
using qrn::test::CAutoClock;
using qrn::test::CFakeTransport;
using qrn::test::CUdpPeer;
using qrn::test::Pattern;

namespace {

using Arrivals = std::vector<std::pair<unsigned, Bytes>>;  // port and datagram

/// A system that takes datagrams and keeps them, as far as it is told to. Cuts as udp(7) tells.
class CFakeSystem final : public qrn::ISendCalls {
public:
    bool HasSegmentation(int /*descriptor*/) override { return m_hasSegmentation; }

    int SendMany(int /*descriptor*/, std::span<mmsghdr> messages, int /*flags*/) override {
        if (!m_hasSendMany) {
            errno = ENOSYS;
            return -1;
        }
        int taken = 0;
        for (const mmsghdr& message : messages) {
            if (taken == m_mostMessages || !Take(message.msg_hdr)) {
                break;
            }
            ++taken;
        }
        return taken > 0 ? taken : -1;
    }

    ssize_t SendOne(int /*descriptor*/, const msghdr& message, int /*flags*/) override {
        return Take(message) ? 0 : -1;
    }

    bool m_hasSegmentation = true;
    bool m_hasSendMany = true;
    int m_mostMessages = 1000;
    std::size_t m_largestSegment = 65507;
    int m_segmentError = EINVAL;
    int m_error = 0;     // of every message from the m_errorsFrom-th on
    int m_errors = 0;    // as often
    int m_messages = 0;  // asked for
    Arrivals m_arrivals;

private:
    bool Take(const msghdr& message) {
        ++m_messages;
        if (m_errors > 0) {
            --m_errors;
            errno = m_error;
            return false;
        }
        Bytes bytes;
        for (std::size_t i = 0; i < message.msg_iovlen; ++i) {
            const auto* start = static_cast<const std::uint8_t*>(message.msg_iov[i].iov_base);
            bytes.insert(bytes.end(), start, start + message.msg_iov[i].iov_len);
        }
        std::size_t segment = bytes.size();
        if (message.msg_controllen != 0) {
            const cmsghdr* request = CMSG_FIRSTHDR(&message);
            if (request->cmsg_level != IPPROTO_UDP || request->cmsg_type != UDP_SEGMENT) {
                throw std::logic_error("an unknown request");
            }
            std::uint16_t asked = 0;
            std::memcpy(&asked, CMSG_DATA(request), sizeof(asked));
            segment = asked;
            if (segment > m_largestSegment || bytes.size() > 64 * segment || bytes.size() > 65507) {
                errno = m_segmentError;
                return false;
            }
        }
        const auto* target = static_cast<const sockaddr_in*>(message.msg_name);
        for (std::size_t at = 0; at < bytes.size(); at += segment) {
            const auto first = bytes.begin() + static_cast<std::ptrdiff_t>(at);
            const auto last = first + static_cast<std::ptrdiff_t>(std::min(segment, bytes.size() - at));
            m_arrivals.emplace_back(ntohs(target->sin_port), Bytes(first, last));
        }
        return true;
    }
};

constexpr std::size_t kChunk = 40;
constexpr std::uint32_t kLoopback = 0x0100007F;

/// A transmitter, its parity and what it sends through.
struct Sending {
    explicit Sending(std::uint32_t parityGroup, const std::vector<std::uint16_t>& ports) {
        m_parity.SetGroupSize(parityGroup);
        m_transmitter.SetSsrc(0x11223344);
        for (const std::uint16_t port : ports) {
            EXPECT_EQ(m_transmitter.Destinations().Add(kLoopback, port), 0);
        }
    }
    void Use(CFakeSystem& system) { m_transmitter.UseSocket(qrn::CSocket::Make(system)); }
    int Send(const Bytes& data) {
        qrn::OutgoingFrame frame{data, m_chunkBytes, m_timestamp += 40, 113};
        const int result = m_transmitter.SendPackets(frame, SIZE_MAX, m_sequence);
        m_patience = frame.patience;
        return result;
    }

    CAutoClock m_clock;
    CRtpParityCoder m_parity;
    CRtpTransmitter m_transmitter{m_parity, m_clock};
    std::size_t m_chunkBytes = kChunk;
    std::uint16_t m_sequence = 65500;
    std::uint32_t m_timestamp = 1001;
    std::chrono::nanoseconds m_patience{};
};

std::map<unsigned, std::vector<Bytes>> ByPort(const Arrivals& arrivals) {
    std::map<unsigned, std::vector<Bytes>> ports;
    for (const auto& [port, datagram] : arrivals) {
        ports[port].push_back(datagram);
    }
    return ports;
}

struct SystemCase {
    const char* name;
    bool hasSegmentation = true;
    bool hasSendMany = true;
    std::size_t largestSegment = 65507;
    int segmentError = EINVAL;
    int mostMessages = 1000;
};

void PrintTo(const SystemCase& row, std::ostream* stream) {
    *stream << row.name;
}

class BatchedPath : public testing::TestWithParam<SystemCase> {
protected:
    /// Several frames, so that parity groups reach over them.
    void Compare(std::uint32_t parityGroup, const std::vector<std::uint16_t>& ports, std::size_t bytes) {
        const SystemCase& row = GetParam();
        CFakeSystem system;
        system.m_hasSegmentation = row.hasSegmentation;
        system.m_hasSendMany = row.hasSendMany;
        system.m_largestSegment = row.largestSegment;
        system.m_segmentError = row.segmentError;
        system.m_mostMessages = row.mostMessages;
        Sending batched(parityGroup, ports);
        batched.Use(system);
        CFakeTransport transport;
        Sending oneByOne(parityGroup, ports);
        oneByOne.m_transmitter.UseStream(&transport);
        for (int frame = 0; frame < 3; ++frame) {
            const Bytes data = Pattern(bytes);
            ASSERT_EQ(batched.Send(data), 0);
            ASSERT_EQ(oneByOne.Send(data), 0);
        }
        Arrivals expected;
        for (const CFakeTransport::Sent& sent : transport.m_sent) {
            expected.emplace_back(sent.port, sent.datagram);
        }
        EXPECT_EQ(ByPort(system.m_arrivals), ByPort(expected));
        const bool hasTwins = ports.size() == 3;
        if (!row.hasSegmentation || hasTwins || (parityGroup != 0 && ports.size() > 1)) {
            EXPECT_EQ(system.m_arrivals, expected) << "the order over all destinations";
        }
        EXPECT_EQ(batched.m_sequence, oneByOne.m_sequence);
        const qrn::SendStatistics counts = batched.m_transmitter.Statistics();
        EXPECT_EQ(counts.packets, 3 * ((bytes + kChunk - 1) / kChunk));
        EXPECT_EQ(counts.datagrams, expected.size());
        EXPECT_EQ(counts.bytes, oneByOne.m_transmitter.Statistics().bytes);
        EXPECT_EQ(counts.failures, 0u);
    }
};

TEST_P(BatchedPath, PutsTheSameBytesOnTheWireAsOneByOne) {
    for (const std::size_t packets : {1u, 2u, 64u, 65u, 127u, 130u}) {
        for (const std::size_t bytes : {packets * kChunk - 1, packets * kChunk, packets * kChunk + 1}) {
            for (const std::uint32_t parityGroup : {0u, 2u, 24u}) {
                for (const auto& ports : std::vector<std::vector<std::uint16_t>>{{}, {10}, {10, 12}, {10, 12, 10}}) {
                    SCOPED_TRACE(testing::Message() << bytes << " bytes, group " << parityGroup << ", " << ports.size()
                                                    << " destinations");
                    Compare(parityGroup, ports, bytes);
                    if (HasFailure()) {
                        return;
                    }
                }
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(
    Systems, BatchedPath,
    testing::Values(SystemCase{"Whole"}, SystemCase{.name = "NoSegments", .hasSegmentation = false},
                    SystemCase{.name = "NoManyAtOnce", .hasSendMany = false},
                    SystemCase{.name = "Neither", .hasSegmentation = false, .hasSendMany = false},
                    SystemCase{.name = "DeviceWithoutChecksum", .largestSegment = 0, .segmentError = EIO},
                    SystemCase{.name = "SmallDatagramsOnTheWay", .largestSegment = 30},
                    SystemCase{.name = "TakesFewAtOnce", .hasSegmentation = false, .mostMessages = 3}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(Transmitter, AFrameIsFewSystemCalls) {
    CFakeSystem system;
    Sending sending(0, {10, 12});
    sending.Use(system);
    const auto callsOf = [&](std::size_t bytes) {
        const auto before = sending.m_transmitter.Statistics().systemCalls;
        EXPECT_EQ(sending.Send(Pattern(bytes)), 0);
        return sending.m_transmitter.Statistics().systemCalls - before;
    };
    EXPECT_EQ(callsOf(1), 1u);
    EXPECT_EQ(callsOf(120 * kChunk), 1u);
    sending.m_chunkBytes = 1088;  // a message holds 59 of them
    EXPECT_EQ(callsOf(120 * 1088), 1u);
    system.m_largestSegment = 1000;
    callsOf(120 * 1088);
    EXPECT_EQ(callsOf(30 * 1088), 1u) << "cutting is given up where it was refused; 60 messages a call remain";
    EXPECT_EQ(system.m_arrivals.size(), 2u * (1 + 120 + 120 + 120 + 30));
}

TEST(Transmitter, WhatCannotLeaveAtAllDoesNotSpeakAgainstCutting) {
    CFakeSystem system;
    Sending sending(0, {10});
    sending.Use(system);
    system.m_error = EINVAL;
    system.m_errors = 5;  // the run and each of its four datagrams
    EXPECT_EQ(sending.Send(Pattern(4 * kChunk)), 0);
    EXPECT_EQ(sending.m_transmitter.Statistics().failures, 4u);
    const int before = system.m_messages;
    EXPECT_EQ(sending.Send(Pattern(4 * kChunk)), 0);
    EXPECT_EQ(system.m_messages - before, 1);
}

struct RefusalCase {
    const char* name;
    int error;
    int times;
    std::uint64_t lost;  // of 2 packets to 2 destinations
    bool usesPatienceUp;
};

void PrintTo(const RefusalCase& row, std::ostream* stream) {
    *stream << row.name;
}

class RefusedSend : public testing::TestWithParam<RefusalCase> {};

TEST_P(RefusedSend, IsCountedAndNotReported) {
    const RefusalCase& row = GetParam();
    CFakeSystem system;
    system.m_hasSegmentation = false;
    Sending sending(0, {10, 12});
    sending.Use(system);
    system.m_error = row.error;
    system.m_errors = row.times;
    const auto start = sending.m_clock.Now();
    EXPECT_EQ(sending.Send(Pattern(2 * kChunk)), 0);
    EXPECT_EQ(sending.m_transmitter.Statistics().failures, row.lost);
    EXPECT_EQ(sending.m_transmitter.Statistics().datagrams, 4 - row.lost);
    EXPECT_EQ(system.m_arrivals.size(), 4 - row.lost);
    EXPECT_EQ(sending.m_patience <= std::chrono::nanoseconds::zero(), row.usesPatienceUp);
    EXPECT_LE(sending.m_clock.Now() - start, qrn::kSendPatience);
    EXPECT_LE(system.m_messages, 250) << "no spinning";
    EXPECT_EQ(sending.m_sequence, static_cast<std::uint16_t>(65502));
    system.m_errors = 0;
    EXPECT_EQ(sending.Send(Pattern(2 * kChunk)), 0);
    EXPECT_EQ(sending.m_transmitter.Statistics().failures, row.lost) << "the next frame has patience of its own";
}

INSTANTIATE_TEST_SUITE_P(Errors, RefusedSend,
                         testing::Values(RefusalCase{"Interrupted", EINTR, 3, 0, false},
                                         RefusalCase{"NoRoomForAMoment", EAGAIN, 3, 0, false},
                                         RefusalCase{"NoRoomAtAll", EAGAIN, 1000000, 4, true},
                                         RefusalCase{"NoRoomInTheDevice", ENOBUFS, 1, 1, false},
                                         RefusalCase{"Forbidden", EPERM, 4, 4, false},
                                         RefusalCase{"NoRoute", ENETUNREACH, 2, 2, false}),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(Transmitter, ARefusedPacketEndsTheFrameAndTakesOneNumber) {
    CFakeSystem system;
    Sending sending(0, {10});
    sending.Use(system);
    sending.m_transmitter.SetMaxPacketSize(kChunk + 11);
    EXPECT_EQ(sending.Send(Pattern(3 * kChunk)), -11);
    EXPECT_EQ(sending.m_sequence, 65501);
    EXPECT_EQ(sending.Send(Pattern(kChunk - 1)), 0) << "its only packet is shorter";
    EXPECT_EQ(sending.m_sequence, 65502);
    EXPECT_EQ(system.m_arrivals.size(), 1u);
}

TEST(Transmitter, TheKernelTakesWhatTheFakeTakes) {
    CUdpPeer peer;
    for (const bool hasSegmentation : {true, false}) {
        Sending sending(5, {peer.Port()});
        auto socket = qrn::CSocket::Make();
        if (!hasSegmentation) {
            socket->LimitSegments(0);
        }
        sending.m_transmitter.UseSocket(socket);
        CFakeTransport transport;
        Sending oneByOne(5, {peer.Port()});
        oneByOne.m_transmitter.UseStream(&transport);
        sending.m_chunkBytes = oneByOne.m_chunkBytes = 500;
        const Bytes data = Pattern(25 * 500 + 1);
        ASSERT_EQ(sending.Send(data), 0);
        ASSERT_EQ(oneByOne.Send(data), 0);
        for (const CFakeTransport::Sent& sent : transport.m_sent) {
            EXPECT_EQ(peer.Receive(), sent.datagram);
        }
        EXPECT_EQ(sending.m_transmitter.Statistics().failures, 0u);
    }
}

TEST(Transmitter, ASocketThatWasTakenAwayLosesWhatItIsGiven) {
    CUdpPeer peer;
    Sending sending(0, {peer.Port()});
    auto socket = qrn::CSocket::Make();
    sending.m_transmitter.UseSocket(socket);
    socket->TakeAway();
    EXPECT_EQ(sending.Send(Pattern(10 * kChunk)), 0);
    EXPECT_EQ(sending.m_transmitter.Statistics().failures, 10u);
}

}  // namespace
