#include "rtp/CRtpConnection.h"

#include <arpa/inet.h>
#include <sys/socket.h>

#include <algorithm>
#include <utility>

#include "platform/system/Log.h"
#include "rtp/LocalAddress.h"
#include "rtp/RtpErrors.h"

namespace {

constexpr const char* kLogArea = "rtp";

/// A packet of the largest size and the parity packet that may take its place.
constexpr std::size_t kSendBufferBytes = 65536;

/// Datagrams that one poll may throw away (empty ones, parity packets) before it gives up, so that a flood of them
/// cannot hold the receiving thread.
constexpr int kMostDiscardedPerPoll = 256;

/// The system charges a datagram's bookkeeping, up to some 4 KiB, to the receive buffer. An owner's figure is in bytes
/// of payload, ten packets of it; of small audio packets the system would then hold two.
constexpr std::uint32_t kSmallestReceiveBuffer = 32768;

}  // namespace

CRtpConnection::~CRtpConnection() {
    Close();
}

void CRtpConnection::TakeExternalTransport(IExternalTransport* transport) {
    if (m_externalTransport == nullptr) {
        m_externalTransport = transport;
    }
}

int CRtpConnection::Open(std::uint16_t port, std::uint32_t localAddress, bool publish,
                         std::shared_ptr<qrn::CSocket>* sharedRecord, bool isSender) {
    if (m_open) {
        return qrn::kRtpConnectionAlreadyCreated;
    }
    if (publish || sharedRecord == nullptr) {
        if (const int result = MakeSocket(port, localAddress, isSender); result != qrn::kRtpOk) {
            return result;
        }
        if (sharedRecord != nullptr) {
            *sharedRecord = m_socket;
        }
    } else {
        // Used as it stands: the publisher has bound it and set its options.
        if (*sharedRecord == nullptr) {
            return qrn::kRtpNoSocket;
        }
        m_socket = *sharedRecord;
    }
    m_localAddress = localAddress != 0 ? localAddress : qrn::FindLocalAddress();
    if (m_localAddress == 0) {
        m_socket.reset();
        m_open = false;
        return qrn::kRtpNoLocalAddress;
    }
    m_open = true;
    m_localPort = port;
    return qrn::kRtpOk;
}

int CRtpConnection::MakeSocket(std::uint16_t port, std::uint32_t localAddress, bool isSender) {
    if (port % 2 != 0) {
        return qrn::kRtpPortNotEven;
    }
    std::shared_ptr<qrn::CSocket> socket = qrn::CSocket::Make();
    if (socket == nullptr) {
        return qrn::kRtpNoSocket;
    }
    if (!HasExternalTransport()) {
        if (!SetSocketBuffer(*socket, isSender)) {
            return qrn::kRtpSocketBufferFailed;
        }
        socket->SetOption(SOL_SOCKET, SO_REUSEADDR, 1);
        if (!socket->Bind(qrn::SocketAddress(htonl(localAddress), htons(port)))) {
            return qrn::kRtpBindFailed;
        }
    }
    m_socket = std::move(socket);
    m_open = true;
    return isSender && !HasExternalTransport() ? SetSenderOptions(localAddress) : qrn::kRtpOk;
}

bool CRtpConnection::SetSocketBuffer(qrn::CSocket& socket, bool isSender) const {
    const int option = isSender ? SO_SNDBUF : SO_RCVBUF;
    const std::uint32_t asked = isSender ? m_bufferSize : std::max(m_bufferSize, kSmallestReceiveBuffer);
    if (!socket.SetOption(SOL_SOCKET, option, static_cast<int>(std::min<std::uint32_t>(asked, INT32_MAX)))) {
        return false;
    }
    // The system doubles what it grants and caps it without a word.
    qrn::Log(qrn::LogLevel::kInfo, kLogArea, "%s buffer: asked for %u bytes, granted %d", isSender ? "send" : "receive",
             asked, socket.GetOption(SOL_SOCKET, option) / 2);
    return true;
}

int CRtpConnection::SetSenderOptions(std::uint32_t localAddress) {
    if (!m_socket->SetOption(IPPROTO_IP, IP_MULTICAST_TTL, 1)) {
        m_socket.reset();
        m_open = false;
        return qrn::kRtpMulticastTtlFailed;
    }
    // A failure leaves the connection open, though its session is not created: it is closed with the session's object.
    in_addr interfaceAddress{};
    interfaceAddress.s_addr = htonl(localAddress);
    const bool set = m_socket->SetOption(IPPROTO_IP, IP_MULTICAST_IF, &interfaceAddress, sizeof(interfaceAddress));
    return set ? qrn::kRtpOk : qrn::kRtpMulticastInterfaceFailed;
}

