#include "rtp/CRtpSequenceTracker.h"

namespace {
constexpr std::uint32_t kCycle = 0x10000;
}

std::uint32_t CRtpSequenceTracker::Extend(std::uint16_t sequence) {
    if (!m_started) {
        m_started = true;
        if (sequence != 0) {
            m_baseSequence = sequence - 1u;
        } else {
            m_baseSequence = kCycle - 1;
            m_cycles = kCycle;
        }
        m_highestExtended = m_baseSequence + 1;
        return m_highestExtended;
    }
    const auto highest = static_cast<std::uint16_t>(m_highestExtended);
    if (sequence < highest) {
        const auto ahead = static_cast<std::uint16_t>(sequence - highest);
        const auto behind = static_cast<std::uint16_t>(highest - sequence);
        if (ahead >= behind) {
            return sequence + m_cycles;  // late: nothing is remembered of it
        }
        m_cycles += kCycle;
    }
    m_highestExtended = sequence + m_cycles;
    return m_highestExtended;
}

void CRtpSequenceTracker::Reset() {
    *this = CRtpSequenceTracker();
}
