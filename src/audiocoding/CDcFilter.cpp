#include "audiocoding/CDcFilter.h"

#include <algorithm>

namespace qrn {

namespace {

/// std::floor without the call that it is on processors before SSE 4.1; for values that fit an int.
int FloorOf(double value) {
    const int truncated = static_cast<int>(value);
    return truncated - (truncated > value ? 1 : 0);
}

}  // namespace

void CDcFilter::Process(std::span<std::int16_t> pcm) {
    constexpr double kFeedback = 0.995;
    constexpr double kLimit = 32767.0;
    for (std::int16_t& sample : pcm) {
        const double in = sample;
        const double out = in - m_lastIn + m_lastOut * kFeedback;
        m_lastIn = in;
        m_lastOut = out;
        sample = static_cast<std::int16_t>(FloorOf(std::clamp(out, -kLimit, kLimit) + 0.5));
    }
}

}  // namespace qrn