void CRtpConnection::Close() {
    StopExternal();
    if (m_open) {
        for (const std::uint32_t group : m_groups.Groups()) {
            SetGroupMembership(IP_DROP_MEMBERSHIP, group);
        }
    }
    if (m_socket != nullptr) {
        m_socket->TakeAway();
        m_socket.reset();
    }
    m_open = false;
    m_groups.Clear();
    m_destinations.Clear();
    m_maxPacketSize = qrn::kDefaultMaxPacketBytes;
}

int CRtpConnection::SendPacket(std::span<const std::uint8_t> payload, std::uint8_t payloadType, bool marker,
                               std::uint16_t sequence, std::uint32_t timestamp) {
    if (!m_open) {
        return qrn::kRtpNotOpened;
    }
    if (payload.empty()) {
        return qrn::kRtpOk;
    }
    const std::size_t packetBytes = payload.size() + qrn::kRtpHeaderBytes;
    if (packetBytes > static_cast<std::size_t>(m_maxPacketSize.load())) {
        return qrn::kRtpPacketTooLarge;
    }
    m_sendBuffer.resize(kSendBufferBytes);
    qrn::BuildRtpPacket(m_sendBuffer, {payloadType, marker, sequence, timestamp, m_ssrc}, payload);
    m_destinations.Refresh(m_targets, m_targetsVersion);

    auto length = static_cast<std::int32_t>(packetBytes);
    const auto datagram = [&] { return std::span(m_sendBuffer).first(static_cast<std::size_t>(length)); };
    for (const CRtpDestinationList::Entry& target : m_targets) {
        Transmit(datagram(), target);
        // The buffer is not built again between destinations: once the group is full, those that follow get the parity
        // packet in the media packet's place. Parity is meant for one destination.
        if (m_parityOn && m_parity.AddPacket(m_sendBuffer, length, timestamp) > 0) {
            Transmit(datagram(), target);
        }
    }
    return qrn::kRtpOk;
}

void CRtpConnection::Transmit(std::span<const std::uint8_t> datagram, const CRtpDestinationList::Entry& destination) {
    if (!HasExternalTransport()) {
        m_socket->Send(datagram, qrn::SocketAddress(destination.address, destination.rtpPort));
    } else if (m_stream != nullptr) {
        m_stream->Send(datagram.data(), static_cast<std::int32_t>(datagram.size()), 0, ntohs(destination.rtpPort));
    }
}

int CRtpConnection::Poll(std::span<std::uint8_t> buffer, std::int32_t& length, RtpPacketInfo& info) {
    if (buffer.data() == nullptr || buffer.size() < qrn::kReceiveBufferBytes) {
        return qrn::kRtpFailed;
    }
    std::size_t bytes = 0;
    const int result = HasExternalTransport() ? ReadExternal(buffer, bytes) : ReadSocket(buffer, bytes);
    if (result != qrn::kRtpOk || bytes == 0) {
        return result;
    }
    if (ParseRtpPacket(buffer.data(), static_cast<std::int32_t>(bytes), info) != 0) {
        return qrn::kRtpFailed;
    }
    length = static_cast<std::int32_t>(bytes);
    return qrn::kRtpOk;
}

int CRtpConnection::ReadSocket(std::span<std::uint8_t> buffer, std::size_t& bytes) {
    if (!m_open) {
        return qrn::kRtpNotOpened;
    }
    // Reads without asking for the pending size first: that size is 0 for an empty datagram too, which would then stay
    // at the head of the socket's queue and wake the thread for ever.
    for (int discarded = 0; discarded < kMostDiscardedPerPoll; ++discarded) {
        std::size_t read = 0;
        switch (m_socket->Receive(buffer, read)) {
            case qrn::ReadOutcome::kNothingPending:
                return qrn::kRtpOk;
            case qrn::ReadOutcome::kData:
                if (!IsKeptByParity(buffer.first(read))) {
                    bytes = read;
                    return qrn::kRtpOk;
                }
                break;
            case qrn::ReadOutcome::kEmptyDatagram:
            case qrn::ReadOutcome::kFailed:  // the read has taken the socket's error away
                break;
        }
    }
    return qrn::kRtpOk;  // as if nothing had been pending: what else waits comes with the next call
}

