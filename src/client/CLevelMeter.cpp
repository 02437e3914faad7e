#include "client/CLevelMeter.h"

#include <algorithm>
#include <cmath>

namespace qrn {

double CLevelMeter::Sum::Dbfs() const {
    if (count == 0 || squares <= 0) {
        return kSilenceDbfs;
    }
    const double meanSquare = squares / static_cast<double>(count);
    return std::max(10.0 * std::log10(meanSquare / (32768.0 * 32768.0)), kSilenceDbfs);
}

void CLevelMeter::Add(std::span<const std::int16_t> interleaved) {
    for (std::size_t i = 0; i < interleaved.size(); ++i) {
        const double square = static_cast<double>(interleaved[i]) * interleaved[i];
        for (Sum* sum : {&m_total[i % m_total.size()], &m_recent[i % m_recent.size()]}) {
            sum->squares += square;
            ++sum->count;
        }
    }
}

std::vector<double> CLevelMeter::TotalDbfs() const {
    std::vector<double> levels;
    for (const Sum& sum : m_total) {
        levels.push_back(sum.Dbfs());
    }
    return levels;
}

double CLevelMeter::TakeRecentDbfs() {
    double loudest = kSilenceDbfs;
    for (Sum& sum : m_recent) {
        loudest = std::max(loudest, sum.Dbfs());
        sum = {};
    }
    return loudest;
}

bool CLevelMeter::HeardAnything() const {
    return std::any_of(m_total.begin(), m_total.end(), [](const Sum& sum) { return sum.squares > 0; });
}

}  // namespace qrn
