#include "client/CReceiveMeter.h"

#include <algorithm>
#include <utility>

namespace qrn {
namespace {

// The received sound starts earlier than the sent one and has silence put in.
constexpr int kKeptSeconds = kMaxComparedSeconds + 10;

}  // namespace

CReceiveMeter::CReceiveMeter(PcmFormat format, const CSendMeter* sender, IClock& clock)
    : m_format(format),
      m_sender(sender),
      m_clock(clock),
      m_level(format.channels) {}

void CReceiveMeter::OnPacket(std::size_t bytes, std::optional<std::uint32_t> timestampMs) {
    const auto now = m_clock.Now();
    const auto entry = m_sender != nullptr && bytes > 0 && timestampMs ? m_sender->EntryTimeOf(*timestampMs)
                                                                       : std::optional<std::chrono::nanoseconds>();
    CScopedLock lock(m_lock);
    m_entryTime = entry;
    if (bytes > 0) {
        ++m_counts.frames;
        m_counts.packetsPlayed += PacketsOf(bytes);
        m_counts.codedBytes += bytes;
        m_lastArrival = now;
        m_counts.silentTurns += std::exchange(m_turnsSinceFrame, 0);
    } else if (m_counts.frames > 0) {
        ++m_turnsSinceFrame;
    }
}

void CReceiveMeter::OnWrongFrame() {
    CScopedLock lock(m_lock);
    ++m_counts.wrongFrames;
}

void CReceiveMeter::OnPcm(std::span<const std::int16_t> interleaved) {
    const auto now = m_clock.Now();
    const auto channels = static_cast<std::size_t>(m_format.channels);
    CScopedLock lock(m_lock);
    if (m_entryTime) {
        m_latencies.Add(std::chrono::duration<double, std::milli>(now - *m_entryTime).count());
        m_entryTime.reset();
    }
    m_counts.samples += interleaved.size() / channels;
    m_level.Add(interleaved);
    const std::size_t most = m_format.SamplesPerBlock(1000 * kKeptSeconds) * channels;
    const std::size_t room = most - std::min(most, m_sound.size());
    m_sound.insert(m_sound.end(), interleaved.begin(),
                   interleaved.begin() + static_cast<std::ptrdiff_t>(std::min(room, interleaved.size())));
}

CReceiveMeter::Counts CReceiveMeter::Total() const {
    CScopedLock lock(m_lock);
    return m_counts;
}

double CReceiveMeter::TakeRecentLevelDbfs() {
    CScopedLock lock(m_lock);
    return m_level.TakeRecentDbfs();
}

std::vector<double> CReceiveMeter::LevelsDbfs() const {
    CScopedLock lock(m_lock);
    return m_level.TotalDbfs();
}

std::optional<double> CReceiveMeter::LastLatencyMs() const {
    CScopedLock lock(m_lock);
    return m_latencies.LastMs();
}

CLatencyStatistics CReceiveMeter::Latencies() const {
    CScopedLock lock(m_lock);
    return m_latencies;
}

std::optional<std::chrono::nanoseconds> CReceiveMeter::LastArrival() const {
    CScopedLock lock(m_lock);
    return m_lastArrival;
}

std::vector<std::int16_t> CReceiveMeter::ReceivedSound() const {
    CScopedLock lock(m_lock);
    return m_sound;
}

}  // namespace qrn
