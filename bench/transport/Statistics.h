#pragma once

#include <algorithm>
#include <cstddef>
#include <vector>

namespace qrn::bench {

/// @param values  at least one. @return of sorted values the one at that share of the way, 0 to 1.
inline double Quantile(std::vector<double> values, double share) {
    std::ranges::sort(values);
    return values[static_cast<std::size_t>(share * static_cast<double>(values.size() - 1) + 0.5)];
}
inline double Median(std::vector<double> values) {
    return Quantile(std::move(values), 0.5);
}

}  // namespace qrn::bench
