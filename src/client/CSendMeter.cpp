#include "client/CSendMeter.h"

#include <algorithm>
#include <iterator>

namespace qrn {
namespace {

// A packet carries this much at most; more is cut into several.
constexpr std::size_t kPayloadBytes = 1088;
constexpr std::size_t kKeptPackets = 1000;

}  // namespace

std::uint64_t PacketsOf(std::size_t frameBytes) {
    return (frameBytes + kPayloadBytes - 1) / kPayloadBytes;
}

CSendMeter::CSendMeter(PcmFormat format, std::size_t samplesPerPacket, IClock& clock)
    : m_format(format),
      m_samplesPerPacket(samplesPerPacket),
      m_clock(clock),
      m_level(format.channels) {}

void CSendMeter::OnPcm(std::span<const std::int16_t> interleaved) {
    const auto now = m_clock.Now();
    const auto channels = static_cast<std::size_t>(m_format.channels);
    CScopedLock lock(m_lock);
    m_blocks.push_back({m_counts.samples, now});
    m_counts.samples += interleaved.size() / channels;
    m_level.Add(interleaved);
    const std::size_t most = m_format.SamplesPerBlock(1000 * kMaxComparedSeconds) * channels;
    const std::size_t room = most - std::min(most, m_sound.size());
    m_sound.insert(m_sound.end(), interleaved.begin(),
                   interleaved.begin() + static_cast<std::ptrdiff_t>(std::min(room, interleaved.size())));
}

void CSendMeter::OnPacket(std::uint32_t timestampMs, std::size_t bytes) {
    CScopedLock lock(m_lock);
    m_counts.packets += PacketsOf(bytes);
    m_counts.codedBytes += bytes;
    const std::uint64_t firstSample = FirstSampleOf(timestampMs);
    m_packedSamples = std::max<std::uint64_t>(m_packedSamples, firstSample + m_samplesPerPacket);
    const auto next = std::find_if(m_blocks.begin(), m_blocks.end(),
                                   [firstSample](const Block& block) { return block.firstSample > firstSample; });
    if (next == m_blocks.begin()) {
        return;
    }
    m_packets.push_back({timestampMs, std::prev(next)->time});
    if (m_packets.size() > kKeptPackets) {
        m_packets.pop_front();
    }
    m_blocks.erase(m_blocks.begin(), std::prev(next));
}

/// Packets stand one behind the other from stream time 0, as the sound does; the stamp of a packet lies somewhere in
/// its own span of time. Not by count: the compressor may have nothing to give for a packet.
std::uint64_t CSendMeter::FirstSampleOf(std::uint32_t timestampMs) const {
    const auto rate = static_cast<std::uint64_t>(m_format.sampleRate);
    return timestampMs * rate / 1000 / m_samplesPerPacket * m_samplesPerPacket;
}

CSendMeter::Counts CSendMeter::Total() const {
    CScopedLock lock(m_lock);
    return m_counts;
}

double CSendMeter::TakeRecentLevelDbfs() {
    CScopedLock lock(m_lock);
    return m_level.TakeRecentDbfs();
}

std::vector<double> CSendMeter::LevelsDbfs() const {
    CScopedLock lock(m_lock);
    return m_level.TotalDbfs();
}

std::optional<std::chrono::nanoseconds> CSendMeter::EntryTimeOf(std::uint32_t timestampMs) const {
    CScopedLock lock(m_lock);
    const auto found = std::find_if(m_packets.rbegin(), m_packets.rend(), [timestampMs](const Packet& packet) {
        return (packet.timestampMs | 1) == (timestampMs | 1);
    });
    return found == m_packets.rend() ? std::nullopt : std::optional(found->time);
}

std::vector<std::int16_t> CSendMeter::SentSound() const {
    CScopedLock lock(m_lock);
    const std::size_t packed = static_cast<std::size_t>(m_packedSamples) * static_cast<std::size_t>(m_format.channels);
    return {m_sound.begin(), m_sound.begin() + static_cast<std::ptrdiff_t>(std::min(packed, m_sound.size()))};
}

}  // namespace qrn
