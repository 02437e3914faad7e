#pragma once
/// Time and everything that lets it pass. A class that paces, waits or times out takes an IClock, so that a test can
/// drive it; SystemClock() is what it gets in a program.

#include <poll.h>

#include <chrono>
#include <cstdint>
#include <span>

namespace qrn {

/// Monotonic time and the two ways of waiting for it. Any thread.
class IClock {
public:
    virtual ~IClock() = default;

    /// Since an arbitrary start, never backwards.
    virtual std::chrono::nanoseconds Now() const = 0;

    virtual void SleepFor(std::chrono::nanoseconds time) = 0;

    /// As poll(2), with the time-out counted by this clock; a negative time-out waits for ever.
    /// @return the number of descriptors ready, 0 after the time-out, -1 on failure. EINTR is not seen by the caller.
    virtual int Poll(std::span<pollfd> descriptors, std::chrono::nanoseconds timeout) = 0;
};

/// The machine's own monotonic clock.
IClock& SystemClock();

/// The same clock's time of the last timer tick, so up to some milliseconds behind, for a few nanoseconds of work: for
/// what is noted down at every sample.
std::chrono::nanoseconds CoarseNow();

/// The clock in whole milliseconds, modulo 2^32: compare by the signed difference only.
inline std::uint32_t TimeMs(const IClock& clock) {
    return static_cast<std::uint32_t>(std::chrono::duration_cast<std::chrono::milliseconds>(clock.Now()).count());
}

}  // namespace qrn
