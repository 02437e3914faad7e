#include "rtp/CSendBatch.h"

#include <netinet/udp.h>
#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace qrn {
namespace {

constexpr int kSendFlags = MSG_NOSIGNAL | MSG_DONTWAIT;

/// What the system takes as one message to cut: see udp(7) and UDP_MAX_SEGMENTS of Linux.
constexpr std::size_t kMostSegments = 64;
constexpr std::size_t kMostMessageBytes = 65507;

/// Each wait costs at least so much patience: a socket that reports room and then refuses is not asked for ever.
constexpr std::chrono::milliseconds kShortestWait{1};

iovec Piece(std::span<const std::uint8_t> bytes) {
    // The system only reads what is sent.
    return {const_cast<std::uint8_t*>(bytes.data()), bytes.size()};
}

/// Why the way may have refused to cut: no checksum by the device (EIO), datagrams above what it takes whole (EINVAL,
/// EMSGSIZE), which leave in fragments when sent one by one.
bool IsOfCutting(int refusal) {
    return refusal == EIO || refusal == EINVAL || refusal == EMSGSIZE;
}

bool WaitForRoom(const CSocket& socket, IClock& clock, std::chrono::nanoseconds& patience) {
    if (patience <= std::chrono::nanoseconds::zero()) {
        return false;
    }
    pollfd descriptor{socket.Descriptor(), POLLOUT, 0};
    const std::chrono::nanoseconds start = clock.Now();
    clock.Poll({&descriptor, 1}, patience);
    patience -= std::max<std::chrono::nanoseconds>(clock.Now() - start, kShortestWait);
    return true;
}

/// Sends messages until the system refuses the first of them for a reason that waiting does not cure.
/// @return messages that left; 0 with the reason in `refusal`, EAGAIN when the patience is used up.
std::size_t TrySend(CSocket& socket, std::span<mmsghdr> messages, IClock& clock, std::chrono::nanoseconds& patience,
                    CSendCounters& counters, int& refusal) {
    for (;;) {
        const bool sendsMany = messages.size() > 1 && socket.CanSendMany();
        counters.AddSystemCall();
        if (sendsMany) {
            if (const int sent = socket.SendCalls().SendMany(socket.Descriptor(), messages, kSendFlags); sent > 0) {
                return static_cast<std::size_t>(sent);
            }
        } else if (socket.SendCalls().SendOne(socket.Descriptor(), messages.front().msg_hdr, kSendFlags) >= 0) {
            return 1;
        }
        refusal = errno;
        if (refusal == ENOSYS && sendsMany) {
            socket.StopSendingMany();
        } else if (refusal == EAGAIN || refusal == EWOULDBLOCK) {
            refusal = EAGAIN;
            if (!WaitForRoom(socket, clock, patience)) {
                return 0;
            }
        } else if (refusal != EINTR) {
            return 0;
        }
    }
}

}  // namespace

void CSendBatch::Add(std::span<const std::uint8_t> head, std::span<const std::uint8_t> tail) {
    m_pieces[2 * m_count] = Piece(head);
    m_pieces[2 * m_count + 1] = Piece(tail);
    m_bytes[m_count] = head.size() + tail.size();
    ++m_count;
}

void CSendBatch::Flush(CSocket& socket, const SendTargets& targets, IClock& clock, std::chrono::nanoseconds& patience,
                       CSendCounters& counters) {
    Flight flight{socket, clock, patience, counters, false};
    if (m_count > 1 && targets.areDistinct && socket.CanSegment(m_bytes[0])) {
        for (const sockaddr_in& target : targets.addresses) {
            for (std::size_t first = 0; first < m_count;) {
                const Run run = RunFrom(first);
                Put(run, target, flight);
                first += run.count;
            }
        }
    } else {
        for (std::size_t i = 0; i < m_count; ++i) {
            for (const sockaddr_in& target : targets.addresses) {
                Put({i, 1}, target, flight);
            }
        }
    }
    SendMessages(flight);
    m_count = 0;
}

