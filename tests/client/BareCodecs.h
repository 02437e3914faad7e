#pragma once
/// The codecs' own libraries, with nothing of ours around them: what a call can keep of a sound at best.

#include <cstdint>
#include <vector>

namespace qrn::test {

using Pcm = std::vector<std::int16_t>;

/// 8000 Hz.
Pcm ThroughGsm(const Pcm& input);
/// 8000 Hz; FFmpeg's coder.
Pcm ThroughG726(const Pcm& input, int kbps);
/// 8000 Hz, or 32000 Hz as an ultra-wideband signal; constant bit rate.
Pcm ThroughSpeex(const Pcm& input, bool ultraWide, int bitsPerSecond);
/// 32000 Hz, through LAME and back.
Pcm ThroughMp3(const Pcm& input);
/// 48000 Hz, constant bit rate.
Pcm ThroughOpus(const Pcm& input, int kbps);

}  // namespace qrn::test
