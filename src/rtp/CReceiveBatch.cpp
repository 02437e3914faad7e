#include "rtp/CReceiveBatch.h"

#include <netinet/in.h>
#include <netinet/udp.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>
#include <numeric>
#include <utility>

namespace qrn {
namespace {

/// No multiple of a page: the packets' beginnings would share few lines of the processor's cache.
constexpr std::size_t kSlotBytes = 65536 + 19 * 64;
/// What a read shall bring at most where messages are long; within the usual second level of cache.
constexpr std::size_t kBytesAtOnce = 256 * 1024;
constexpr std::size_t kFewestMessages = 4;

class CSystemReceiveCalls final : public IReceiveCalls {
public:
    int ReceiveMany(int descriptor, std::span<mmsghdr> messages, int flags) override {
        return ::recvmmsg(descriptor, messages.data(), static_cast<unsigned>(messages.size()), flags, nullptr);
    }
    ssize_t ReceiveOne(int descriptor, msghdr& message, int flags) override {
        return ::recvmsg(descriptor, &message, flags);
    }
};

template <class Value>
Value NoteOf(const cmsghdr& note) {
    Value value{};
    std::memcpy(&value, CMSG_DATA(&note), sizeof(value));
    return value;
}

/// What the system says of a message.
struct Notes {
    std::size_t segmentBytes = 0;  // 0: it is one datagram
    std::uint32_t noRoom = 0;      // datagrams that the socket had no room for so far
    bool hasNoRoom = false;
};

Notes NotesOf(msghdr& message) {
    Notes notes;
    for (cmsghdr* note = CMSG_FIRSTHDR(&message); note != nullptr; note = CMSG_NXTHDR(&message, note)) {
        if (note->cmsg_level == IPPROTO_UDP && note->cmsg_type == UDP_GRO) {
            notes.segmentBytes = static_cast<std::size_t>(std::max(NoteOf<int>(*note), 0));
        } else if (note->cmsg_level == SOL_SOCKET && note->cmsg_type == SO_RXQ_OVFL) {
            notes.noRoom = NoteOf<std::uint32_t>(*note);
            notes.hasNoRoom = true;
        }
    }
    return notes;
}

}  // namespace

IReceiveCalls& SystemReceiveCalls() {
    static CSystemReceiveCalls calls;
    return calls;
}

bool CReceiveBatch::AskForOffload(CSocket& socket) {
    socket.SetOption(SOL_SOCKET, SO_RXQ_OVFL, 1);
    return socket.SetOption(IPPROTO_UDP, UDP_GRO, 1);
}

bool CReceiveBatch::Prepare() {
    if (m_memory != nullptr) {
        return true;
    }
    try {
        m_memory = std::make_unique_for_overwrite<std::uint8_t[]>(kSlotBytes * m_slots.size());
    } catch (const std::bad_alloc&) {
        return false;
    }
    std::iota(m_slots.begin(), m_slots.end(), std::uint8_t{0});
    return true;
}

std::uint8_t* CReceiveBatch::Slot(std::size_t slot) const {
    return m_memory.get() + slot * kSlotBytes;
}

CReceiveBatch::Outcome CReceiveBatch::Fill(const CSocket& socket, CReceiveCounters& counters) {
    Clear();
    if (m_memory == nullptr) {
        return Outcome::kFailed;
    }
    PutKeptAside();
    counters.AddSystemCall();
    const int count = Receive(socket.Descriptor());
    if (count <= 0) {
        const bool isNothing = count == 0 || errno == EAGAIN || errno == EWOULDBLOCK;
        return isNothing ? Outcome::kNothingPending : Outcome::kFailed;
    }
    m_count = std::min(static_cast<std::size_t>(count), m_limit);
    m_wasFull = m_count == m_limit;
    Count(counters);
    return Outcome::kRead;
}

void CReceiveBatch::PutKeptAside() {
    if (m_toKeep != kNone) {
        std::swap(m_slots[m_toKeep], m_slots.back());
        m_toKeep = kNone;
    }
}

/// @return as recvmmsg.
int CReceiveBatch::Receive(int descriptor) {
    for (std::size_t i = 0; i < m_limit; ++i) {
        m_vectors[i] = {Slot(m_slots[i]), kMessageBytes};
        m_messages[i] = {};
        msghdr& header = m_messages[i].msg_hdr;
        header.msg_iov = &m_vectors[i];
        header.msg_iovlen = 1;
        header.msg_control = m_controls[i].data();
        header.msg_controllen = kControlBytes;
    }
    for (;;) {
        int count = -1;
        if (m_canReceiveMany) {
            count = m_calls.ReceiveMany(descriptor, std::span(m_messages).first(m_limit), MSG_DONTWAIT);
            if (count < 0 && (errno == ENOSYS || errno == EPERM)) {
                // An old or a fenced-in system: the plain call has every right that this one has.
                m_canReceiveMany = false;
                m_limit = 1;
                continue;
            }
        } else if (const ssize_t bytes = m_calls.ReceiveOne(descriptor, m_messages[0].msg_hdr, MSG_DONTWAIT);
                   bytes >= 0) {
            m_messages[0].msg_len = static_cast<unsigned>(bytes);
            count = 1;
        }
        if (count >= 0 || errno != EINTR) {
            return count;
        }
    }
}

void CReceiveBatch::Count(CReceiveCounters& counters) {
    std::size_t bytes = 0;
    std::size_t datagrams = 0;
    std::size_t longest = 1;
    for (mmsghdr& message : std::span(m_messages).first(m_count)) {
        const std::size_t length = std::min<std::size_t>(message.msg_len, kMessageBytes);
        const Notes notes = NotesOf(message.msg_hdr);
        const std::size_t segments =
            notes.segmentBytes == 0 ? 1 : (length + notes.segmentBytes - 1) / notes.segmentBytes;
        datagrams += std::max<std::size_t>(segments, 1);
        bytes += length;
        longest = std::max(longest, length);
        if (notes.hasNoRoom && notes.noRoom != m_noRoom) {
            // The system's count goes on over its end.
            counters.AddNoRoom(notes.noRoom - m_noRoom);
            m_noRoom = notes.noRoom;
        }
    }
    counters.AddRead(datagrams, bytes);
    if (m_canReceiveMany) {
        m_limit = std::clamp(kBytesAtOnce / longest, kFewestMessages, kMostMessages);
    }
}

bool CReceiveBatch::Next(std::span<const std::uint8_t>& datagram) {
    if (m_rest.empty()) {
        if (m_next == m_count) {
            return false;
        }
        Load(m_next++);
    }
    datagram = m_rest.first(std::min(m_segmentBytes, m_rest.size()));
    m_rest = m_rest.subspan(datagram.size());
    return true;
}

void CReceiveBatch::Load(std::size_t message) {
    const std::size_t length = std::min<std::size_t>(m_messages[message].msg_len, kMessageBytes);
    m_rest = {Slot(m_slots[message]), length};
    const std::size_t segmentBytes = NotesOf(m_messages[message].msg_hdr).segmentBytes;
    m_segmentBytes = segmentBytes != 0 ? segmentBytes : length;
}

void CReceiveBatch::Clear() {
    m_count = 0;
    m_next = 0;
    m_rest = {};
    m_wasFull = false;
}

}  // namespace qrn
