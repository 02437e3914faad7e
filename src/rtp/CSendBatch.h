#pragma once

#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/uio.h>

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <span>

#include "platform/system/Clock.h"
#include "rtp/SendStatistics.h"
#include "rtp/Socket.h"

namespace qrn {

/// Where the datagrams of a batch go.
struct SendTargets {
    std::span<const sockaddr_in> addresses;
    /// No address stands there twice.
    bool areDistinct = true;
};

/// Datagrams that leave together in as few system calls as the socket allows: runs of equal size as one message that
/// the system cuts (UDP_SEGMENT, see udp(7)), several messages a call (sendmmsg), else one by one. Bytes are gathered
/// from where they lie: copying them into one buffer first was measured and is not faster.
///
/// Each destination gets the datagrams in the order of their addition. Over several destinations a datagram goes to all
/// of them before the next one, except where runs are cut by the system: then a run goes to one destination after the
/// other. Datagrams to different addresses have no order on the way, so nobody behind one address can tell; where an
/// address stands twice its owner could, and runs are not used.
///
/// Belongs to the sending thread; allocates nothing.
class CSendBatch {
public:
    static constexpr std::size_t kCapacity = 128;

    bool IsFull() const { return m_count == kCapacity; }
    std::size_t Count() const { return m_count; }

    /// Adds a datagram of two pieces, each of which may be empty. Both must stay as they are until Flush. Not for a
    /// full batch.
    void Add(std::span<const std::uint8_t> head, std::span<const std::uint8_t> tail);

    /// Sends everything to every target and empties the batch. A datagram that the system does not take is counted and
    /// otherwise lost, as it could have been on the way.
    /// @param patience  how long this may wait, by the clock, for room in the socket's buffer; what it waited is taken
    /// off. Once it is used up the rest is dropped.
    void Flush(CSocket& socket, const SendTargets& targets, IClock& clock, std::chrono::nanoseconds& patience,
               CSendCounters& counters);

private:
    static constexpr std::size_t kMostMessages = 64;

    /// The datagrams of one message.
    struct Run {
        std::size_t first;
        std::size_t count;
    };
    struct alignas(cmsghdr) Control {
        std::array<unsigned char, CMSG_SPACE(sizeof(std::uint16_t))> bytes;
    };
    /// What one Flush works with.
    struct Flight {
        CSocket& socket;
        IClock& clock;
        std::chrono::nanoseconds& patience;
        CSendCounters& counters;
        bool isGivenUp;
    };

    Run RunFrom(std::size_t first) const;
    std::size_t BytesOf(const Run& run) const;
    msghdr HeaderOf(const Run& run, const sockaddr_in& target);
    void Put(const Run& run, const sockaddr_in& target, Flight& flight);
    void SendMessages(Flight& flight);
    void SendApart(const Run& run, const sockaddr_in& target, int refusal, Flight& flight);

    std::array<iovec, 2 * kCapacity> m_pieces;
    std::array<std::size_t, kCapacity> m_bytes;  // of each datagram
    std::size_t m_count = 0;

    std::array<mmsghdr, kMostMessages> m_messages;
    std::array<Run, kMostMessages> m_runs;
    std::array<Control, kMostMessages> m_controls;
    std::size_t m_messageCount = 0;
};

}  // namespace qrn
