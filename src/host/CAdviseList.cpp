#include "host/CAdviseList.h"

#include <algorithm>
#include <limits>

namespace qrn {

DWORD_PTR CAdviseList::Add(REFERENCE_TIME first, REFERENCE_TIME period, int descriptor) {
    const DWORD_PTR cookie = ++m_lastCookie;
    Insert(first, cookie, {first, period, descriptor});
    return cookie;
}

bool CAdviseList::Remove(DWORD_PTR cookie) {
    const auto found = m_wakeOf.find(cookie);
    if (found == m_wakeOf.end()) {
        return false;
    }
    m_byWake.erase({found->second, cookie});
    m_wakeOf.erase(found);
    return true;
}

std::optional<REFERENCE_TIME> CAdviseList::NextWake() const {
    if (m_byWake.empty()) {
        return std::nullopt;
    }
    return m_byWake.begin()->first.first;
}

std::vector<CAdviseList::Signal> CAdviseList::TakeDue(REFERENCE_TIME now) {
    std::vector<Signal> due;
    while (!m_byWake.empty() && m_byWake.begin()->first.first <= now) {
        const DWORD_PTR cookie = m_byWake.begin()->first.second;
        Advice advice = m_byWake.begin()->second;
        Remove(cookie);
        if (advice.period == 0) {
            due.push_back({advice.descriptor, 1});
            continue;
        }
        const REFERENCE_TIME ticksAfterFirst = (now - advice.nextTick) / advice.period;
        due.push_back({advice.descriptor, static_cast<std::uint64_t>(ticksAfterFirst) + 1});
        const REFERENCE_TIME lastTick = advice.nextTick + ticksAfterFirst * advice.period;
        if (advice.period > std::numeric_limits<REFERENCE_TIME>::max() - lastTick) {
            continue;  // the next tick lies past the end of time
        }
        advice.nextTick = lastTick + advice.period;
        Insert(std::max(advice.nextTick, now + kShortestWake), cookie, advice);
    }
    return due;
}

void CAdviseList::Insert(REFERENCE_TIME wake, DWORD_PTR cookie, const Advice& advice) {
    m_byWake.emplace(std::pair(wake, cookie), advice);
    m_wakeOf.emplace(cookie, wake);
}

}  // namespace qrn
