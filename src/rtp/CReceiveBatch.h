#pragma once

#include <sys/socket.h>
#include <sys/types.h>
#include <sys/uio.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

#include "rtp/ReceiveStatistics.h"
#include "rtp/Socket.h"

namespace qrn {

/// The system calls by which datagrams come. A seam: a test stands in for a system that has less or gives other things.
class IReceiveCalls {
public:
    virtual ~IReceiveCalls() = default;
    /// As recvmmsg(2). @return messages filled from the front, -1 with errno.
    virtual int ReceiveMany(int descriptor, std::span<mmsghdr> messages, int flags) = 0;
    /// As recvmsg(2).
    virtual ssize_t ReceiveOne(int descriptor, msghdr& message, int flags) = 0;
};
IReceiveCalls& SystemReceiveCalls();

/// Datagrams that were read together: up to 16 messages a system call (recvmmsg), each of which holds one datagram or,
/// on a socket that AskForOffload was given, up to 64 that the system has put together (UDP_GRO, see udp(7)). They are
/// looked at one by one where they lie.
///
/// A message needs room for the longest datagram, so the memory is 1.1 MB of addresses; the system fills messages from
/// the front and the pages behind the datagrams are never touched, so that a session of packets of the usual size, one
/// a message, occupies some 100 kB, and one with little traffic less than 20. Where messages are long, fewer are read
/// at once, so that what was read is still in the processor's cache when it is looked at.
///
/// Belongs to the receiving thread; allocates nothing after Prepare.
class CReceiveBatch {
public:
    static constexpr std::size_t kMostMessages = 16;
    /// Nothing that UDP over IPv4 carries is longer.
    static constexpr std::size_t kMessageBytes = 65535;

    enum class Outcome { kRead, kNothingPending, kFailed };

    explicit CReceiveBatch(IReceiveCalls& calls = SystemReceiveCalls()) : m_calls(calls) {}
    CReceiveBatch(const CReceiveBatch&) = delete;
    CReceiveBatch& operator=(const CReceiveBatch&) = delete;

    /// Has the system put datagrams of one sender together, and tell what it dropped. For a socket that is read by
    /// batches alone. @return false where it cannot put them together.
    static bool AskForOffload(CSocket& socket);

    /// Gets the memory, once. @return false when there is none.
    bool Prepare();

    /// Reads what waits, without waiting for more. For an empty batch.
    Outcome Fill(const CSocket& socket, CReceiveCounters& counters);
    /// @param datagram  the next one, empty where an empty one was sent; valid until Fill. @return false at the end.
    bool Next(std::span<const std::uint8_t>& datagram);
    /// What Next gave last stays valid until the Fill after another Keep.
    void Keep() { m_toKeep = m_next - 1; }

    bool IsEmpty() const { return m_rest.empty() && m_next == m_count; }
    /// The last Fill found as much as it could take: more may be waiting.
    bool WasFull() const { return m_wasFull; }
    void Clear();

private:
    static constexpr std::size_t kNone = SIZE_MAX;
    /// Both kinds of note that the system attaches to a message.
    static constexpr std::size_t kControlBytes = CMSG_SPACE(sizeof(int)) + CMSG_SPACE(sizeof(std::uint32_t));

    std::uint8_t* Slot(std::size_t slot) const;
    void PutKeptAside();
    int Receive(int descriptor);
    void Count(CReceiveCounters& counters);
    void Load(std::size_t message);

    IReceiveCalls& m_calls;
    bool m_canReceiveMany = true;
    std::unique_ptr<std::uint8_t[]> m_memory;
    std::array<mmsghdr, kMostMessages> m_messages{};
    std::array<iovec, kMostMessages> m_vectors{};
    alignas(cmsghdr) std::array<std::array<std::uint8_t, kControlBytes>, kMostMessages> m_controls{};
    /// Which piece of the memory each message fills; the last one holds what is kept.
    std::array<std::uint8_t, kMostMessages + 1> m_slots{};
    std::size_t m_toKeep = kNone;  // a message
    std::size_t m_limit = kMostMessages;
    bool m_wasFull = false;
    std::uint32_t m_noRoom = 0;  // as the system told last

    std::size_t m_count = 0;
    std::size_t m_next = 0;                // message
    std::span<const std::uint8_t> m_rest;  // of the message before that
    std::size_t m_segmentBytes = 0;
};

}  // namespace qrn
