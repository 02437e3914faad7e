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

in_addr_t AddressOf(const char* text) {
    return text != nullptr ? ::inet_addr(text) : INADDR_NONE;
}

std::uint8_t PayloadTypeOfVideoCodec(std::uint32_t codecIndex) {
    switch (codecIndex) {
        case 3:
            return qrn::kPayloadTheora;
        case 4:
            return qrn::kPayloadH264;
        case 5:
            return qrn::kPayloadVc1;
        case 6:
            return qrn::kPayloadVp8;
        default:
            return qrn::kPayloadVideo;
    }
}

}  // namespace

CNetworkSender::CNetworkSender(qrn::IClock& clock) : CNetwork(clock), m_payloadSize(kDefaultPayloadBytes) {
    Session().SetMaxPacketSize(kDefaultPayloadBytes + qrn::kRtpHeaderBytes);
}

int CNetworkSender::SendSingle(std::span<const std::uint8_t> data, std::uint32_t timestamp) {
    return Session().Send(data, qrn::kPayloadAudio, true, timestamp);
}

int CNetworkSender::SendFrame(std::span<const std::uint8_t> data, std::uint32_t timestamp, std::uint8_t payloadType) {
    const std::int32_t payloadSize = m_payloadSize;
    if (payloadSize <= 0) {
        return qrn::kRtpOk;
    }
    const auto chunkBytes = static_cast<std::size_t>(payloadSize);
    for (std::size_t at = 0; at < data.size(); at += chunkBytes) {
        const std::span<const std::uint8_t> chunk = data.subspan(at, std::min(chunkBytes, data.size() - at));
        const bool isLast = at + chunk.size() == data.size();
        const std::uint32_t framed = at == 0 ? timestamp & ~1u : timestamp | 1u;
        if (const int result = Session().Send(chunk, payloadType, isLast, framed); result < 0) {
            return result;
        }
    }
    return qrn::kRtpOk;
}

int CNetworkSender::SendVideoFrame(std::span<const std::uint8_t> data, std::uint32_t timestamp) {
    SendFrame(data, timestamp, PayloadTypeOfVideoCodec(CodecIndex()));
    return qrn::kRtpOk;
}

int CNetworkSender::AddDestination(const char* addressText, std::uint32_t port) {
    const in_addr_t address = AddressOf(addressText);
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
