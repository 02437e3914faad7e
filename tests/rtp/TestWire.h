#pragma once
/// Packets put together and taken apart by hand, and the two ways to carry them: a plain UDP socket and a client's
/// transport without a network. Nothing here uses the code under test.

#include <arpa/inet.h>
#include <netinet/udp.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <deque>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/system/Clock.h"
#include "qrn/QRN_Media2.h"

namespace qrn::test {

using Bytes = std::vector<std::uint8_t>;

inline Bytes ToBytes(std::string_view text) {
    return {text.begin(), text.end()};
}

/// `count` bytes that differ from their neighbours.
inline Bytes Pattern(std::size_t count) {
    Bytes bytes(count);
    for (std::size_t i = 0; i < count; ++i) {
        bytes[i] = static_cast<std::uint8_t>(i * 7 + i / 256);
    }
    return bytes;
}

struct WirePacket {
    std::uint16_t sequence = 0;
    std::uint32_t timestamp = 0;
    bool marker = false;
    std::string payload;
    std::uint8_t type = 113;
    std::uint32_t ssrc = 0x11223344;
};

inline Bytes Encode(const WirePacket& packet) {
    Bytes bytes{0x80, static_cast<std::uint8_t>((packet.marker ? 128 : 0) + packet.type)};
    const auto add = [&bytes](std::uint32_t value, int count) {
        for (int shift = 8 * (count - 1); shift >= 0; shift -= 8) {
            bytes.push_back(static_cast<std::uint8_t>(value >> shift));
        }
    };
    add(packet.sequence, 2);
    add(packet.timestamp, 4);
    add(packet.ssrc, 4);
    bytes.insert(bytes.end(), packet.payload.begin(), packet.payload.end());
    return bytes;
}

/// @throws std::runtime_error for anything but a plain 12-byte header.
inline WirePacket Decode(const Bytes& bytes) {
    if (bytes.size() < 12 || bytes[0] != 0x80) {
        throw std::runtime_error("not the header that every packet has");
    }
    const auto number = [&bytes](std::size_t at, std::size_t count) {
        std::uint32_t value = 0;
        for (std::size_t i = at; i < at + count; ++i) {
            value = value * 256 + bytes[i];
        }
        return value;
    };
    WirePacket packet;
    packet.marker = bytes[1] >= 128;
    packet.type = bytes[1] % 128;
    packet.sequence = static_cast<std::uint16_t>(number(2, 2));
    packet.timestamp = number(4, 4);
    packet.ssrc = number(8, 4);
    packet.payload.assign(bytes.begin() + 12, bytes.end());
    return packet;
}

/// A UDP socket on 127.0.0.1 with a port of its own.
class CUdpPeer {
public:
    CUdpPeer() : m_socket(::socket(AF_INET, SOCK_DGRAM, 0)) {
        sockaddr_in address = Loopback(0);
        socklen_t bytes = sizeof(address);
        if (m_socket < 0 || ::bind(m_socket, reinterpret_cast<sockaddr*>(&address), bytes) != 0 ||
            ::getsockname(m_socket, reinterpret_cast<sockaddr*>(&address), &bytes) != 0) {
            throw std::runtime_error("no UDP socket on loopback");
        }
        m_port = ntohs(address.sin_port);
    }
    ~CUdpPeer() { ::close(m_socket); }
    CUdpPeer(const CUdpPeer&) = delete;
    CUdpPeer& operator=(const CUdpPeer&) = delete;

    std::uint16_t Port() const { return m_port; }

    /// @param segmentBytes  not 0: the bytes are that of several datagrams, which the system cuts.
    void SendTo(std::uint16_t port, const Bytes& datagram, std::size_t segmentBytes = 0) const {
        const sockaddr_in address = Loopback(port);
        const int segment = static_cast<int>(segmentBytes);
        ::setsockopt(m_socket, IPPROTO_UDP, UDP_SEGMENT, &segment, sizeof(segment));
        if (::sendto(m_socket, datagram.data(), datagram.size(), 0, reinterpret_cast<const sockaddr*>(&address),
                     sizeof(address)) != static_cast<ssize_t>(datagram.size())) {
            throw std::runtime_error("loopback refused a datagram");
        }
    }

