#include "rtp/CRtpSession.h"

#include <random>

#include "rtp/RtpErrors.h"

int CRtpSession::Create(IExternalTransport* externalTransport, std::uint16_t port, std::uint32_t localAddress,
                        bool publish, std::shared_ptr<qrn::CSocket>* sharedRecord, bool isSender) {
    if (m_created) {
        return qrn::kRtpSessionAlreadyCreated;
    }
    m_connection.TakeExternalTransport(externalTransport);
    if (const int result = m_connection.Open(port, localAddress, publish, sharedRecord, isSender);
        result != qrn::kRtpOk) {
        return result;
    }
    // The system's own source: sessions created in the same second, here or on another machine, differ, which a
    // generator seeded with the time does not promise (RFC 3550 section 8.1).
    std::random_device random;
    m_connection.SetSsrc(random());
    m_nextSequence = static_cast<std::uint16_t>(random());
    m_created = true;
    return qrn::kRtpOk;
}

int CRtpSession::Destroy() {
    if (!m_created) {
        return qrn::kRtpSessionNotCreated;
    }
    m_created = false;
    m_connection.Close();
    return qrn::kRtpOk;
}

int CRtpSession::Send(qrn::OutgoingFrame& frame, std::size_t mostPackets) {
    return m_created ? m_connection.SendPackets(frame, mostPackets, m_nextSequence) : qrn::kRtpSessionNotCreated;
}

int CRtpSession::Poll(std::int32_t& length, RtpPacketInfo& info) {
    if (!m_created) {
        return qrn::kRtpSessionNotCreated;
    }
    const int result = m_connection.Poll(length, info);
    if (result == qrn::kRtpOk && info.payload != nullptr) {
        ExtendSequence(info);
    }
    return result;
}

void CRtpSession::ExtendSequence(RtpPacketInfo& info) {
    if (m_lastSsrc != 0 && m_lastSsrc != info.ssrc) {
        m_tracker.Reset();
    }
    m_lastSsrc = info.ssrc;
    info.extendedSequence = m_tracker.Extend(static_cast<std::uint16_t>(info.sequence));
}

int CRtpSession::SetMaxPacketSize(std::int32_t bytes) {
    if (bytes < qrn::kSmallestMaxPacketBytes) {
        return qrn::kRtpPacketLimitTooSmall;
    }
    if (bytes > qrn::kLargestMaxPacketBytes) {
        return qrn::kRtpPacketLimitTooLarge;
    }
    m_connection.SetMaxPacketSize(bytes);
    return qrn::kRtpOk;
}

int CRtpSession::AddDestination(std::uint32_t addressNetworkOrder, std::uint16_t port) {
    return m_created ? m_connection.AddDestination(addressNetworkOrder, port) : qrn::kRtpSessionNotCreated;
}

int CRtpSession::RemoveDestination(std::uint32_t addressNetworkOrder, std::uint16_t port) {
    return m_created ? m_connection.RemoveDestination(addressNetworkOrder, port) : qrn::kRtpSessionNotCreated;
}

int CRtpSession::JoinGroup(std::uint32_t group) {
    return m_created ? m_connection.JoinGroup(group) : qrn::kRtpSessionNotCreated;
}

int CRtpSession::LeaveGroup(std::uint32_t group) {
    return m_created ? m_connection.LeaveGroup(group) : qrn::kRtpSessionNotCreated;
}

int CRtpSession::SetMulticastLoop(bool on) {
    return m_created ? m_connection.SetMulticastLoop(on) : qrn::kRtpSessionNotCreated;
}

int CRtpSession::SetMulticastTtl(std::uint32_t ttl) {
    return m_created ? m_connection.SetMulticastTtl(ttl) : qrn::kRtpSessionNotCreated;
}

int CRtpSession::SetTos(std::uint32_t tos) {
    return m_created ? m_connection.SetTos(tos) : qrn::kRtpSessionNotCreated;
}
