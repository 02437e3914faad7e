#include "rtp/CRtpParityHistory.h"

#include <algorithm>
#include <new>
#include <numeric>

#include "rtp/RtpErrors.h"
#include "rtp/RtpPacket.h"
#include "rtp/WireCursor.h"

namespace {

constexpr std::uint8_t kVersionMask = 0xC0;
constexpr std::uint8_t kVersion2 = 0x80;
constexpr std::uint8_t kPayloadTypeMask = 0x7F;
constexpr std::size_t kSequenceAt = 2;
constexpr std::size_t kSequenceBaseAt = 12;

}  // namespace

CRtpParityHistory::CList::CList() {
    std::iota(m_order.begin(), m_order.end(), std::uint8_t{0});
}

bool CRtpParityHistory::CList::Insert(std::span<const std::uint8_t> datagram, bool isParity,
                                      std::uint32_t extendedSequence) {
    if (!m_records[m_order[m_size]].Assign(datagram, isParity, extendedSequence)) {
        return false;
    }
    const auto end = m_order.begin() + static_cast<std::ptrdiff_t>(m_size);
    // From behind, since almost every packet is the newest.
    auto place = end;
    while (place != m_order.begin() && m_records[*(place - 1)].ExtendedSequence() > extendedSequence) {
        --place;
    }
    std::rotate(place, end, end + 1);
    ++m_size;
    if (m_size > kCapacity) {
        std::rotate(m_order.begin(), m_order.begin() + 1, m_order.end());
        --m_size;
    }
    return true;
}

int CRtpParityHistory::OnPacketReceived(std::span<const std::uint8_t> datagram, std::uint32_t groupSize) {
    if (datagram.size() < 2 || (datagram[0] & kVersionMask) != kVersion2) {
        return qrn::kRtpNoData;
    }
    const bool isParity = (datagram[1] & kPayloadTypeMask) == qrn::kPayloadParity;
    if (groupSize != 0 && !Keep(datagram, isParity)) {
        return qrn::kRtpNoData;
    }
    return isParity ? 0 : static_cast<int>(datagram.size());
}

bool CRtpParityHistory::Keep(std::span<const std::uint8_t> datagram, bool isParity) {
    if (m_resetAsked.load(std::memory_order_relaxed) && m_resetAsked.exchange(false)) {
        m_mediaTracker.Reset();
        m_parityTracker.Reset();
    }
    qrn::CWireReader reader(datagram);
    reader.Skip(isParity ? kSequenceBaseAt : kSequenceAt);
    const std::uint16_t sequence = reader.ReadU16();
    if (!reader.Ok()) {
        return false;
    }
    // Before the length is judged: a packet cut off behind its number moves the tracker too.
    const std::uint32_t extended = (isParity ? m_parityTracker : m_mediaTracker).Extend(sequence);
    try {
        return (isParity ? m_parity : m_media).Insert(datagram, isParity, extended);
    } catch (const std::bad_alloc&) {
        return true;  // a frame needs the packet more than the history does
    }
}
