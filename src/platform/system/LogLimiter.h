#pragma once
/// Keeps a flood of log lines from drowning everything else.

#include <array>
#include <chrono>
#include <string>
#include <string_view>
#include <vector>

#include "platform/system/LogArea.h"

namespace qrn {

/// Lets a number of lines per second and area pass and counts the rest. Not locked: its owner does that. Keeps nothing
/// on the heap.
class CLogLimiter {
public:
    static constexpr int kLinesPerSecond = 50;

    struct Dropped {
        std::string area;
        long lines;
    };

    /// @return whether a line of that area may be written at the time `now`.
    bool Admit(std::string_view area, std::chrono::nanoseconds now);

    /// The areas whose second is over and that lost lines in it; each loss is told once.
    std::vector<Dropped> TakeDropped(std::chrono::nanoseconds now);
    /// The same without regard to the time.
    std::vector<Dropped> TakeAllDropped();

private:
    /// Areas past the last one share its window.
    static constexpr std::size_t kMaxWindows = 32;
    struct Window {
        CLogArea area;
        std::chrono::nanoseconds start;
        int written;
        long dropped;
    };

    Window& WindowOf(std::string_view area, std::chrono::nanoseconds now);

    std::array<Window, kMaxWindows> m_windows{};
    std::size_t m_windowCount = 0;
};

}  // namespace qrn
