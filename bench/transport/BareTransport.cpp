#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/udp.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <vector>

#include "transport/Ends.h"

namespace qrn::bench {
namespace {

constexpr std::uint8_t kPayloadType = 113;
constexpr std::uint32_t kSsrc = 0x13572468;
constexpr std::size_t kMostSegments = 64;
constexpr std::size_t kMostMessageBytes = 65507;
constexpr std::size_t kMostDatagrams = kLargestFrame / kPayloadBytes + 1;

class CBareSocket {
public:
    CBareSocket() : m_handle(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
        const timeval patience{kPatienceMs / 1000, 0};
        Check(::setsockopt(m_handle, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience) == 0, "SO_RCVTIMEO");
        Check(SetOption(SOL_SOCKET, SO_RCVBUF, kSocketBufferBytes), "SO_RCVBUF");
        Check(SetOption(SOL_SOCKET, SO_SNDBUF, kSocketBufferBytes), "SO_SNDBUF");
        sockaddr_in address = Loopback(0);
        Check(::bind(m_handle, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0, "bind");
    }
    ~CBareSocket() { ::close(m_handle); }
    CBareSocket(const CBareSocket&) = delete;
    CBareSocket& operator=(const CBareSocket&) = delete;

    static sockaddr_in Loopback(std::uint16_t port) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        address.sin_port = htons(port);
        return address;
    }
    bool SetOption(int level, int name, int value) const {
        return ::setsockopt(m_handle, level, name, &value, sizeof value) == 0;
    }
    int Handle() const { return m_handle; }
    std::uint16_t Port() const {
        sockaddr_in address{};
        socklen_t length = sizeof address;
        Check(::getsockname(m_handle, reinterpret_cast<sockaddr*>(&address), &length) == 0, "getsockname");
        return ntohs(address.sin_port);
    }

private:
    int m_handle;
};

/// Of datagrams of `segmentBytes` that leave as one message.
struct alignas(cmsghdr) SegmentNote {
    std::array<unsigned char, CMSG_SPACE(sizeof(std::uint16_t))> bytes;

    void AttachTo(msghdr& message, std::size_t segmentBytes) {
        message.msg_control = bytes.data();
        message.msg_controllen = bytes.size();
        cmsghdr* note = CMSG_FIRSTHDR(&message);
        note->cmsg_level = IPPROTO_UDP;
        note->cmsg_type = UDP_SEGMENT;
        note->cmsg_len = CMSG_LEN(sizeof(std::uint16_t));
        const auto value = static_cast<std::uint16_t>(segmentBytes);
        std::memcpy(CMSG_DATA(note), &value, sizeof value);
    }
};

class CBareSender final : public ISendingEnd {
public:
    CBareSender(std::uint16_t toPort, bool hasOffload)
        : m_segments(hasOffload ? std::min(kMostSegments, kMostMessageBytes / (kHeaderBytes + kPayloadBytes)) : 1),
          m_target(CBareSocket::Loopback(toPort)) {}

    void SendFrame(std::span<const std::uint8_t> frame, std::uint32_t timestamp) override {
        const std::size_t datagrams = (frame.size() + kPayloadBytes - 1) / kPayloadBytes;
        for (std::size_t i = 0; i < datagrams; ++i) {
            const auto payload =
                frame.subspan(i * kPayloadBytes, std::min(kPayloadBytes, frame.size() - i * kPayloadBytes));
            WriteHeader(m_headers[i], i + 1 == datagrams, i == 0 ? timestamp & ~1u : timestamp | 1u);
            m_pieces[2 * i] = {m_headers[i].data(), kHeaderBytes};
            m_pieces[2 * i + 1] = {const_cast<std::uint8_t*>(payload.data()), payload.size()};
        }
        std::size_t count = 0;
        for (std::size_t first = 0; first < datagrams; first += m_segments, ++count) {
            msghdr& message = m_messages[count].msg_hdr;
            message = {};
            message.msg_name = &m_target;
            message.msg_namelen = sizeof m_target;
            message.msg_iov = &m_pieces[2 * first];
            const std::size_t segments = std::min(m_segments, datagrams - first);
            message.msg_iovlen = 2 * segments;
            if (segments > 1) {
                m_notes[count].AttachTo(message, kHeaderBytes + kPayloadBytes);
            }
        }
        Send(count);
        m_datagrams += datagrams;
    }
    std::uint64_t Datagrams() const override { return m_datagrams; }
    std::uint64_t SystemCalls() const override { return m_systemCalls; }

private:
    void WriteHeader(std::array<std::uint8_t, kHeaderBytes>& header, bool marker, std::uint32_t timestamp) {
        header[0] = 0x80;
        header[1] = static_cast<std::uint8_t>((marker ? 0x80 : 0) | kPayloadType);
        const std::uint16_t sequence = htons(m_sequence++);
        const std::uint32_t time = htonl(timestamp);
        const std::uint32_t source = htonl(kSsrc);
        std::memcpy(&header[2], &sequence, sizeof sequence);
        std::memcpy(&header[4], &time, sizeof time);
        std::memcpy(&header[8], &source, sizeof source);
    }
    void Send(std::size_t count) {
        for (std::size_t next = 0; next < count;) {
            ++m_systemCalls;
            const int sent = ::sendmmsg(m_socket.Handle(), &m_messages[next], static_cast<unsigned>(count - next), 0);
            Check(sent > 0, "sendmmsg");
            next += static_cast<std::size_t>(sent);
        }
    }

