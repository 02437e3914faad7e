// A call through the real graphs and the SRTP transport, as a client that encrypts builds it.

#include <gtest/gtest.h>

#include <memory>
#include <optional>

#include "integration/AudioGraphs.h"
#include "qrn/srtp.h"

namespace qrn::test {
namespace {

constexpr AudioFormat kGsm{kQrnCodecGsm, 13, 1};
constexpr AudioFormat kOpus{kQrnCodecOpus, 64, 2};
/// Even, as every session's; with a transport it is no port of this machine.
constexpr std::uint16_t kNominalPort = 5000;

ComPtr<IQRN_SrtpTransport> MakeTransport(const char* sendKey, const char* receiveKey) {
    const QrnSrtpDestination here{"127.0.0.1", 0};
    QrnSrtpParameters parameters{};
    parameters.size = sizeof(parameters);
    parameters.localAddress = "127.0.0.1";
    parameters.destinations = &here;
    parameters.destinationCount = 1;
    BYTE keys[2][kQrnSrtpMaxKeyBytes];
    if (sendKey != nullptr) {
        EXPECT_EQ(QrnParseSrtpKey(sendKey, parameters.suite, keys[0], &parameters.sendKeyBytes), S_OK);
        parameters.sendKey = keys[0];
    }
    if (receiveKey != nullptr) {
        EXPECT_EQ(QrnParseSrtpKey(receiveKey, parameters.suite, keys[1], &parameters.receiveKeyBytes), S_OK);
        parameters.receiveKey = keys[1];
    }
    ComPtr<IQRN_SrtpTransport> transport;
    EXPECT_EQ(QrnCreateSrtpTransport(&parameters, transport.Put()), S_OK) << QrnLastSrtpError();
    return transport;
}

std::uint16_t PortOf(const ComPtr<IQRN_SrtpTransport>& transport) {
    DWORD port = 0;
    EXPECT_EQ(transport->GetLocalPort(&port), S_OK);
    return static_cast<std::uint16_t>(port);
}

QrnSrtpStatistics StatisticsOf(const ComPtr<IQRN_SrtpTransport>& transport) {
    QrnSrtpStatistics statistics{};
    EXPECT_EQ(transport->GetStatistics(&statistics), S_OK);
    return statistics;
}

constexpr const char* kKey = "4fl6DT4Bi+DWT6MsBt5BOQ7Gda1Jiv7rtpYLOqvm";
constexpr const char* kOtherKey = "5fl6DT4Bi+DWT6MsBt5BOQ7Gda1Jiv7rtpYLOqvm";

/// A receiving graph behind a transport, and senders that come and go.
class SrtpCall : public testing::Test {
protected:
    void Listen(const AudioFormat& format, const char* key = kKey, DWORD parityGroup = 0) {
        m_format = format;
        m_receiving = MakeTransport(nullptr, key);
        m_graph.emplace(format, kNominalPort, m_receiving->GetTransport(), parityGroup);
        m_graph->Run();
    }
    std::unique_ptr<CSendGraph> Call(const ComPtr<IQRN_SrtpTransport>& transport, DWORD parityGroup = 0) const {
        return std::make_unique<CSendGraph>(m_format, PortOf(m_receiving), transport->GetTransport(), parityGroup);
    }
    std::span<const std::int16_t> Packet(unsigned index) const {
        const std::size_t perPacket = std::size_t{m_format.PacketSamples()} * m_format.channels;
        return std::span(m_signal).subspan(index * perPacket, perPacket);
    }
    /// Speaks and waits until each packet is heard.
    void Talk(CSendGraph& sender, unsigned from, unsigned to) {
        m_signal = TestSignal(m_format, 40);
        for (unsigned i = from; i < to; ++i) {
            sender.Push(Packet(i), REFERENCE_TIME{10000} * i * m_format.PacketMs());
            ASSERT_TRUE(m_graph->WaitForPackets(++m_expected)) << "packet " << i << " was not heard";
        }
    }
    /// The same over the session's own sockets.
    static std::vector<std::int16_t> HeardWithoutTransport(const AudioFormat& format, unsigned packets) {
        const std::uint16_t port = FreeEvenPort();
        CReceiveGraph receiver(format, port);
        receiver.Run();
        CSendGraph sender(format, port);
        const std::vector<std::int16_t> signal = TestSignal(format, 40);
        const std::size_t perPacket = std::size_t{format.PacketSamples()} * format.channels;
        for (unsigned i = 0; i < packets; ++i) {
            sender.Push(std::span(signal).subspan(i * perPacket, perPacket),
                        REFERENCE_TIME{10000} * i * format.PacketMs());
            EXPECT_TRUE(receiver.WaitForPackets(i + 1));
        }
        return receiver.Heard();
    }

