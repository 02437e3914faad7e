#pragma once
/// One UDP socket over IPv4 and its owner.

#include <netinet/in.h>
#include <sys/socket.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <span>

namespace qrn {

/// The socket address of an address and a port, both in network order.
sockaddr_in SocketAddress(std::uint32_t addressNetworkOrder, std::uint16_t portNetworkOrder);

/// The system calls by which datagrams leave. A seam: a test stands in for a system that has less or takes less.
class ISendCalls {
public:
    virtual ~ISendCalls() = default;
    /// Whether a message of this socket may carry several datagrams of one size (UDP_SEGMENT, see udp(7)).
    virtual bool HasSegmentation(int descriptor) = 0;
    /// As sendmmsg(2). @return messages that left, -1 with errno when the first was refused.
    virtual int SendMany(int descriptor, std::span<mmsghdr> messages, int flags) = 0;
    /// As sendmsg(2).
    virtual ssize_t SendOne(int descriptor, const msghdr& message, int flags) = 0;
};
ISendCalls& SystemSendCalls();

/// What one read found.
enum class ReadOutcome { kData, kEmptyDatagram, kNothingPending, kFailed };

/// Owns the descriptor. Shared between two sessions that use one port; whichever closes first takes the socket away
/// from the other one with TakeAway, which leaves the descriptor valid until the last owner is gone, so that a wait in
/// another thread never sees a number that has come to mean something else.
class CSocket {
public:
    /// @return null when the system has no socket to give.
    static std::shared_ptr<CSocket> Make(ISendCalls& sendCalls = SystemSendCalls());
    CSocket(int descriptor, ISendCalls& sendCalls);
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

    ISendCalls& SendCalls() const { return m_sendCalls; }
    /// Whether one message may carry several datagrams of that size. What the way to one destination refused is not
    /// tried again for any.
    bool CanSegment(std::size_t bytes) const { return bytes < m_segmentLimit.load(std::memory_order_relaxed); }
    /// Sizes from here on were refused; 0: all.
    void LimitSegments(std::size_t bytes);
    /// Whether the system has a call for several messages.
    bool CanSendMany() const { return m_canSendMany.load(std::memory_order_relaxed); }
    void StopSendingMany() { m_canSendMany = false; }

    /// Gives the port free at once, wakes every wait on the descriptor, and lets all later traffic fail.
    void TakeAway();
    bool IsTakenAway() const { return m_takenAway; }

private:
    const int m_descriptor;
    ISendCalls& m_sendCalls;
    std::atomic<std::size_t> m_segmentLimit;
    std::atomic<bool> m_canSendMany{true};
    std::atomic<bool> m_takenAway{false};
};

}  // namespace qrn
