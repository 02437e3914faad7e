#pragma once
/// How many datagrams come in one go.

#include <chrono>
#include <cstdint>
#include <vector>

namespace qrn {

/// Datagrams belong to one burst until nothing has come for kQuiet: shorter pauses are not told apart from what a busy
/// machine does by itself. Not locked.
class CBurstCounter {
public:
    static constexpr std::chrono::milliseconds kQuiet{3};

    struct Bursts {
        std::uint64_t count = 0;
        std::uint64_t median = 0;  // datagrams
        std::uint64_t longest = 0;
    };

    /// @param datagrams  so far; to be looked at every millisecond.
    void Look(std::chrono::nanoseconds now, std::uint64_t datagrams);
    /// With the one that has not ended.
    Bursts Total() const;

private:
    std::uint64_t m_seen = 0;
    std::uint64_t m_inBurst = 0;
    std::chrono::nanoseconds m_lastArrival{0};
    std::vector<std::uint32_t> m_sizes;
};

}  // namespace qrn
