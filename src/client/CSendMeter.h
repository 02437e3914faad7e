#pragma once
/// What goes into a call.

#include <chrono>
#include <cstdint>
#include <deque>
#include <optional>
#include <span>
#include <vector>

#include "client/CLevelMeter.h"
#include "client/Pcm.h"
#include "platform/system/Clock.h"
#include "platform/system/Lock.h"

namespace qrn {

/// Sound is kept for comparison up to this length.
inline constexpr int kMaxComparedSeconds = 120;

/// How many packets a coded frame becomes on the wire.
std::uint64_t PacketsOf(std::size_t frameBytes);

/// Counts what passes the taps of a send graph: OnPcm and OnPacket come on its streaming thread, the questions from
/// any.
class CSendMeter {
public:
    struct Counts {
        std::uint64_t samples = 0;  // per channel
        std::uint64_t packets = 0;  // RTP packets
        std::uint64_t codedBytes = 0;
    };

    /// @param samplesPerPacket  of one channel.
    CSendMeter(PcmFormat format, std::size_t samplesPerPacket, IClock& clock = SystemClock());

    /// Before the compressor.
    void OnPcm(std::span<const std::int16_t> interleaved);
    /// Behind it. @param timestampMs  as it goes onto the wire.
    void OnPacket(std::uint32_t timestampMs, std::size_t bytes);

    Counts Total() const;
    double TakeRecentLevelDbfs();
    std::vector<double> LevelsDbfs() const;
    /// When the first sample of the packet with that timestamp entered the compressor. Bit 0 of a timestamp belongs to
    /// the framing of packets and does not count.
    std::optional<std::chrono::nanoseconds> EntryTimeOf(std::uint32_t timestampMs) const;
    /// What was coded in whole packets, up to kMaxComparedSeconds.
    std::vector<std::int16_t> SentSound() const;

private:
    struct Block {
        std::uint64_t firstSample;
        std::chrono::nanoseconds time;
    };
    struct Packet {
        std::uint32_t timestampMs;
        std::chrono::nanoseconds time;
    };

    std::uint64_t FirstSampleOf(std::uint32_t timestampMs) const;

    const PcmFormat m_format;
    const std::size_t m_samplesPerPacket;
    IClock& m_clock;
    mutable CMutex m_lock;
    Counts m_counts QRN_GUARDED_BY(m_lock);
    CLevelMeter m_level QRN_GUARDED_BY(m_lock);
    std::deque<Block> m_blocks QRN_GUARDED_BY(m_lock);    // from the one in which the last packet began
    std::deque<Packet> m_packets QRN_GUARDED_BY(m_lock);  // the last ones
    std::uint64_t m_packedSamples QRN_GUARDED_BY(m_lock) = 0;
    std::vector<std::int16_t> m_sound QRN_GUARDED_BY(m_lock);
};

}  // namespace qrn
