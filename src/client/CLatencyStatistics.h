#pragma once
/// The spread of many delays.

#include <optional>
#include <vector>

namespace qrn {

/// Keeps every value: some 100 kB for an hour of call. Not locked: its owner does that.
class CLatencyStatistics {
public:
    void Add(double milliseconds) { m_values.push_back(static_cast<float>(milliseconds)); }

    std::size_t Count() const { return m_values.size(); }
    std::optional<double> LastMs() const;
    /// The smallest value that `percent` of all values do not exceed (nearest rank); nothing without values.
    std::optional<double> PercentileMs(double percent) const;

private:
    std::vector<float> m_values;
};

}  // namespace qrn