int CRtpConnection::ReadExternal(std::span<std::uint8_t> buffer, std::size_t& bytes) {
    if (m_stream == nullptr) {
        return qrn::kRtpOk;
    }
    const auto capacity = static_cast<std::int32_t>(qrn::kReceiveBufferBytes);
    DWORD info[2]{};
    const std::int32_t read = m_stream->Receive(buffer.data(), capacity, info);
    if (read > capacity) {
        return qrn::kRtpFailed;
    }
    if (read > 0 && !IsKeptByParity(buffer.first(static_cast<std::size_t>(read)))) {
        bytes = static_cast<std::size_t>(read);
    }
    return qrn::kRtpOk;
}

bool CRtpConnection::IsKeptByParity(std::span<const std::uint8_t> datagram) const {
    return m_parityOn && m_parity.OnPacketReceived(datagram) < 1;
}

int CRtpConnection::AddDestination(std::uint32_t addressNetworkOrder, std::uint16_t port) {
    return m_destinations.Add(addressNetworkOrder, port);
}

int CRtpConnection::RemoveDestination(std::uint32_t addressNetworkOrder, std::uint16_t port) {
    return m_destinations.Remove(addressNetworkOrder, port);
}

int CRtpConnection::JoinGroup(std::uint32_t group) {
    if (HasExternalTransport()) {
        return qrn::kRtpOk;
    }
    if (!m_open) {
        return qrn::kRtpNotOpened;
    }
    if (!IN_MULTICAST(group)) {
        return qrn::kRtpNotMulticastAddress;
    }
    if (const int result = m_groups.Insert(group); result != qrn::kRtpOk) {
        return result;
    }
    if (SetGroupMembership(IP_ADD_MEMBERSHIP, group) != qrn::kRtpOk) {
        m_groups.Remove(group);
        return qrn::kRtpJoinFailed;
    }
    return qrn::kRtpOk;
}

int CRtpConnection::LeaveGroup(std::uint32_t group) {
    if (HasExternalTransport()) {
        return qrn::kRtpOk;
    }
    if (!m_open) {
        return qrn::kRtpNotOpened;
    }
    if (!IN_MULTICAST(group)) {
        return qrn::kRtpNotMulticastAddress;
    }
    if (const int result = m_groups.Remove(group); result != qrn::kRtpOk) {
        return result;
    }
    SetGroupMembership(IP_DROP_MEMBERSHIP, group);
    return qrn::kRtpOk;
}

int CRtpConnection::SetGroupMembership(int option, std::uint32_t group) {
    ip_mreq request{};
    request.imr_multiaddr.s_addr = htonl(group);
    request.imr_interface.s_addr = htonl(m_localAddress);
    return m_socket->SetOption(IPPROTO_IP, option, &request, sizeof(request)) ? qrn::kRtpOk : qrn::kRtpJoinFailed;
}

int CRtpConnection::SetMulticastTtl(std::uint32_t ttl) {
    if (!m_open) {
        return qrn::kRtpNotOpened;
    }
    const auto reduced = static_cast<std::uint8_t>(ttl);
    return m_socket->SetOption(IPPROTO_IP, IP_MULTICAST_TTL, reduced) ? qrn::kRtpOk : qrn::kRtpMulticastTtlFailed;
}

int CRtpConnection::SetMulticastLoop(bool on) {
    if (!m_open) {
        return qrn::kRtpNotOpened;
    }
    return m_socket->SetOption(IPPROTO_IP, IP_MULTICAST_LOOP, on ? 1 : 0) ? qrn::kRtpOk : qrn::kRtpMulticastLoopFailed;
}

int CRtpConnection::SetTos(std::uint32_t tos) {
    if (!m_open) {
        return qrn::kRtpNotOpened;
    }
    return m_socket->SetOption(IPPROTO_IP, IP_TOS, static_cast<int>(tos)) ? qrn::kRtpOk : qrn::kRtpTosFailed;
}

void CRtpConnection::SetParityGroup(std::uint32_t groupSize) {
    m_parity.SetGroupSize(groupSize);
    m_parityOn = groupSize != 0;
}

std::uint16_t CRtpConnection::LocalPort() const {
    if (HasExternalTransport()) {
        return m_localPort;
    }
    return m_socket != nullptr ? m_socket->BoundPort() : 0;
}

int CRtpConnection::StartExternal(DWORD mode) {
    if (m_externalTransport == nullptr) {
        return -1;
    }
    if (m_stream != nullptr) {
        return m_stream->GetReadEvent();
    }
    IExternalStream* stream = m_externalTransport->CreateStream(0, m_localPort);
    if (stream == nullptr) {
        return -1;
    }
    stream->SetMode(mode);
    m_stream = stream;
    return stream->GetReadEvent();
}

void CRtpConnection::StopExternal() {
    if (IExternalStream* stream = std::exchange(m_stream, nullptr)) {
        m_externalTransport->ReleaseStream(stream);
    }
}
