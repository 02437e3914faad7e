#pragma once
/// What comes out of a call.

#include <chrono>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "client/CLatencyStatistics.h"
#include "client/CLevelMeter.h"
#include "client/CSendMeter.h"
#include "client/Pcm.h"
#include "platform/system/Clock.h"
#include "platform/system/Lock.h"

namespace qrn {

/// Counts what passes the taps of a receive graph: the On... operations come on its streaming thread, the questions
/// from any.
class CReceiveMeter {
public:
    struct Counts {
        std::uint64_t samples = 0;        // per channel
        std::uint64_t frames = 0;         // coded frames that reached the decompressor
        std::uint64_t packetsPlayed = 0;  // RTP packets that these frames came in
        std::uint64_t silentTurns = 0;    // without one, between the first and the last
        std::uint64_t codedBytes = 0;
        std::uint64_t wrongFrames = 0;  // frames that cannot be of the codec
    };

    /// @param sender  where the other half of the call is in this process too: latency is measured then. May be null.
    CReceiveMeter(PcmFormat format, const CSendMeter* sender, IClock& clock = SystemClock());

    /// Before the decompressor. @param bytes  0 when nothing had arrived. @param timestampMs  from the wire.
    void OnPacket(std::size_t bytes, std::optional<std::uint32_t> timestampMs);
    /// A frame that cannot be of the codec, beside its OnPacket.
    void OnWrongFrame();
    /// Behind it, for the same frame.
    void OnPcm(std::span<const std::int16_t> interleaved);

    Counts Total() const;
    double TakeRecentLevelDbfs();
    std::vector<double> LevelsDbfs() const;
    std::optional<double> LastLatencyMs() const;
    CLatencyStatistics Latencies() const;
    /// The time of the last packet.
    std::optional<std::chrono::nanoseconds> LastArrival() const;
    /// All that came out, up to some seconds more than are compared.
    std::vector<std::int16_t> ReceivedSound() const;

private:
    const PcmFormat m_format;
    const CSendMeter* const m_sender;
    IClock& m_clock;
    mutable CMutex m_lock;
    Counts m_counts QRN_GUARDED_BY(m_lock);
    CLevelMeter m_level QRN_GUARDED_BY(m_lock);
    CLatencyStatistics m_latencies QRN_GUARDED_BY(m_lock);
    std::optional<std::chrono::nanoseconds> m_entryTime QRN_GUARDED_BY(m_lock);  // of the frame in the decompressor
    std::optional<std::chrono::nanoseconds> m_lastArrival QRN_GUARDED_BY(m_lock);
    std::uint64_t m_turnsSinceFrame QRN_GUARDED_BY(m_lock) = 0;
    std::vector<std::int16_t> m_sound QRN_GUARDED_BY(m_lock);
};

}  // namespace qrn
