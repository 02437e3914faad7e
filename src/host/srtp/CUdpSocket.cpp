#include "host/srtp/CUdpSocket.h"

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

#include "host/srtp/SrtpSuite.h"

namespace qrn {
namespace {

/// As many bytes as a session's own socket asks for; the system caps it without a word.
constexpr int kBufferBytes = 565535;

sockaddr* Plain(sockaddr_in& address) {
    return reinterpret_cast<sockaddr*>(&address);
}

}  // namespace

CUdpSocket::CUdpSocket(std::uint32_t address, std::uint16_t port, const std::string& text)
    : m_descriptor(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)) {
    if (m_descriptor < 0) {
        throw SrtpFailure{E_OUTOFMEMORY, "no socket: " + std::generic_category().message(errno)};
    }
    for (const int option : {SO_SNDBUF, SO_RCVBUF}) {
        ::setsockopt(m_descriptor, SOL_SOCKET, option, &kBufferBytes, sizeof(kBufferBytes));
    }
    // Without SO_REUSEADDR: of two sockets that share a port only one gets the packets, without a word.
    sockaddr_in local{};
    local.sin_family = AF_INET;
    local.sin_addr.s_addr = address;
    local.sin_port = htons(port);
    socklen_t length = sizeof(local);
    if (::bind(m_descriptor, Plain(local), length) != 0 || ::getsockname(m_descriptor, Plain(local), &length) != 0) {
        const int error = errno;
        ::close(m_descriptor);
        throw SrtpFailure{
            E_ACCESSDENIED,
            "UDP port " + std::to_string(port) + " of " + text +
                (error == EADDRINUSE ? " is in use" : " cannot be had: " + std::generic_category().message(error))};
    }
    m_port = ntohs(local.sin_port);
}

CUdpSocket::~CUdpSocket() {
    ::close(m_descriptor);
}

bool CUdpSocket::Send(std::span<const std::uint8_t> datagram, const sockaddr_in& destination) const {
    return ::sendto(m_descriptor, datagram.data(), datagram.size(), MSG_DONTWAIT,
                    reinterpret_cast<const sockaddr*>(&destination),
                    sizeof(destination)) == static_cast<ssize_t>(datagram.size());
}

std::int32_t CUdpSocket::Receive(std::span<std::uint8_t> buffer) const {
    return static_cast<std::int32_t>(::recv(m_descriptor, buffer.data(), buffer.size(), MSG_DONTWAIT));
}

}  // namespace qrn
