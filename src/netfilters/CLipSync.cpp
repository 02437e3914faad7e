#include "netfilters/CLipSync.h"

#include <algorithm>
#include <cstdlib>

namespace qrn {
namespace {

constexpr std::int64_t kFarApartMs = 1000;
/// A day: what is above is no latency, and no sum of it with timestamps overflows.
constexpr std::int64_t kMostLatencyMs = 86'400'000;

}  // namespace

std::optional<std::int64_t> CLipSync::PositionOf(std::uint32_t timestamp, const AudioTimes& audio,
                                                 std::uint32_t framePeriodMs) {
    // On the circle: timestamps wrap after 49 days.
    const std::int64_t aheadMs = static_cast<std::int32_t>(timestamp - audio.timestamp);
    if (std::abs(aheadMs) >= kFarApartMs) {
        return std::nullopt;
    }
    const std::int64_t heardMs = audio.positionMs + std::clamp(audio.latencyMs, -kMostLatencyMs, kMostLatencyMs);
    const std::int64_t offsetMs = heardMs - audio.timestamp;
    if (std::abs(m_offsetMs - offsetMs) > framePeriodMs) {
        m_offsetMs = offsetMs;
    }
    return audio.timestamp + aheadMs + m_offsetMs;
}

}  // namespace qrn
