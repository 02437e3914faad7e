#pragma once

#include <cstddef>
#include <cstdint>

namespace qrn::bench {

/// What a receiver saw of a paced stream, by the system's time of each datagram's arrival.
struct PacingFigures {
    double kbitPerSecond = 0;         ///< of payload, from the first burst's start to the last one's
    double formulaKbitPerSecond = 0;  ///< whole bursts, each behind its pause of whole milliseconds
    std::size_t longestBurst = 0;     ///< packets between pauses
    double worstPauseMs = 0;          ///< the shortest seen
    std::uint32_t formulaPauseMs = 0;
};

/// Lets the paced sender send for about `seconds`.
PacingFigures MeasurePacing(std::uint32_t burstPackets, std::uint32_t rateKbit, double seconds);

}  // namespace qrn::bench