    const std::size_t m_segments;  // a message
    const CBareSocket m_socket;
    sockaddr_in m_target;
    std::uint16_t m_sequence = 65000;
    std::uint64_t m_datagrams = 0;
    std::uint64_t m_systemCalls = 0;
    std::array<std::array<std::uint8_t, kHeaderBytes>, kMostDatagrams> m_headers{};
    std::array<iovec, 2 * kMostDatagrams> m_pieces{};
    std::array<mmsghdr, kMostDatagrams> m_messages{};
    std::array<SegmentNote, kMostDatagrams> m_notes{};
};

class CBareReceiver final : public IReceivingEnd {
public:
    explicit CBareReceiver(bool hasOffload)
        : m_messageBytes(hasOffload ? 65536 : 2048),
          m_messages(hasOffload ? 4 : 64),
          m_pieces(m_messages.size()),
          m_notes(m_messages.size()),
          m_memory(m_messages.size() * m_messageBytes) {
        if (hasOffload) {
            Check(m_socket.SetOption(IPPROTO_UDP, UDP_GRO, 1), "UDP_GRO");
        }
    }
    std::uint16_t Port() const { return m_socket.Port(); }

    std::size_t ReceiveFrame(std::span<std::uint8_t> frame) override {
        std::size_t assembled = 0;
        for (;;) {
            if (m_rest.empty() && !NextMessage()) {
                return 0;
            }
            const auto datagram = m_rest.first(std::min(m_segmentBytes, m_rest.size()));
            m_rest = m_rest.subspan(datagram.size());
            std::uint16_t sequence = 0;
            if (datagram.size() < kHeaderBytes || datagram[0] != 0x80 || (datagram[1] & 0x7F) != kPayloadType) {
                return 0;
            }
            std::memcpy(&sequence, &datagram[2], sizeof sequence);
            if (ntohs(sequence) != m_expected) {
                m_lost += m_hasStarted ? 1 : 0;
                m_expected = ntohs(sequence);
            }
            m_hasStarted = true;
            ++m_expected;
            const auto payload = datagram.subspan(kHeaderBytes);
            if (assembled + payload.size() > frame.size()) {
                return 0;
            }
            std::memcpy(frame.data() + assembled, payload.data(), payload.size());
            assembled += payload.size();
            if ((datagram[1] & 0x80) != 0) {
                return assembled;
            }
        }
    }
    std::uint64_t Lost() const override { return m_lost; }
    std::uint64_t SystemCalls() const override { return m_systemCalls; }

private:
    using Note = std::array<std::uint8_t, CMSG_SPACE(sizeof(int))>;

    bool NextMessage() {
        if (m_next == m_count && !Read()) {
            return false;
        }
        const msghdr& message = m_messages[m_next].msg_hdr;
        m_rest = {&m_memory[m_next * m_messageBytes], m_messages[m_next].msg_len};
        m_segmentBytes = m_rest.size();
        const cmsghdr* note = CMSG_FIRSTHDR(&message);
        if (note != nullptr && note->cmsg_level == IPPROTO_UDP && note->cmsg_type == UDP_GRO) {
            int bytes = 0;
            std::memcpy(&bytes, CMSG_DATA(note), sizeof bytes);
            m_segmentBytes = static_cast<std::size_t>(bytes);
        }
        ++m_next;
        return true;
    }
    bool Read() {
        for (std::size_t i = 0; i < m_messages.size(); ++i) {
            m_pieces[i] = {&m_memory[i * m_messageBytes], m_messageBytes};
            msghdr& message = m_messages[i].msg_hdr;
            message = {};
            message.msg_iov = &m_pieces[i];
            message.msg_iovlen = 1;
            message.msg_control = m_notes[i].data();
            message.msg_controllen = m_notes[i].size();
        }
        ++m_systemCalls;
        const int count = ::recvmmsg(m_socket.Handle(), m_messages.data(), static_cast<unsigned>(m_messages.size()),
                                     MSG_WAITFORONE, nullptr);
        m_next = 0;
        m_count = count > 0 ? static_cast<std::size_t>(count) : 0;
        return count > 0;
    }

    const CBareSocket m_socket;
    const std::size_t m_messageBytes;
    std::vector<mmsghdr> m_messages;
    std::vector<iovec> m_pieces;
    std::vector<Note> m_notes;
    std::vector<std::uint8_t> m_memory;
    std::size_t m_count = 0;
    std::size_t m_next = 0;
    std::span<const std::uint8_t> m_rest;
    std::size_t m_segmentBytes = 0;
    bool m_hasStarted = false;
    std::uint16_t m_expected = 0;
    std::uint64_t m_lost = 0;
    std::uint64_t m_systemCalls = 0;
};

Transport MakeBareTransport(bool hasOffload) {
    auto receiver = std::make_unique<CBareReceiver>(hasOffload);
    auto sender = std::make_unique<CBareSender>(receiver->Port(), hasOffload);
    return {std::move(receiver), std::move(sender)};
}

}  // namespace

Transport MakeManyCallsTransport() {
    return MakeBareTransport(false);
}

Transport MakeOffloadTransport() {
    return MakeBareTransport(true);
}

bool HasOffload() {
    const CBareSocket socket;
    return socket.SetOption(IPPROTO_UDP, UDP_GRO, 1) && socket.SetOption(IPPROTO_UDP, UDP_SEGMENT, 0);
}

std::size_t GrantedReceiveBuffer() {
    const CBareSocket socket;
    int bytes = 0;
    socklen_t length = sizeof bytes;
    Check(::getsockopt(socket.Handle(), SOL_SOCKET, SO_RCVBUF, &bytes, &length) == 0, "reading SO_RCVBUF");
    return static_cast<std::size_t>(bytes);
}

}  // namespace qrn::bench
