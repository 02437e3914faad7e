#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <unordered_map>
#include <utility>
#include <vector>

#include "qrn/filters.h"

namespace qrn {

/// What a clock's clients wait for, in the order of time. One thread at a time: the clock guards it.
///
/// The ticks of a periodic advice are counted from its start, never from the last tick, so that they do not drift;
/// those that passed while nobody looked are made up for at once.
class CAdviseList {
public:
    /// A period may be shorter than a thread can be woken. Its ticks are gathered into wake-ups this far apart.
    static constexpr REFERENCE_TIME kShortestWake = 5000;  // 0.5 ms

    struct Signal {
        int descriptor;
        std::uint64_t count;
    };

    /// @param period  0: once. @return the cookie, never 0.
    DWORD_PTR Add(REFERENCE_TIME first, REFERENCE_TIME period, int descriptor);
    /// @return false for a cookie that is not pending.
    bool Remove(DWORD_PTR cookie);

    /// When TakeDue is to be called next; nothing while no advice is pending.
    std::optional<REFERENCE_TIME> NextWake() const;
    /// What is due at `now`; single advices leave the list.
    std::vector<Signal> TakeDue(REFERENCE_TIME now);

private:
    struct Advice {
        REFERENCE_TIME nextTick;
        REFERENCE_TIME period;
        int descriptor;
    };
    void Insert(REFERENCE_TIME wake, DWORD_PTR cookie, const Advice& advice);

    std::map<std::pair<REFERENCE_TIME, DWORD_PTR>, Advice> m_byWake;
    std::unordered_map<DWORD_PTR, REFERENCE_TIME> m_wakeOf;
    DWORD_PTR m_lastCookie = 0;
};

}  // namespace qrn
