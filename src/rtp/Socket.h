#pragma once
/// One UDP socket over IPv4 and its owner.

#include <netinet/in.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <span>

namespace qrn {

/// The socket address of an address and a port, both in network order.
sockaddr_in SocketAddress(std::uint32_t addressNetworkOrder, std::uint16_t portNetworkOrder);

/// What one read found.
enum class ReadOutcome { kData, kEmptyDatagram, kNothingPending, kFailed };

/// Owns the descriptor. Shared between two sessions that use one port; whichever closes first takes the socket away
/// from the other one with TakeAway, which leaves the descriptor valid until the last owner is gone, so that a wait in
/// another thread never sees a number that has come to mean something else.
class CSocket {
public:
    /// @return null when the system has no socket to give.
    static std::shared_ptr<CSocket> Make();
    explicit CSocket(int descriptor) : m_descriptor(descriptor) {}
    ~CSocket();
    CSocket(const CSocket&) = delete;
    CSocket& operator=(const CSocket&) = delete;

    /// Readable while a datagram waits, and for good (with POLLHUP) once the socket is taken away.
    int Descriptor() const { return m_descriptor; }

    bool SetOption(int level, int name, int value);
    bool SetOption(int level, int name, const void* value, socklen_t bytes);
    /// 0 when it cannot be read.
    int GetOption(int level, int name) const;
    bool Bind(const sockaddr_in& address);
    /// In host order, 0 when not bound.
    std::uint16_t BoundPort() const;

    /// Never waits. Datagrams longer than `buffer` are cut off. @param bytes  written with kData.
    ReadOutcome Receive(std::span<std::uint8_t> buffer, std::size_t& bytes);
    /// Waits at most kSendTimeoutMs for room in the socket's buffer. A failure is not reported: to the sender of live
    /// media a datagram that did not leave is one that was lost on the way.
    void Send(std::span<const std::uint8_t> datagram, const sockaddr_in& destination);

    /// Gives the port free at once, wakes every wait on the descriptor, and lets all later traffic fail.
    void TakeAway();
    bool IsTakenAway() const { return m_takenAway; }

private:
    const int m_descriptor;
    std::atomic<bool> m_takenAway{false};
};

}  // namespace qrn