    /// The next datagram, or nothing when none comes in time. @param from  its sender's port.
    std::optional<Bytes> Receive(int timeoutMs = 10000, std::uint16_t* from = nullptr) const {
        pollfd descriptor{m_socket, POLLIN, 0};
        if (::poll(&descriptor, 1, timeoutMs) <= 0) {
            return std::nullopt;
        }
        Bytes bytes(65536);
        sockaddr_in sender{};
        socklen_t length = sizeof(sender);
        const ssize_t read =
            ::recvfrom(m_socket, bytes.data(), bytes.size(), 0, reinterpret_cast<sockaddr*>(&sender), &length);
        if (read < 0) {
            return std::nullopt;
        }
        if (from != nullptr) {
            *from = ntohs(sender.sin_port);
        }
        bytes.resize(static_cast<std::size_t>(read));
        return bytes;
    }

    static sockaddr_in Loopback(std::uint16_t port) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        address.sin_port = htons(port);
        return address;
    }

private:
    int m_socket;
    std::uint16_t m_port = 0;
};

/// A client's transport: what arrives is what the test puts in, what is sent is kept.
class CFakeTransport : public IExternalTransport, public IExternalStream {
public:
    CFakeTransport() : m_event(::eventfd(0, EFD_NONBLOCK)) {}
    virtual ~CFakeTransport() { ::close(m_event); }
    CFakeTransport(const CFakeTransport&) = delete;
    CFakeTransport& operator=(const CFakeTransport&) = delete;

    void Arrive(const WirePacket& packet) { Arrive(Encode(packet)); }
    void Arrive(Bytes datagram) {
        m_incoming.push_back(std::move(datagram));
        Wake();
    }
    /// The event is set; with nothing there, Receive finds nothing and clears it.
    void Wake() {
        if (::eventfd_write(m_event, 1) != 0) {
            throw std::runtime_error("eventfd");
        }
    }
    /// The answer of the next Receive instead of a datagram.
    void FailNextReceive(std::int32_t answer) {
        m_failure = answer;
        Wake();
    }

    IExternalStream* CreateStream(DWORD reserved, DWORD port) override {
        m_reserved = reserved;
        m_port = port;
        ++m_streams;
        return m_hasStreams ? this : nullptr;
    }
    void Reserved1() override { throw std::logic_error("not an operation in use"); }
    void ReleaseStream(IExternalStream* stream) override { m_streams -= stream == this ? 1 : 1000; }

    void Reserved0() override { throw std::logic_error("not an operation in use"); }
    std::int32_t Receive(BYTE* buffer, std::int32_t capacity, DWORD* info) override {
        if (info[0] != 0 || info[1] != 0 || capacity != 65535) {
            throw std::logic_error("not called as agreed");
        }
        if (m_failure) {
            return *std::exchange(m_failure, std::nullopt);
        }
        if (m_incoming.size() <= 1) {
            eventfd_t ignored = 0;
            ::eventfd_read(m_event, &ignored);
        }
        if (m_incoming.empty()) {
            return 0;
        }
        const Bytes datagram = std::move(m_incoming.front());
        m_incoming.pop_front();
        std::copy(datagram.begin(), datagram.end(), buffer);
        return static_cast<std::int32_t>(datagram.size());
    }
    void Reserved2() override { throw std::logic_error("not an operation in use"); }
    std::int32_t Send(const BYTE* buffer, std::int32_t length, DWORD flags, DWORD port) override {
        m_sent.push_back({Bytes(buffer, buffer + length), flags, port,
                          m_clock != nullptr ? m_clock->Now() : std::chrono::nanoseconds::zero()});
        return length;
    }
    int GetReadEvent() override { return m_event; }
    void Reserved5() override { throw std::logic_error("not an operation in use"); }
    void SetMode(DWORD mode) override { m_mode = mode; }

    struct Sent {
        Bytes datagram;
        DWORD flags;
        DWORD port;
        std::chrono::nanoseconds at;
    };
    std::vector<Sent> m_sent;
    const IClock* m_clock = nullptr;  // of the times in m_sent
    bool m_hasStreams = true;
    int m_streams = 0;  // made and not released
    DWORD m_reserved = 99;
    DWORD m_port = 0;
    DWORD m_mode = 99;

private:
    int m_event;
    std::deque<Bytes> m_incoming;
    std::optional<std::int32_t> m_failure;
};

}  // namespace qrn::test