/// Datagrams of one size, of which the last may be shorter.
CSendBatch::Run CSendBatch::RunFrom(std::size_t first) const {
    const std::size_t segmentBytes = m_bytes[first];
    std::size_t bytes = segmentBytes;
    std::size_t end = first + 1;
    while (end < m_count && end - first < kMostSegments && m_bytes[end - 1] == segmentBytes &&
           m_bytes[end] <= segmentBytes && bytes + m_bytes[end] <= kMostMessageBytes) {
        bytes += m_bytes[end];
        ++end;
    }
    return {first, end - first};
}

std::size_t CSendBatch::BytesOf(const Run& run) const {
    std::size_t bytes = 0;
    for (std::size_t i = run.first; i < run.first + run.count; ++i) {
        bytes += m_bytes[i];
    }
    return bytes;
}

msghdr CSendBatch::HeaderOf(const Run& run, const sockaddr_in& target) {
    msghdr header{};
    header.msg_name = const_cast<sockaddr_in*>(&target);
    header.msg_namelen = sizeof(target);
    header.msg_iov = &m_pieces[2 * run.first];
    header.msg_iovlen = 2 * run.count;
    return header;
}

void CSendBatch::Put(const Run& run, const sockaddr_in& target, Flight& flight) {
    if (m_messageCount == kMostMessages) {
        SendMessages(flight);
    }
    msghdr& header = m_messages[m_messageCount].msg_hdr;
    header = HeaderOf(run, target);
    if (run.count > 1) {
        Control& control = m_controls[m_messageCount];
        header.msg_control = control.bytes.data();
        header.msg_controllen = control.bytes.size();
        cmsghdr* request = CMSG_FIRSTHDR(&header);
        request->cmsg_level = IPPROTO_UDP;
        request->cmsg_type = UDP_SEGMENT;
        request->cmsg_len = CMSG_LEN(sizeof(std::uint16_t));
        const auto segmentBytes = static_cast<std::uint16_t>(m_bytes[run.first]);
        std::memcpy(CMSG_DATA(request), &segmentBytes, sizeof(segmentBytes));
    }
    m_runs[m_messageCount] = run;
    ++m_messageCount;
}

void CSendBatch::SendMessages(Flight& flight) {
    std::size_t next = 0;
    while (next < m_messageCount && !flight.isGivenUp) {
        int refusal = 0;
        const std::span<mmsghdr> waiting = std::span(m_messages).subspan(next, m_messageCount - next);
        const std::size_t sent =
            TrySend(flight.socket, waiting, flight.clock, flight.patience, flight.counters, refusal);
        for (const std::size_t end = next + sent; next < end; ++next) {
            flight.counters.AddSent(m_runs[next].count, BytesOf(m_runs[next]));
        }
        if (sent > 0) {
            continue;
        }
        if (refusal == EAGAIN) {
            flight.isGivenUp = true;
        } else if (m_runs[next].count > 1 && IsOfCutting(refusal)) {
            SendApart(m_runs[next], *static_cast<const sockaddr_in*>(m_messages[next].msg_hdr.msg_name), refusal,
                      flight);
            ++next;
        } else {
            flight.counters.AddFailures(m_runs[next].count);
            ++next;
        }
    }
    for (; next < m_messageCount; ++next) {
        flight.counters.AddFailures(m_runs[next].count);
    }
    m_messageCount = 0;
}

/// The way may not be able to cut a run; what cannot leave in any form (port 0 for one) tells nothing about that.
void CSendBatch::SendApart(const Run& run, const sockaddr_in& target, int refusal, Flight& flight) {
    std::size_t taken = 0;
    for (std::size_t i = run.first; i < run.first + run.count; ++i) {
        mmsghdr message{HeaderOf({i, 1}, target), 0};
        int ownRefusal = 0;
        if (!flight.isGivenUp &&
            TrySend(flight.socket, {&message, 1}, flight.clock, flight.patience, flight.counters, ownRefusal) > 0) {
            flight.counters.AddSent(1, m_bytes[i]);
            ++taken;
        } else {
            flight.counters.AddFailures(1);
            flight.isGivenUp = flight.isGivenUp || ownRefusal == EAGAIN;
        }
    }
    if (taken > 0) {
        flight.socket.LimitSegments(refusal == EIO ? 0 : m_bytes[run.first]);
    }
}

}  // namespace qrn
