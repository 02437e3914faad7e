#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <span>

#include "qrn/QRN_Media2.h"
#include "rtp/CRtpMulticastTable.h"
#include "rtp/CRtpParityCoder.h"
#include "rtp/CRtpReader.h"
#include "rtp/CRtpTransmitter.h"
#include "rtp/RtpPacket.h"
#include "rtp/Socket.h"

/// One UDP socket with its options, destinations and groups, or the external stream that stands in for it: builds the
/// packets that leave and reads and parses those that come.
///
/// One thread sends and one thread receives. Destinations, the parity group and the packet limit may change meanwhile;
/// opening, closing and the external stream's start and stop may not. Codes are those of rtp/RtpErrors.h.
class CRtpConnection {
public:
    /// Bytes of the socket's buffer unless set.
    static constexpr std::uint32_t kDefaultBufferBytes = 565535;

    /// @param clock  counts waits for room in the socket's buffer.
    explicit CRtpConnection(qrn::IClock& clock = qrn::SystemClock()) : m_transmitter(m_parity, clock) {}
    ~CRtpConnection();
    CRtpConnection(const CRtpConnection&) = delete;
    CRtpConnection& operator=(const CRtpConnection&) = delete;

    /// Counts only before the first open and only once.
    void TakeExternalTransport(IExternalTransport* transport);
    bool HasExternalTransport() const { return m_externalTransport != nullptr; }
    void SetBufferSize(std::uint32_t bytes) { m_bufferSize = bytes; }
    void SetSsrc(std::uint32_t ssrc) { m_transmitter.SetSsrc(ssrc); }

    /// @param port  even, 0 for any. @param localAddress  host order, 0 for any.
    /// @param publish  make a socket and give it into `sharedRecord`. @param sharedRecord  without `publish` the socket
    /// to use as it stands, with none in it -4; null for a session of its own.
    int Open(std::uint16_t port, std::uint32_t localAddress, bool publish, std::shared_ptr<qrn::CSocket>* sharedRecord,
             bool isSender);
    /// Leaves the groups and forgets the destinations. A shared socket is taken away from the other session too.
    void Close();
    bool IsOpen() const { return m_open; }

    /// As CRtpTransmitter::SendPackets. @return -12 also when not open.
    int SendPackets(qrn::OutgoingFrame& frame, std::size_t mostPackets, std::uint16_t& sequence) {
        return m_transmitter.SendPackets(frame, mostPackets, sequence);
    }
    CRtpTransmitter& Transmitter() { return m_transmitter; }
    const CRtpTransmitter& Transmitter() const { return m_transmitter; }

    /// As CRtpReader::Poll.
    int Poll(std::int32_t& length, RtpPacketInfo& info) { return m_reader.Poll(length, info); }
    CRtpReader& Reader() { return m_reader; }
    const CRtpReader& Reader() const { return m_reader; }

    int AddDestination(std::uint32_t addressNetworkOrder, std::uint16_t port);
    int RemoveDestination(std::uint32_t addressNetworkOrder, std::uint16_t port);
    /// @param group  host order.
    int JoinGroup(std::uint32_t group);
    int LeaveGroup(std::uint32_t group);
    int SetMulticastTtl(std::uint32_t ttl);
    int SetMulticastLoop(bool on);
    int SetTos(std::uint32_t tos);
    void SetMaxPacketSize(std::int32_t bytes) { m_transmitter.SetMaxPacketSize(bytes); }
    /// 0 switches parity off.
    void SetParityGroup(std::uint32_t groupSize);

    /// Makes the external transport's stream if it is not there yet.
    /// @return the descriptor to wait on for reading, -1 when the transport gave no stream.
    int StartExternal(DWORD mode);
    void StopExternal();

    /// The descriptor to wait on for reading; -1 when not open.
    int Descriptor() const { return m_socket != nullptr ? m_socket->Descriptor() : -1; }
    /// The port that the socket is bound to, host order; the one given at the opening where the external transport has
    /// the traffic; 0 while not open.
    std::uint16_t LocalPort() const;
    /// What the system granted, as it was asked for; 0 without a socket that the traffic goes through. A shared socket
    /// answers for the side that it is asked for.
    std::uint32_t BufferBytes(bool isSender) const;
    /// Host order.
    std::uint32_t LocalAddress() const { return m_localAddress; }

private:
    int MakeSocket(std::uint16_t port, std::uint32_t localAddress, bool isSender);
    static bool BindSocket(qrn::CSocket& socket, std::uint16_t port, std::uint32_t localAddress);
    bool SetSocketBuffer(qrn::CSocket& socket, bool isSender) const;
    int SetSenderOptions(std::uint32_t localAddress);
    int SetGroupMembership(int option, std::uint32_t group);

    bool m_open = false;
    std::atomic<bool> m_parityOn{false};
    std::uint32_t m_localAddress = 0;
    IExternalTransport* m_externalTransport = nullptr;
    IExternalStream* m_stream = nullptr;
    std::uint16_t m_localPort = 0;
    std::uint32_t m_bufferSize = kDefaultBufferBytes;
    std::shared_ptr<qrn::CSocket> m_socket;
    CRtpMulticastTable m_groups;
    CRtpParityCoder m_parity;
    CRtpReader m_reader{m_parity};  // of the receiving thread
    CRtpTransmitter m_transmitter;
};
