#include "client/impair/CUdpRelay.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <system_error>

#include "client/ClientError.h"

namespace qrn {
namespace {

constexpr std::size_t kLargestDatagramBytes = 65535;
constexpr int kSocketBufferBytes = 4 << 20;  // the system caps it
/// Read in a row before what is due is sent, so that a flood keeps nothing waiting.
constexpr int kMostReadInARow = 64;
constexpr std::chrono::nanoseconds kStatusPeriod = std::chrono::seconds(1);

sockaddr_in MakeAddress(std::uint32_t addressNetworkOrder, std::uint16_t portNetworkOrder) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = addressNetworkOrder;
    address.sin_port = portNetworkOrder;
    return address;
}

std::uint32_t ParseAddress(const std::string& text) {
    in_addr address{};
    if (inet_pton(AF_INET, text.c_str(), &address) != 1) {
        throw CClientError("'" + text + "' is no IPv4 address");
    }
    return address.s_addr;
}

[[noreturn]] void FailToOpen(const CUdpRelay::Ends& ends) {
    const std::string cause = errno == EADDRINUSE ? "it is in use" : std::generic_category().message(errno);
    throw CClientError("cannot listen on UDP port " + std::to_string(ends.localPort) + " of " + ends.localAddress +
                       ": " + cause);
}

}  // namespace

CUdpRelay::CUdpRelay(const Ends& ends, const ImpairmentSettings& settings, IClock& clock)
    : m_clock(clock),
      m_model(settings),
      m_socket(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)),
      m_farAddress(ParseAddress(ends.farAddress)),
      m_farPort(htons(ends.farPort)),
      m_buffer(kLargestDatagramBytes) {
    sockaddr_in local = MakeAddress(ParseAddress(ends.localAddress), htons(ends.localPort));
    socklen_t length = sizeof(local);
    if (!m_socket || bind(m_socket.Get(), reinterpret_cast<const sockaddr*>(&local), length) != 0 ||
        getsockname(m_socket.Get(), reinterpret_cast<sockaddr*>(&local), &length) != 0) {
        FailToOpen(ends);
    }
    m_port = ntohs(local.sin_port);
    // Less than asked for is no failure: the relay reads at once.
    setsockopt(m_socket.Get(), SOL_SOCKET, SO_RCVBUF, &kSocketBufferBytes, sizeof(kSocketBufferBytes));
}

void CUdpRelay::Run(int stopDescriptor, const Status& status) {
    auto nextStatus = m_clock.Now() + kStatusPeriod;
    for (;;) {
        std::array<pollfd, 2> descriptors{{{stopDescriptor, POLLIN, 0}, {m_socket.Get(), POLLIN, 0}}};
        if (m_clock.Poll(descriptors, UntilNextWork(nextStatus)) < 0) {
            throw CClientError(std::string("cannot wait for datagrams: ") + std::generic_category().message(errno));
        }
        if (descriptors[0].revents != 0) {
            return;
        }
        if (descriptors[1].revents != 0) {
            ReadArrived();
        }
        SendDue();
        if (m_clock.Now() >= nextStatus) {
            nextStatus += kStatusPeriod;
            if (status) {
                status(Counters());
            }
        }
    }
}

std::chrono::nanoseconds CUdpRelay::UntilNextWork(std::chrono::nanoseconds nextStatus) const {
    const auto next = std::min(m_model.NextTime().value_or(nextStatus), nextStatus);
    return std::max(next - m_clock.Now(), std::chrono::nanoseconds::zero());
}

void CUdpRelay::ReadArrived() {
    for (int read = 0; read < kMostReadInARow; ++read) {
        const ssize_t bytes = recv(m_socket.Get(), m_buffer.data(), m_buffer.size(), 0);
        if (bytes < 0) {
            return;
        }
        m_model.Offer(std::span(m_buffer).first(static_cast<std::size_t>(bytes)), m_clock.Now());
    }
}

void CUdpRelay::SendDue() {
    const sockaddr_in farEnd = MakeAddress(m_farAddress, m_farPort);
    const auto now = m_clock.Now();
    while (const auto datagram = m_model.Take(now)) {
        const ssize_t sent = sendto(m_socket.Get(), datagram->bytes.data(), datagram->bytes.size(), 0,
                                    reinterpret_cast<const sockaddr*>(&farEnd), sizeof(farEnd));
        m_sendFailures += sent < 0 ? 1 : 0;
    }
}

}  // namespace qrn
