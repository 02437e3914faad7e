#pragma once

#include <cstdint>
#include <memory>
#include <span>

#include "rtp/CRtpConnection.h"
#include "rtp/CRtpSequenceTracker.h"

/// A connection with the state of an RTP session: its identifier, the numbers of the packets it sends and the extension
/// of the numbers it receives. Threads as CRtpConnection. Codes are those of rtp/RtpErrors.h; every operation answers
/// -25 while the session is not created.
class CRtpSession {
public:
    explicit CRtpSession(qrn::IClock& clock = qrn::SystemClock()) : m_connection(clock) {}
    CRtpSession(const CRtpSession&) = delete;
    CRtpSession& operator=(const CRtpSession&) = delete;

    /// Opens the connection and draws the SSRC and the first sequence number. @return -26 when created already, else as
    /// CRtpConnection::Open.
    int Create(IExternalTransport* externalTransport, std::uint16_t port, std::uint32_t localAddress, bool publish,
               std::shared_ptr<qrn::CSocket>* sharedRecord, bool isSender);
    int Destroy();
    bool IsCreated() const { return m_created; }

    /// The next packets of a frame to each destination. The sequence number grows also for a packet that was refused as
    /// too long. @param mostPackets  at most so many.
    int Send(qrn::OutgoingFrame& frame, std::size_t mostPackets);
    /// As CRtpConnection::Poll, and extends the sequence number. With nothing pending the result is 0 and `info` stays
    /// the packet that it was.
    int Poll(std::int32_t& length, RtpPacketInfo& info);

    /// Bytes of a whole packet. May come before Create. @return -13 below 300, -31 above 65535.
    int SetMaxPacketSize(std::int32_t bytes);

    int AddDestination(std::uint32_t addressNetworkOrder, std::uint16_t port);
    int RemoveDestination(std::uint32_t addressNetworkOrder, std::uint16_t port);
    /// @param group  host order.
    int JoinGroup(std::uint32_t group);
    int LeaveGroup(std::uint32_t group);
    int SetMulticastTtl(std::uint32_t ttl);
    int SetMulticastLoop(bool on);
    int SetTos(std::uint32_t tos);

    CRtpConnection& Connection() { return m_connection; }
    const CRtpConnection& Connection() const { return m_connection; }

private:
    /// A new source starts a new number space.
    void ExtendSequence(RtpPacketInfo& info);

    bool m_created = false;
    CRtpConnection m_connection;
    std::uint16_t m_nextSequence = 0;
    std::uint32_t m_lastSsrc = 0;
    CRtpSequenceTracker m_tracker;
};
