#include "client/CFrameMeter.h"

#include <algorithm>

#include "client/CLatencyStatistics.h"
#include "client/FrameContents.h"

namespace qrn {

void CFrameMeter::OnFrame(std::span<const std::uint8_t> frame, std::chrono::nanoseconds now) {
    FrameHeader header;
    const FrameState state = ReadFrame(frame, header);
    CScopedLock lock(m_lock);
    if (state != FrameState::kWhole) {
        ++(state == FrameState::kDamaged ? m_counts.damaged : m_counts.foreign);
        return;
    }
    ++m_counts.whole;
    m_counts.bytes += frame.size();
    if (!m_firstNumber) {
        m_firstNumber = header.number;
        m_lastNumber = header.number;
    }
    m_lastNumber = std::max(m_lastNumber, header.number);
    m_delays.push_back({std::chrono::duration<double, std::milli>(now - header.sentAt).count(),
                        static_cast<double>(header.periodUs) / 1000});
}

CFrameMeter::Counts CFrameMeter::Total() const {
    CScopedLock lock(m_lock);
    Counts counts = m_counts;
    if (m_firstNumber) {
        const std::uint64_t numbers = std::uint64_t{m_lastNumber} - *m_firstNumber + 1;
        counts.missing = numbers - std::min(numbers, counts.whole + counts.damaged);
    }
    return counts;
}

std::optional<CFrameMeter::Delays> CFrameMeter::DelaysSoFar() const {
    CScopedLock lock(m_lock);
    if (m_delays.empty()) {
        return std::nullopt;
    }
    const double fastest = std::min_element(m_delays.begin(), m_delays.end(), [](const Delay& a, const Delay& b) {
                               return a.ms < b.ms;
                           })->ms;
    CLatencyStatistics statistics;
    Delays delays;
    for (const Delay& delay : m_delays) {
        statistics.Add(delay.ms - fastest);
        delays.late += delay.ms - fastest > delay.periodMs ? 1 : 0;
    }
    delays.p50Ms = fastest + *statistics.PercentileMs(50);
    delays.spreadP99Ms = *statistics.PercentileMs(99);
    delays.p99Ms = fastest + delays.spreadP99Ms;
    return delays;
}

std::optional<double> CFrameMeter::LastDelayMs() const {
    CScopedLock lock(m_lock);
    return m_delays.empty() ? std::nullopt : std::optional(m_delays.back().ms);
}

}  // namespace qrn
