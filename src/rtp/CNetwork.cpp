#include "rtp/CNetwork.h"

#include <arpa/inet.h>
#include <poll.h>

#include <array>
#include <chrono>
#include <memory>

#include "platform/system/Log.h"
#include "qrn/QRN_Media2.h"
#include "rtp/LocalAddress.h"
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
    LogOpened();
    return qrn::kRtpOk;
}

void CNetwork::LogOpened() const {
    if (!qrn::IsLogged(qrn::LogLevel::kInfo, kLogArea)) {
        return;
    }
    in_addr address{};
    address.s_addr = htonl(LocalAddress());
    std::array<char, INET_ADDRSTRLEN> text{};
    ::inet_ntop(AF_INET, &address, text.data(), text.size());
    const char* how = "one by one";
    if (HasExternalTransport()) {
        how = "by the client's transport";
    } else if (m_session.Connection().Reader().HasOffload()) {
        how = "put together by the system";
    }
    qrn::Log(qrn::LogLevel::kInfo, kLogArea, "port %u: local address %s, interface %s, datagrams come %s", LocalPort(),
             text.data(), qrn::InterfaceOf(LocalAddress()).c_str(), how);
}

int CNetwork::OpenReceiver(std::uint32_t portWord, const char* localAddress, double timestampUnit, bool isSender,
                           const qrn::CEvent* stopEvent) {
    if (const int result = Open(portWord, localAddress, timestampUnit, isSender); result != qrn::kRtpOk) {
        return result;
    }
    if (!m_session.Connection().Reader().Prepare()) {
        return qrn::kRtpOutOfMemory;
    }
    m_stopEvent = stopEvent;
    if (!HasExternalTransport()) {
        m_readDescriptor = m_session.Connection().Descriptor();
    }
    m_waitPrepared = true;
    return qrn::kRtpOk;
}

int CNetwork::WaitForPacket(std::int32_t& length, RtpPacketInfo& info, std::uint32_t timeoutMs) {
    if (!m_waitPrepared) {
        return qrn::kRtpWaitFailed;
    }
    CRtpReader& reader = m_session.Connection().Reader();
    const bool isAtHand = reader.HasPending();
    if (!LooksStopped() && (isAtHand || (reader.ExpectsMore() && reader.TryRead()))) {
        return ReadPacket(length, info);
    }
    // An external stream that is not started has no descriptor yet: poll passes -1 over.
    std::array<pollfd, 2> descriptors{
        {{m_readDescriptor, POLLIN, 0}, {m_stopEvent != nullptr ? m_stopEvent->Descriptor() : -1, POLLIN, 0}}};
    const auto& [read, stop] = descriptors;
    const std::chrono::milliseconds timeout =
        timeoutMs == kForEver ? std::chrono::milliseconds(-1) : std::chrono::milliseconds(timeoutMs);
    reader.Counters().AddWait();
    const int ready = m_clock.Poll(descriptors, isAtHand ? std::chrono::milliseconds(0) : timeout);
    if (ready < 0) {
        return qrn::kRtpWaitFailed;
    }
    if (stop.revents != 0) {
        return qrn::kRtpStop;
    }
    if (isAtHand) {
        return ReadPacket(length, info);  // the event was cleared again
    }
    if (ready == 0) {
        return qrn::kRtpTimeout;
    }
    // The socket was closed, by the session that shares it.
    if ((read.revents & (POLLHUP | POLLNVAL)) != 0) {
        return qrn::kRtpStop;
    }
    const int result = ReadPacket(length, info);
    LogDatagramsWithoutRoom();
    return result;
}

int CNetwork::ReadPacket(std::int32_t& length, RtpPacketInfo& info) {
    const bool failed = m_session.Poll(length, info) != qrn::kRtpOk;
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

/// At the first one and then whenever there are twice as many.
void CNetwork::LogDatagramsWithoutRoom() {
    const std::uint64_t noRoom = m_session.Connection().Reader().Counters().NoRoom();
    if (noRoom == 0 || noRoom < 2 * m_toldNoRoom) {
        return;
    }
    m_toldNoRoom = noRoom;
    qrn::Log(qrn::LogLevel::kInfo, kLogArea, "port %u: %llu datagrams so far found the receive buffer full",
             LocalPort(), static_cast<unsigned long long>(noRoom));
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
