#include "platform/system/Event.h"
#include "rtp/CNetworkReceiver.h"
#include "rtp/CNetworkSender.h"
#include "rtp/RtpErrors.h"
#include "transport/Ends.h"

namespace qrn::bench {
namespace {

constexpr double kTimestampUnit = 0.000125;
constexpr std::uint8_t kPayloadType = 113;

class COurSender final : public ISendingEnd {
public:
    COurSender(std::uint16_t toPort, std::uint32_t parityGroup) {
        m_session.SetBufferSize(kSocketBufferBytes);
        m_session.SetParityGroup(parityGroup);
        Check(m_session.Open(0, "127.0.0.1", kTimestampUnit, true) == kRtpOk, "opening the sender");
        Check(m_session.AddDestination("127.0.0.1", toPort) == kRtpOk, "adding the destination");
    }
    void SendFrame(std::span<const std::uint8_t> frame, std::uint32_t timestamp) override {
        Check(m_session.SendFrame(frame, timestamp, kPayloadType) == kRtpOk, "sending a frame");
    }
    std::uint64_t Datagrams() const override {
        Check(m_session.Statistics().failures == 0, "sending every datagram");
        return m_session.Statistics().datagrams;
    }
    std::uint64_t SystemCalls() const override { return m_session.Statistics().systemCalls; }

private:
    CNetworkSender m_session;
};

class COurReceiver final : public IReceivingEnd {
public:
    explicit COurReceiver(std::uint32_t parityGroup) {
        m_session.SetBufferSize(kSocketBufferBytes);
        m_session.SetParityGroup(parityGroup);
        Check(m_session.OpenReceiver(0, "127.0.0.1", kTimestampUnit, false, &m_stop) == kRtpOk, "opening the receiver");
    }
    /// Is its user's, and stays so.
    ~COurReceiver() override { m_packet.m_data = nullptr; }
    COurReceiver(const COurReceiver&) = delete;
    COurReceiver& operator=(const COurReceiver&) = delete;

    std::uint16_t Port() const { return m_session.LocalPort(); }

    std::size_t ReceiveFrame(std::span<std::uint8_t> frame) override {
        m_packet.m_data = frame.data();
        m_packet.m_capacity = static_cast<std::uint32_t>(frame.size());
        m_packet.m_payloadType = kPayloadType;
        const bool isWhole = m_session.ReceiveFrame(m_packet, kPatienceMs) == kRtpComplete && m_packet.m_lost == 0;
        return isWhole ? m_packet.m_length : 0;
    }
    std::uint64_t Lost() const override {
        const ReceiveStatistics statistics = m_session.ReceiveStatistics();
        return statistics.noRoom + statistics.malformed + statistics.late + statistics.heldBack;
    }
    std::uint64_t SystemCalls() const override {
        return m_session.ReceiveStatistics().systemCalls + m_session.ReceiveStatistics().waits;
    }

private:
    const CEvent m_stop{EventReset::kManual};
    CNetworkReceiver m_session;
    CPacket m_packet;
};

}  // namespace

Transport MakeOurTransport(std::uint32_t parityGroup) {
    auto receiver = std::make_unique<COurReceiver>(parityGroup);
    auto sender = std::make_unique<COurSender>(receiver->Port(), parityGroup);
    return {std::move(receiver), std::move(sender)};
}

}  // namespace qrn::bench
