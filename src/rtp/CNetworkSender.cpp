#include "rtp/CNetworkSender.h"

#include <arpa/inet.h>

#include <algorithm>

#include "platform/system/Log.h"
#include "rtp/RtpErrors.h"

namespace {

constexpr std::int32_t kDefaultPayloadBytes = qrn::kDefaultMaxPacketBytes - qrn::kRtpHeaderBytes;
constexpr std::int32_t kSmallestPayloadBytes = 12;
constexpr std::int32_t kSmallestParityPayloadBytes = 24;
/// Room that the parity header needs above the media header's.
constexpr std::int32_t kParityMarginBytes = qrn::kParityHeaderBytes - qrn::kRtpHeaderBytes;

constexpr int kStuffingTtl = 5;
constexpr std::size_t kAllPackets = SIZE_MAX;

in_addr_t AddressOf(const char* text) {
    return text != nullptr ? ::inet_addr(text) : INADDR_NONE;
}

}  // namespace

CNetworkSender::CNetworkSender(qrn::IClock& clock)
    : CNetwork(clock),
      m_payloadSize(kDefaultPayloadBytes),
      m_stuffingSocket(qrn::CSocket::Make()) {
    Session().SetMaxPacketSize(kDefaultPayloadBytes + qrn::kRtpHeaderBytes);
    if (m_stuffingSocket != nullptr) {
        m_stuffingSocket->SetOption(IPPROTO_IP, IP_MULTICAST_TTL, kStuffingTtl);
    }
}

int CNetworkSender::SendSingle(std::span<const std::uint8_t> data, std::uint32_t timestamp) {
    qrn::OutgoingFrame packet{data, data.size(), timestamp, qrn::kPayloadAudio, false};
    return Session().Send(packet, 1);
}

int CNetworkSender::SendFrame(std::span<const std::uint8_t> data, std::uint32_t timestamp, std::uint8_t payloadType) {
    const std::int32_t payloadSize = m_payloadSize;
    if (payloadSize <= 0 || data.empty()) {
        return qrn::kRtpOk;
    }
    qrn::OutgoingFrame frame{data, static_cast<std::size_t>(payloadSize), timestamp, payloadType};
    return Session().Send(frame, kAllPackets);
}

int CNetworkSender::SendVideoFrame(std::span<const std::uint8_t> data, std::uint32_t timestamp) {
    SendFrame(data, timestamp, qrn::PayloadTypeOfVideo(CodecIndex()));
    if (StuffingBytes() >= 1) {
        const auto payloadBytes = static_cast<std::size_t>(PayloadSize());
        std::chrono::nanoseconds patience = qrn::kSendPatience;
        SendStuffing(data, payloadBytes, CountStuffing(data.size(), payloadBytes), patience);
    }
    return qrn::kRtpOk;
}

void CNetworkSender::SetStuffing(std::int32_t bytesPerFrame, std::uint32_t port) {
    m_stuffingPort = port;
    m_stuffingBytes = bytesPerFrame;
}

std::size_t CNetworkSender::CountStuffing(std::size_t sentBytes, std::size_t payloadBytes) {
    const auto sent = static_cast<std::int64_t>(std::min<std::size_t>(sentBytes, INT32_MAX));
    std::int64_t deficit = m_stuffingBytes - sent;
    if (deficit < 1) {
        m_stuffingDebt = static_cast<std::int32_t>(std::min<std::int64_t>(-deficit, INT32_MAX));
        return 0;
    }
    if (m_stuffingDebt > 0) {
        deficit -= m_stuffingDebt;
        m_stuffingDebt = 0;
    }
    return deficit > 0 && payloadBytes > 0 ? static_cast<std::size_t>(deficit) / payloadBytes : 0;
}

void CNetworkSender::SendStuffing(std::span<const std::uint8_t> data, std::size_t payloadBytes, std::size_t datagrams,
                                  std::chrono::nanoseconds& patience) {
    const std::uint32_t address = m_stuffingAddress;
    if (address == 0 || m_stuffingSocket == nullptr) {
        return;
    }
    const sockaddr_in target = qrn::SocketAddress(address, htons(static_cast<std::uint16_t>(m_stuffingPort.load())));
    Session().Connection().Transmitter().SendRaw(*m_stuffingSocket, target, data, payloadBytes, datagrams, patience);
}

int CNetworkSender::AddDestination(const char* addressText, std::uint32_t port) {
    const in_addr_t address = AddressOf(addressText);
    m_stuffingAddress = address;
    if (address == INADDR_NONE) {
        qrn::Log(qrn::LogLevel::kWarn, "rtp", "destination \"%s\" is no address: nothing will arrive anywhere",
                 addressText != nullptr ? addressText : "");
    }
    return Session().AddDestination(address, static_cast<std::uint16_t>(port));
}

int CNetworkSender::RemoveDestination(const char* addressText, std::uint32_t port) {
    return Session().RemoveDestination(AddressOf(addressText), static_cast<std::uint16_t>(port));
}

int CNetworkSender::SetPacketLimit(std::int32_t bytes) {
    std::int32_t payloadSize = m_payloadSize;
    if (bytes > 0) {
        payloadSize = bytes - qrn::kRtpHeaderBytes;
    }
    if (payloadSize < kSmallestPayloadBytes) {
        payloadSize = kDefaultPayloadBytes;
    }
    // Stored before the limit is judged: a request of 299 leaves a payload size of 287 under the old limit.
    m_payloadSize = payloadSize;
    return Session().SetMaxPacketSize(payloadSize + qrn::kRtpHeaderBytes);
}

int CNetworkSender::SetParityGroup(std::uint32_t groupSize) {
    Session().Connection().SetParityGroup(groupSize);
    if (groupSize == 0) {
        return qrn::kRtpOk;
    }
    std::int32_t payloadSize = m_payloadSize - kParityMarginBytes;
    if (payloadSize < kSmallestParityPayloadBytes) {
        payloadSize = kDefaultPayloadBytes - kParityMarginBytes;
    }
    m_payloadSize = payloadSize;
    return Session().SetMaxPacketSize(payloadSize + qrn::kParityHeaderBytes);
}
