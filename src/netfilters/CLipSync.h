#pragma once

#include <cstdint>
#include <optional>

namespace qrn {

/// When a video frame is to be shown so that lips and voice agree: the far end stamps both streams by one clock, and
/// the audio side tells when what it got is heard. Of one thread.
class CLipSync {
public:
    /// Of the audio packet delivered last.
    struct AudioTimes {
        std::uint32_t timestamp;   ///< of the wire, milliseconds of the sender
        std::uint32_t positionMs;  ///< stream time at which it was given to the renderer
        std::int64_t latencyMs;    ///< from there to the ear
    };

    /// The offset between the two clocks is kept while it is right within a frame period, so that the pictures do not
    /// tremble with the latency.
    /// @return the frame's stream time in milliseconds, which may be negative; nothing when the two streams are a
    /// second or more apart.
    std::optional<std::int64_t> PositionOf(std::uint32_t timestamp, const AudioTimes& audio,
                                           std::uint32_t framePeriodMs);

private:
    std::int64_t m_offsetMs = 0;  // from the sender's time to stream time
};

}  // namespace qrn
