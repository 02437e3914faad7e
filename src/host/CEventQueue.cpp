#include "host/CEventQueue.h"

#include <algorithm>

namespace qrn {

bool EndsTheCall(LONG code) {
    return code == EC_COMPLETE || code == EC_ERRORABORT || code == EC_USERABORT;
}

CEventQueue::CEventQueue(IClock& clock) : m_clock(clock) {}

bool CEventQueue::Push(const GraphEvent& event) {
    CScopedLock lock(m_lock);
    if (m_events.size() >= kCapacity && !MakeRoom()) {
        return false;
    }
    m_events.push_back(event);
    m_filled.Set();
    return true;
}

std::optional<GraphEvent> CEventQueue::Pop(std::chrono::nanoseconds timeout) {
    const bool forEver = timeout.count() < 0;
    const auto deadline = m_clock.Now() + timeout;
    for (;;) {
        if (std::optional<GraphEvent> event = TryPop()) {
            return event;
        }
        // Another reader may take the event that wakes this one, so what is left of the time is counted anew.
        const auto left = forEver ? timeout : deadline - m_clock.Now();
        if ((!forEver && left.count() <= 0) || !m_filled.Wait(m_clock, left)) {
            return TryPop();
        }
    }
}

std::optional<GraphEvent> CEventQueue::TryPop() {
    CScopedLock lock(m_lock);
    if (m_events.empty()) {
        return std::nullopt;
    }
    const GraphEvent event = m_events.front();
    m_events.pop_front();
    if (m_events.empty()) {
        m_filled.Reset();
    }
    return event;
}

bool CEventQueue::MakeRoom() {
    const auto victim = std::find_if(m_events.begin(), m_events.end(),
                                     [](const GraphEvent& event) { return !EndsTheCall(event.code); });
    if (victim == m_events.end()) {
        return false;
    }
    m_events.erase(victim);
    return true;
}

}  // namespace qrn
