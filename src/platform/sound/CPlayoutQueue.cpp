#include "platform/sound/CPlayoutQueue.h"

#include <algorithm>

namespace qrn {

namespace {
constexpr std::uint32_t kFeederPeriodMs = 10;
constexpr std::uint32_t kCushions = 4;  // of capacity: room for a burst after a late feeder
}  // namespace

CPlayoutQueue::CPlayoutQueue(const SoundFormat& format, std::uint32_t devicePeriodMs)
    : m_cushionBytes(format.BytesOf(devicePeriodMs + kFeederPeriodMs)),
      m_queue(m_cushionBytes * kCushions) {}

void CPlayoutQueue::Push(std::span<const std::uint8_t> frames) {
    const CScopedLock lock(m_gate);
    if (m_queue.Push(frames) > 0) {
        m_queue.Drop(m_queue.Size() - m_cushionBytes);
    }
}

void CPlayoutQueue::Pull(std::span<std::uint8_t> out) {
    std::size_t filled = 0;
    {
        const CScopedLock lock(m_gate);
        if (!m_collecting || m_queue.Size() >= m_cushionBytes) {
            filled = m_queue.Pop(out);
            m_collecting = filled < out.size();
        }
    }
    std::fill(out.begin() + static_cast<std::ptrdiff_t>(filled), out.end(), std::uint8_t{0});
}

}  // namespace qrn
