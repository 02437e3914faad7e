#include "platform/system/LogLimiter.h"

#include <algorithm>
#include <utility>

namespace qrn {
namespace {

constexpr std::chrono::nanoseconds kWindow = std::chrono::seconds(1);

}  // namespace

CLogLimiter::Window& CLogLimiter::WindowOf(std::string_view area, std::chrono::nanoseconds now) {
    const CLogArea name(area);
    const auto used = m_windows.begin() + static_cast<std::ptrdiff_t>(m_windowCount);
    auto found =
        std::find_if(m_windows.begin(), used, [&](const Window& window) { return window.area.Text() == name.Text(); });
    if (found == used) {
        if (m_windowCount < m_windows.size()) {
            ++m_windowCount;
            return *found = Window{name, now, 0, 0};
        }
        --found;
    }
    if (now - found->start >= kWindow) {
        found->start = now;
        found->written = 0;
    }
    return *found;
}

bool CLogLimiter::Admit(std::string_view area, std::chrono::nanoseconds now) {
    Window& window = WindowOf(area, now);
    if (window.written < kLinesPerSecond) {
        ++window.written;
        return true;
    }
    ++window.dropped;
    return false;
}

std::vector<CLogLimiter::Dropped> CLogLimiter::TakeDropped(std::chrono::nanoseconds now) {
    std::vector<Dropped> losses;
    for (Window& window : m_windows) {
        if (window.dropped > 0 && now - window.start >= kWindow) {
            losses.push_back({std::string(window.area.Text()), std::exchange(window.dropped, 0)});
        }
    }
    return losses;
}

std::vector<CLogLimiter::Dropped> CLogLimiter::TakeAllDropped() {
    return TakeDropped(std::chrono::nanoseconds::max());
}

}  // namespace qrn
