#include "platform/sound/CByteQueue.h"

#include <algorithm>

namespace qrn {

CByteQueue::CByteQueue(std::size_t capacity) : m_bytes(capacity) {}

std::size_t CByteQueue::Push(std::span<const std::uint8_t> bytes) {
    std::size_t lost = 0;
    if (bytes.size() > Capacity()) {
        lost = bytes.size() - Capacity();
        bytes = bytes.subspan(lost);
    }
    const std::size_t room = Capacity() - m_size;
    if (bytes.size() > room) {
        const std::size_t excess = bytes.size() - room;
        Drop(excess);
        lost += excess;
    }
    if (bytes.empty()) {
        return lost;
    }
    const std::size_t end = (m_first + m_size) % Capacity();
    const std::size_t head = std::min(bytes.size(), Capacity() - end);
    std::copy_n(bytes.begin(), head, m_bytes.begin() + static_cast<std::ptrdiff_t>(end));
    std::copy(bytes.begin() + static_cast<std::ptrdiff_t>(head), bytes.end(), m_bytes.begin());
    m_size += bytes.size();
    return lost;
}

std::size_t CByteQueue::Pop(std::span<std::uint8_t> out) {
    const std::size_t count = std::min(out.size(), m_size);
    if (count == 0) {
        return 0;
    }
    const std::size_t head = std::min(count, Capacity() - m_first);
    std::copy_n(m_bytes.begin() + static_cast<std::ptrdiff_t>(m_first), head, out.begin());
    std::copy_n(m_bytes.begin(), count - head, out.begin() + static_cast<std::ptrdiff_t>(head));
    Drop(count);
    return count;
}

void CByteQueue::Drop(std::size_t bytes) {
    bytes = std::min(bytes, m_size);
    if (bytes == 0) {
        return;
    }
    m_first = (m_first + bytes) % Capacity();
    m_size -= bytes;
}

}  // namespace qrn
