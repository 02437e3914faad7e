#include "audiocoding/CDcFilter.h"

#include <algorithm>
#include <cmath>

namespace qrn {

void CDcFilter::Process(std::span<std::int16_t> pcm) {
    constexpr double kFeedback = 0.995;
    constexpr double kLimit = 32767.0;
    for (std::int16_t& sample : pcm) {
        const double in = sample;
        const double out = in - m_lastIn + m_lastOut * kFeedback;
        m_lastIn = in;
        m_lastOut = out;
        sample = static_cast<std::int16_t>(std::floor(std::clamp(out, -kLimit, kLimit) + 0.5));
    }
}

}  // namespace qrn
