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
    if (HasExternalTransport()) {
        m_transmitter.UseStream(nullptr);  // until it is started
        m_reader.UseStream(nullptr);
    } else {
        m_reader.UseSocket(m_socket);
        m_transmitter.UseSocket(m_socket);
    }
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
        if (!isSender) {
            m_reader.AskForOffload(*socket);
        }
        if (!BindSocket(*socket, port, localAddress)) {
            return qrn::kRtpBindFailed;
        }
    }
    m_socket = std::move(socket);
    m_open = true;
    return isSender && !HasExternalTransport() ? SetSenderOptions(localAddress) : qrn::kRtpOk;
}

/// A port that was asked for may be shared. One that the system is to choose must be nobody's: of sockets that may
/// share it gives out ports that are in use, and of a hundred sessions two would take each other's packets.
bool CRtpConnection::BindSocket(qrn::CSocket& socket, std::uint16_t port, std::uint32_t localAddress) {
    if (port != 0) {
        socket.SetOption(SOL_SOCKET, SO_REUSEADDR, 1);
    }
    const bool isBound = socket.Bind(qrn::SocketAddress(htonl(localAddress), htons(port)));
    socket.SetOption(SOL_SOCKET, SO_REUSEADDR, 1);
    return isBound;
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
        m_reader.UseSocket(nullptr);
        m_socket->TakeAway();
        m_socket.reset();
    }
    m_open = false;
    m_groups.Clear();
    m_transmitter.Close();
}

int CRtpConnection::AddDestination(std::uint32_t addressNetworkOrder, std::uint16_t port) {
    return m_transmitter.Destinations().Add(addressNetworkOrder, port);
}

int CRtpConnection::RemoveDestination(std::uint32_t addressNetworkOrder, std::uint16_t port) {
    return m_transmitter.Destinations().Remove(addressNetworkOrder, port);
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
    m_reader.SetParityOn(groupSize != 0);
}

std::uint16_t CRtpConnection::LocalPort() const {
    if (HasExternalTransport()) {
        return m_localPort;
    }
    return m_socket != nullptr ? m_socket->BoundPort() : 0;
}

std::uint32_t CRtpConnection::BufferBytes(bool isSender) const {
    if (HasExternalTransport() || m_socket == nullptr) {
        return 0;
    }
    // The system doubles what it grants.
    return static_cast<std::uint32_t>(m_socket->GetOption(SOL_SOCKET, isSender ? SO_SNDBUF : SO_RCVBUF) / 2);
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
    m_reader.UseStream(stream);
    m_transmitter.UseStream(stream);
    return stream->GetReadEvent();
}

void CRtpConnection::StopExternal() {
    if (IExternalStream* stream = std::exchange(m_stream, nullptr)) {
        m_reader.UseStream(nullptr);
        m_transmitter.UseStream(nullptr);
        m_externalTransport->ReleaseStream(stream);
    }
}
