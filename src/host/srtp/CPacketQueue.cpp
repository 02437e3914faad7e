#include "host/srtp/CPacketQueue.h"

#include <algorithm>

namespace qrn {

bool CPacketQueue::Push(std::span<const std::uint8_t> packet) {
    const CScopedLock lock(m_lock);
    const bool isFull = m_count == kPackets;
    if (isFull) {
        m_head = (m_head + 1) % kPackets;
        --m_count;
    }
    m_ring[(m_head + m_count) % kPackets].assign(packet.begin(), packet.end());
    ++m_count;
    m_readable.Set();
    return !isFull;
}

std::int32_t CPacketQueue::Pop(std::span<std::uint8_t> buffer) {
    const CScopedLock lock(m_lock);
    if (m_count == 0) {
        return 0;
    }
    const std::vector<std::uint8_t>& packet = m_ring[m_head];
    const bool fits = packet.size() <= buffer.size();
    if (fits) {
        std::ranges::copy(packet, buffer.begin());
    }
    m_head = (m_head + 1) % kPackets;
    if (--m_count == 0) {
        m_readable.Reset();
    }
    return fits ? static_cast<std::int32_t>(packet.size()) : 0;
}

void CPacketQueue::Clear() {
    const CScopedLock lock(m_lock);
    m_count = 0;
    m_readable.Reset();
}

}  // namespace qrn
