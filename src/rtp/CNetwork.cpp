#include "rtp/CNetwork.h"

#include <arpa/inet.h>
#include <poll.h>

#include <array>
#include <chrono>
#include <memory>

#include "platform/system/Log.h"
#include "qrn/QRN_Media2.h"
#include "rtp/RtpErrors.h"
#include "rtp/SharedSockets.h"
#include "runtime/exceptions.h"

namespace {

constexpr const char* kLogArea = "rtp";
constexpr std::uint32_t kPortMask = 0x0000FFFF;
constexpr std::uint32_t kPublishMask = kQrnPortPublishAudio | kQrnPortPublishVideo;
constexpr std::uint32_t kForEver = 0xFFFFFFFF;

std::shared_ptr<qrn::CSocket> ReadSharedRecord(std::uint32_t portWord) {
    std::shared_ptr<qrn::CSocket> record;
    if ((portWord & kQrnPortTakeAudio) != 0) {
        record = qrn::FindSharedSocket(qrn::SharedSocketName::kAudio);
    }
    if ((portWord & kQrnPortTakeVideo) != 0) {
        record = qrn::FindSharedSocket(qrn::SharedSocketName::kVideo);
    }
    return record;
}

void WriteSharedRecord(std::uint32_t portWord, const std::shared_ptr<qrn::CSocket>& record) {
    if ((portWord & kQrnPortPublishAudio) != 0) {
        qrn::PublishSharedSocket(qrn::SharedSocketName::kAudio, record);
    }
    if ((portWord & kQrnPortPublishVideo) != 0) {
        qrn::PublishSharedSocket(qrn::SharedSocketName::kVideo, record);
    }
}

}  // namespace

CNetwork::~CNetwork() {
    m_session.Destroy();
}

int CNetwork::Open(std::uint32_t portWord, const char* localAddress, double /*timestampUnit*/, bool isSender) {
    if (localAddress == nullptr) {
        throw exc_CNetwork(L"CNetwork", 79, "No local address.", 0);
    }
    const in_addr_t address = ::inet_addr(localAddress);
    if (address == INADDR_NONE) {
        throw exc_CNetwork(L"CNetwork", 85, "Invalid local address.", 0);
    }
    std::shared_ptr<qrn::CSocket> record = ReadSharedRecord(portWord);
    const bool isShared = (portWord & ~kPortMask) != 0;
    const int result =
        m_session.Create(m_externalTransport, static_cast<std::uint16_t>(portWord & kPortMask), ntohl(address),
                         (portWord & kPublishMask) != 0, isShared ? &record : nullptr, isSender);
    if (result != qrn::kRtpOk) {
        const char* text = qrn::RtpErrorText(result);
        qrn::Log(qrn::LogLevel::kWarn, kLogArea, "cannot open port %u on %s: %s (%d)", portWord & kPortMask,
                 localAddress, text != nullptr ? text : "unknown failure", result);
        return result;
    }
    WriteSharedRecord(portWord, record);
    m_opened = true;
    return qrn::kRtpOk;
}

int CNetwork::OpenReceiver(std::uint32_t portWord, const char* localAddress, double timestampUnit, bool isSender,
                           const qrn::CEvent* stopEvent) {
    if (const int result = Open(portWord, localAddress, timestampUnit, isSender); result != qrn::kRtpOk) {
        return result;
    }
    m_stopDescriptor = stopEvent != nullptr ? stopEvent->Descriptor() : -1;
    if (!HasExternalTransport()) {
        m_readDescriptor = m_session.Connection().Descriptor();
    }
    m_waitPrepared = true;
    return qrn::kRtpOk;
}

int CNetwork::WaitForPacket(std::span<std::uint8_t> buffer, std::int32_t& length, RtpPacketInfo& info,
                            std::uint32_t timeoutMs) {
    if (!m_waitPrepared) {
        return qrn::kRtpWaitFailed;
    }
    // An external stream that is not started has no descriptor yet: poll passes -1 over.
    std::array<pollfd, 2> descriptors{{{m_readDescriptor, POLLIN, 0}, {m_stopDescriptor, POLLIN, 0}}};
    const auto& [read, stop] = descriptors;
    const std::chrono::milliseconds timeout =
        timeoutMs == kForEver ? std::chrono::milliseconds(-1) : std::chrono::milliseconds(timeoutMs);
    const int ready = m_clock.Poll(descriptors, timeout);
    if (ready < 0) {
        return qrn::kRtpWaitFailed;
    }
    if (stop.revents != 0) {
        return qrn::kRtpStop;
    }
    if (ready == 0) {
        return qrn::kRtpTimeout;
    }
    // The socket was closed, by the session that shares it.
    if ((read.revents & (POLLHUP | POLLNVAL)) != 0) {
        return qrn::kRtpStop;
    }
    return ReadPacket(buffer, length, info);
}

int CNetwork::ReadPacket(std::span<std::uint8_t> buffer, std::int32_t& length, RtpPacketInfo& info) {
    const bool failed = m_session.Poll(buffer, length, info) != qrn::kRtpOk;
    if (failed && !m_lastParseFailed) {
        qrn::Log(qrn::LogLevel::kWarn, kLogArea, "port %u: what arrives is no RTP packet", LocalPort());
    }
    m_lastParseFailed = failed;
    // The second: nothing was pending, and no earlier packet is there to be looked at again.
    if (failed || info.payload == nullptr) {
        return qrn::kRtpNoData;
    }
    return qrn::kRtpComplete;
}

void CNetwork::StartExternal() {
    if (HasExternalTransport()) {
        m_readDescriptor = m_session.Connection().StartExternal(m_externalMode);
    }
}

void CNetwork::StopExternal() {
    if (HasExternalTransport()) {
        m_session.Connection().StopExternal();
        m_readDescriptor = -1;
    }
}
