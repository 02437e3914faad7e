#pragma once
/// How much of a sound has come through a call.

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "client/Pcm.h"

namespace qrn {

/// The comparison of one channel. Segments are half a second of the input; those without sound are left out, and each
/// one is looked for in the received sound by itself, since a call starts with silence and may have put in some more.
struct ChannelFidelity {
    int segments = 0;         // compared
    double matchedShare = 0;  // of the segments: found again, with a correlation of kMatchedCorrelation or more
    double correlation = 0;   // median over all segments, of the aligned waveforms, 0 to 1
    double snrDb = 0;         // median over the matched segments of the segmental SNR (20 ms frames), gain matched
    double gainDb = 0;        // median over the matched segments, received against input
    double delayMs = 0;       // median over the matched segments: place in the received sound less place in the input
    double bandLossDb = 0;    // of the octave band up to the given limit that has lost most, gain matched
};

/// What a segment of other speech never reaches, by the measurements in the test of this file.
inline constexpr double kMatchedCorrelation = 0.7;

/// A place is looked for this much before and after that of the input.
inline constexpr double kSearchBackSeconds = 0.25;
inline constexpr double kSearchAheadSeconds = 4.0;

/// @param input, received  interleaved, of the same format.
/// @param speechBandHz  octave bands above this are not judged.
/// @return one entry a channel. Any thread; takes about 10 ms for each second of sound.
std::vector<ChannelFidelity> CompareSound(PcmFormat format, std::span<const std::int16_t> input,
                                          std::span<const std::int16_t> received, int speechBandHz);

/// Where in `sound`, which is repeated without end, `part` has been taken from. Looks at the first second of the first
/// channel.
/// @return a place counted in samples of one channel; nothing when `part` is too short or is not found. Any thread;
/// takes some 10 ms for each second of `sound`.
std::optional<std::size_t> FindInLoop(PcmFormat format, std::span<const std::int16_t> part,
                                      std::span<const std::int16_t> sound);

}  // namespace qrn
