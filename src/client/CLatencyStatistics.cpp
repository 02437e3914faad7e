#include "client/CLatencyStatistics.h"

#include <algorithm>
#include <cmath>

namespace qrn {

std::optional<double> CLatencyStatistics::LastMs() const {
    return m_values.empty() ? std::nullopt : std::optional<double>(m_values.back());
}

std::optional<double> CLatencyStatistics::PercentileMs(double percent) const {
    if (m_values.empty()) {
        return std::nullopt;
    }
    std::vector<float> sorted = m_values;
    const double rank = std::ceil(percent / 100.0 * static_cast<double>(sorted.size()));
    const auto index = static_cast<std::size_t>(std::clamp(rank, 1.0, static_cast<double>(sorted.size()))) - 1;
    const auto place = sorted.begin() + static_cast<std::ptrdiff_t>(index);
    std::nth_element(sorted.begin(), place, sorted.end());
    return *place;
}

}  // namespace qrn
