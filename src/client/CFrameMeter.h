#pragma once
/// What has become of made-up frames at the receiving end.

#include <chrono>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "platform/system/Lock.h"

namespace qrn {

/// OnFrame comes on the streaming thread, the questions from any.
class CFrameMeter {
public:
    struct Counts {
        std::uint64_t whole = 0;
        std::uint64_t damaged = 0;
        std::uint64_t foreign = 0;  // no frames of this program
        std::uint64_t missing = 0;  // numbers between the first and the last that did not come
        std::uint64_t bytes = 0;    // of whole ones
    };
    struct Delays {
        double p50Ms = 0;  // between the two machines' wall clocks
        double p99Ms = 0;
        double spreadP99Ms = 0;  // over the fastest frame, which no difference of the clocks changes
        std::uint64_t late = 0;  // more than a frame's period behind the fastest
    };

    /// @param now  on the wall clock.
    void OnFrame(std::span<const std::uint8_t> frame, std::chrono::nanoseconds now);

    Counts Total() const;
    /// Nothing without frames.
    std::optional<Delays> DelaysSoFar() const;
    std::optional<double> LastDelayMs() const;

private:
    struct Delay {
        double ms;
        double periodMs;
    };

    mutable CMutex m_lock;
    Counts m_counts QRN_GUARDED_BY(m_lock);
    std::optional<std::uint32_t> m_firstNumber QRN_GUARDED_BY(m_lock);
    std::uint32_t m_lastNumber QRN_GUARDED_BY(m_lock) = 0;
    std::vector<Delay> m_delays QRN_GUARDED_BY(m_lock);
};

}  // namespace qrn