    AudioFormat m_format{};
    std::vector<std::int16_t> m_signal;
    ComPtr<IQRN_SrtpTransport> m_receiving;
    std::optional<CReceiveGraph> m_graph;
    std::size_t m_expected = 0;
};

TEST_F(SrtpCall, SoundsAsItDoesInTheClear) {
    Listen(kOpus);
    const auto transport = MakeTransport(kKey, nullptr);
    const auto sender = Call(transport);
    Talk(*sender, 0, 12);
    EXPECT_EQ(m_graph->Heard(), HeardWithoutTransport(kOpus, 12));
    EXPECT_EQ(m_graph->Received(), 12u);
    EXPECT_EQ(m_graph->Gaps(), 0u);
    EXPECT_EQ(StatisticsOf(transport).sent, 12u);
    EXPECT_EQ(StatisticsOf(m_receiving).received, 12u);
}

TEST_F(SrtpCall, GoesOnAfterStopsAndNewSenders) {
    Listen(kGsm);
    const auto transport = MakeTransport(kKey, nullptr);
    auto sender = Call(transport);
    Talk(*sender, 0, 4);
    m_graph->Stop();
    m_graph->Run();
    Talk(*sender, 4, 8);
    sender = nullptr;
    sender = Call(transport);  // of another SSRC, under the same key
    Talk(*sender, 8, 12);
    const auto other = MakeTransport(kKey, nullptr);
    sender = Call(other);  // and of another process, as it were
    Talk(*sender, 12, 16);
    EXPECT_EQ(StatisticsOf(m_receiving).sources, 3u);
    EXPECT_EQ(StatisticsOf(m_receiving).notAuthentic, 0u);
}

TEST_F(SrtpCall, ParityGoesAlongAndDisturbsNothing) {
    Listen(kGsm, kKey, 3);
    const auto transport = MakeTransport(kKey, nullptr);
    const auto sender = Call(transport, 3);
    Talk(*sender, 0, 12);
    EXPECT_EQ(m_graph->Received(), 12u);
    EXPECT_EQ(m_graph->Gaps(), 0u);
    EXPECT_EQ(StatisticsOf(transport).sent, 16u);
    EXPECT_EQ(StatisticsOf(transport).sendRefused, 0u);
    EXPECT_EQ(StatisticsOf(m_receiving).replayed, 0u);
    EXPECT_EQ(StatisticsOf(m_receiving).notAuthentic, 0u);
}

TEST_F(SrtpCall, IsNotHeardWithAnotherKey) {
    Listen(kGsm, kOtherKey);
    const auto transport = MakeTransport(kKey, nullptr);
    const auto sender = Call(transport);
    m_signal = TestSignal(m_format, 40);
    for (unsigned i = 0; i < 5; ++i) {
        sender->Push(Packet(i), 0);
    }
    // And then somebody who has the key: when that is heard, those before it were not.
    const auto rightful = MakeTransport(kOtherKey, nullptr);
    const auto second = Call(rightful);
    Talk(*second, 5, 6);
    EXPECT_EQ(m_graph->Received(), 1u);
    EXPECT_EQ(StatisticsOf(m_receiving).notAuthentic, 5u);
    EXPECT_EQ(StatisticsOf(m_receiving).sources, 1u);
}

}  // namespace
}  // namespace qrn::test
