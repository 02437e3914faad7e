#include "client/NetworkCheck.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <memory>
#include <system_error>
#include <thread>

#include "client/ClientError.h"
#include "platform/system/Lock.h"

namespace qrn {
namespace {

constexpr int kRtpHeaderBytes = 12;

sockaddr_in AddressOf(const std::string& address, int port) {
    sockaddr_in result{};
    result.sin_family = AF_INET;
    result.sin_port = htons(static_cast<std::uint16_t>(port));
    inet_pton(AF_INET, address.c_str(), &result.sin_addr);
    return result;
}

CFileDescriptor NewUdpSocket() {
    return CFileDescriptor(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
}

/// @return 0 or the system's error.
int Bind(const CFileDescriptor& socket, const std::string& address, int port) {
    const sockaddr_in local = AddressOf(address, port);
    return bind(socket.Get(), reinterpret_cast<const sockaddr*>(&local), sizeof(local)) == 0 ? 0 : errno;
}

int PortOf(const CFileDescriptor& socket) {
    sockaddr_in local{};
    socklen_t size = sizeof(local);
    getsockname(socket.Get(), reinterpret_cast<sockaddr*>(&local), &size);
    return ntohs(local.sin_port);
}

/// A look-up under way. Outlives the one who asked when that one gives up: the system's resolver cannot be interrupted.
class CLookUp {
public:
    explicit CLookUp(const std::string& host) : m_host(host) {}

    /// Readable when the look-up has ended.
    int Descriptor() const { return m_done.Get(); }

    void Run() {
        addrinfo hints{};
        hints.ai_family = AF_INET;
        hints.ai_socktype = SOCK_DGRAM;
        addrinfo* list = nullptr;
        const int result = getaddrinfo(m_host.c_str(), nullptr, &hints, &list);
        std::array<char, INET_ADDRSTRLEN> text{};
        if (result == 0) {
            const auto* first = reinterpret_cast<const sockaddr_in*>(list->ai_addr);
            inet_ntop(AF_INET, &first->sin_addr, text.data(), text.size());
            freeaddrinfo(list);
        }
        {
            CScopedLock lock(m_lock);
            m_result = result;
            m_address = text.data();
        }
        const std::uint64_t one = 1;
        [[maybe_unused]] const ssize_t written = write(m_done.Get(), &one, sizeof(one));
    }

    /// @throws CClientError when there is no address.
    std::string Address() {
        CScopedLock lock(m_lock);
        if (m_result != 0) {
            throw CClientError("cannot find an IPv4 address of the host " + m_host + ": " + gai_strerror(m_result));
        }
        return m_address;
    }

private:
    const std::string m_host;
    const CFileDescriptor m_done{eventfd(0, EFD_CLOEXEC)};
    CMutex m_lock;
    int m_result QRN_GUARDED_BY(m_lock) = 0;
    std::string m_address QRN_GUARDED_BY(m_lock);
};

}  // namespace

std::optional<std::string> ResolveIpv4(const std::string& host, const CStopSignal& stop) {
    in_addr ignored{};
    if (inet_pton(AF_INET, host.c_str(), &ignored) == 1) {
        return host;
    }
    const auto lookUp = std::make_shared<CLookUp>(host);
    std::thread([lookUp] { lookUp->Run(); }).detach();
    std::array<pollfd, 2> descriptors{{{lookUp->Descriptor(), POLLIN, 0}, {stop.Descriptor(), POLLIN, 0}}};
    while (poll(descriptors.data(), descriptors.size(), -1) < 0 && errno == EINTR) {
    }
    return descriptors[0].revents != 0 ? std::optional(lookUp->Address()) : std::nullopt;
}

void RequireFreePort(const std::string& localAddress, int port) {
    const CFileDescriptor socket = NewUdpSocket();
    const int error = socket ? Bind(socket, localAddress, port) : errno;
    if (error == EADDRINUSE) {
        throw CClientError("port " + std::to_string(port) + " is in use by another program");
    }
    if (error == EADDRNOTAVAIL) {
        throw CClientError("the local address " + localAddress + " is not one of this machine");
    }
    if (error != 0) {
        throw CClientError("cannot open port " + std::to_string(port) + " on " + localAddress + ": " +
                           std::generic_category().message(error));
    }
}

int FindFreeEvenPort(const std::string& localAddress) {
    constexpr int kAttempts = 100;
    std::array<CFileDescriptor, kAttempts> odd;  // held, so that the system gives another one
    for (CFileDescriptor& kept : odd) {
        CFileDescriptor socket = NewUdpSocket();
        const int error = socket ? Bind(socket, localAddress, 0) : errno;
        if (error == EADDRNOTAVAIL) {
            throw CClientError("the local address " + localAddress + " is not one of this machine");
        }
        if (error != 0) {
            throw CClientError("cannot open a UDP port on " + localAddress + ": " +
                               std::generic_category().message(error));
        }
        const int port = PortOf(socket);
        if (port % 2 == 0) {
            return port;
        }
        kept = std::move(socket);
    }
    throw CClientError("there is no free even UDP port on " + localAddress);
}

CFarEndProbe::CFarEndProbe(const std::string& address, int port) : m_socket(NewUdpSocket()) {
    const sockaddr_in far = AddressOf(address, port);
    if (!m_socket || connect(m_socket.Get(), reinterpret_cast<const sockaddr*>(&far), sizeof(far)) != 0) {
        m_socket = CFileDescriptor();
    }
}

bool CFarEndProbe::AskAgain() {
    if (!m_socket) {
        return false;
    }
    int refusal = 0;
    socklen_t size = sizeof(refusal);
    getsockopt(m_socket.Get(), SOL_SOCKET, SO_ERROR, &refusal, &size);
    static_cast<void>(send(m_socket.Get(), nullptr, 0, MSG_NOSIGNAL));
    return refusal == ECONNREFUSED;
}

Arrivals WatchPort(const std::string& localAddress, int port, std::chrono::milliseconds time, const CStopSignal& stop) {
    Arrivals arrivals;
    const CFileDescriptor socket = NewUdpSocket();
    const int on = 1;
    if (!socket || setsockopt(socket.Get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof(on)) != 0 ||
        Bind(socket, localAddress, port) != 0) {
        return arrivals;
    }
    const auto deadline = std::chrono::steady_clock::now() + time;
    std::array<std::uint8_t, 2048> datagram{};
    while (true) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
        std::array<pollfd, 2> descriptors{{{socket.Get(), POLLIN, 0}, {stop.Descriptor(), POLLIN, 0}}};
        if (left.count() <= 0 || poll(descriptors.data(), descriptors.size(), static_cast<int>(left.count())) == 0 ||
            descriptors[1].revents != 0) {
            return arrivals;
        }
        const ssize_t length = recv(socket.Get(), datagram.data(), datagram.size(), 0);
        if (length < 0) {
            continue;
        }
        ++arrivals.datagrams;
        if (length >= kRtpHeaderBytes && datagram[0] >> 6 == 2) {  // version 2, RFC 3550 section 5.1
            ++arrivals.rtpPackets;
            arrivals.payloadType = datagram[1] & 0x7F;
            arrivals.payloadBytes = static_cast<int>(length) - kRtpHeaderBytes;
        }
    }
}

std::string ExplainNothingReceived(const Arrivals& arrivals, int port, const CodecInfo& codec, double waitedSeconds) {
    const std::string wanted =
        std::string(codec.name) + " packets (RTP payload type " + std::to_string(codec.payloadType) + ")";
    const std::string where = " on port " + std::to_string(port);
    if (arrivals.datagrams == 0) {
        return "nothing arrived" + where + " within " + std::to_string(static_cast<int>(waitedSeconds)) +
               " s; expected were " + wanted;
    }
    if (!arrivals.payloadType || arrivals.rtpPackets * 2 < arrivals.datagrams) {
        return "the datagrams that arrive" + where + " are no RTP packets; expected were " + wanted;
    }
    if (*arrivals.payloadType == codec.payloadType) {
        return "the packets that arrive" + where + " (" + std::to_string(arrivals.payloadBytes) +
               " bytes each) give no frame of " + codec.name +
               ": the far end encrypts, or has another codec, bit rate or number of channels";
    }
    const CodecInfo* other = FindCodecByPayloadType(*arrivals.payloadType);
    return "the packets that arrive" + where + " are of another codec: payload type " +
           std::to_string(*arrivals.payloadType) +
           (other != nullptr ? std::string(" (such as ") + other->name + ")" : "") + "; expected were " + wanted;
}

}  // namespace qrn
