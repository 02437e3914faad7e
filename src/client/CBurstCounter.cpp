#include "client/CBurstCounter.h"

#include <algorithm>
#include <utility>

namespace qrn {

void CBurstCounter::Look(std::chrono::nanoseconds now, std::uint64_t datagrams) {
    const std::uint64_t came = datagrams - std::exchange(m_seen, datagrams);
    if (m_inBurst > 0 && now - m_lastArrival >= kQuiet) {
        m_sizes.push_back(static_cast<std::uint32_t>(std::exchange(m_inBurst, 0)));
    }
    if (came > 0) {
        m_inBurst += came;
        m_lastArrival = now;
    }
}

CBurstCounter::Bursts CBurstCounter::Total() const {
    std::vector<std::uint32_t> sizes = m_sizes;
    if (m_inBurst > 0) {
        sizes.push_back(static_cast<std::uint32_t>(m_inBurst));
    }
    if (sizes.empty()) {
        return {};
    }
    std::sort(sizes.begin(), sizes.end());
    return {sizes.size(), sizes[sizes.size() / 2], sizes.back()};
}

}  // namespace qrn
