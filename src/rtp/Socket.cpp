#include "rtp/Socket.h"

#include <fcntl.h>
#include <netinet/udp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <new>

namespace qrn {
namespace {

/// Above every datagram.
constexpr std::size_t kAnySegment = 65536;

class CSystemSendCalls final : public ISendCalls {
public:
    bool HasSegmentation(int descriptor) override {
        int segment = 0;
        socklen_t bytes = sizeof(segment);
        return ::getsockopt(descriptor, IPPROTO_UDP, UDP_SEGMENT, &segment, &bytes) == 0;
    }
    int SendMany(int descriptor, std::span<mmsghdr> messages, int flags) override {
        return ::sendmmsg(descriptor, messages.data(), static_cast<unsigned>(messages.size()), flags);
    }
    ssize_t SendOne(int descriptor, const msghdr& message, int flags) override {
        return ::sendmsg(descriptor, &message, flags);
    }
};

}  // namespace

sockaddr_in SocketAddress(std::uint32_t addressNetworkOrder, std::uint16_t portNetworkOrder) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = addressNetworkOrder;
    address.sin_port = portNetworkOrder;
    return address;
}

ISendCalls& SystemSendCalls() {
    static CSystemSendCalls calls;
    return calls;
}

std::shared_ptr<CSocket> CSocket::Make(ISendCalls& sendCalls) {
    const int descriptor = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (descriptor < 0) {
        return nullptr;
    }
    try {
        return std::make_shared<CSocket>(descriptor, sendCalls);
    } catch (const std::bad_alloc&) {
        ::close(descriptor);
        return nullptr;
    }
}

CSocket::CSocket(int descriptor, ISendCalls& sendCalls)
    : m_descriptor(descriptor),
      m_sendCalls(sendCalls),
      m_segmentLimit(sendCalls.HasSegmentation(descriptor) ? kAnySegment : 0) {}

CSocket::~CSocket() {
    ::close(m_descriptor);
}

bool CSocket::SetOption(int level, int name, int value) {
    return SetOption(level, name, &value, sizeof(value));
}

bool CSocket::SetOption(int level, int name, const void* value, socklen_t bytes) {
    return ::setsockopt(m_descriptor, level, name, value, bytes) == 0;
}

int CSocket::GetOption(int level, int name) const {
    int value = 0;
    socklen_t bytes = sizeof(value);
    return ::getsockopt(m_descriptor, level, name, &value, &bytes) == 0 ? value : 0;
}

bool CSocket::Bind(const sockaddr_in& address) {
    return ::bind(m_descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0;
}

std::uint16_t CSocket::BoundPort() const {
    sockaddr_in address{};
    socklen_t bytes = sizeof(address);
    if (::getsockname(m_descriptor, reinterpret_cast<sockaddr*>(&address), &bytes) != 0) {
        return 0;
    }
    return ntohs(address.sin_port);
}

ReadOutcome CSocket::Receive(std::span<std::uint8_t> buffer, std::size_t& bytes) {
    for (;;) {
        const ssize_t read = ::recv(m_descriptor, buffer.data(), buffer.size(), MSG_DONTWAIT);
        if (read > 0) {
            bytes = static_cast<std::size_t>(read);
            return ReadOutcome::kData;
        }
        if (read == 0) {
            // A socket that was taken away also reads as empty, for ever.
            return IsTakenAway() ? ReadOutcome::kNothingPending : ReadOutcome::kEmptyDatagram;
        }
        if (errno == EAGAIN || errno == EWOULDBLOCK) {
            return ReadOutcome::kNothingPending;
        }
        if (errno != EINTR) {
            return ReadOutcome::kFailed;
        }
    }
}

void CSocket::LimitSegments(std::size_t bytes) {
    if (CanSegment(bytes)) {
        m_segmentLimit = bytes;
    }
}

void CSocket::TakeAway() {
    if (m_takenAway.exchange(true)) {
        return;
    }
    // The first call wakes whoever polls the descriptor (it reports an error for an unconnected socket and works
    // nevertheless); the second puts a socket without a port in its place, and that ends the old one.
    ::shutdown(m_descriptor, SHUT_RDWR);
    const int blank = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (blank >= 0) {
        ::shutdown(blank, SHUT_RDWR);
        ::dup3(blank, m_descriptor, O_CLOEXEC);
        ::close(blank);
    }
}

}  // namespace qrn
