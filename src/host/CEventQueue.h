#pragma once

#include <chrono>
#include <cstddef>
#include <deque>
#include <optional>

#include "platform/system/Clock.h"
#include "platform/system/Event.h"
#include "platform/system/Lock.h"
#include "qrn/filters.h"

namespace qrn {

struct GraphEvent {
    LONG code;
    LONG_PTR param1;
    LONG_PTR param2;
};

/// True for the events after which a call is over: complete, aborted by an error, aborted by the user.
bool EndsTheCall(LONG code);

/// The events that wait for the client. Bounded, because a client need not read them: when it is full the oldest event
/// gives way that does not end the call, so that a flood of quality messages never hides the end. Full of ending events
/// it keeps the first ones, which tell the cause, and refuses new ones. Any thread.
class CEventQueue {
public:
    static constexpr std::size_t kCapacity = 1024;

    /// @throws std::system_error when the process has no descriptor left.
    explicit CEventQueue(IClock& clock);

    /// @return false when the event was refused.
    bool Push(const GraphEvent& event) QRN_EXCLUDES(m_lock);

    /// The oldest event. @param timeout  negative: for ever; 0: only looks. @return nothing after the time-out.
    std::optional<GraphEvent> Pop(std::chrono::nanoseconds timeout) QRN_EXCLUDES(m_lock);

    /// Readable while events wait.
    int Descriptor() const { return m_filled.Descriptor(); }

private:
    std::optional<GraphEvent> TryPop() QRN_EXCLUDES(m_lock);
    bool MakeRoom() QRN_REQUIRES(m_lock);

    IClock& m_clock;
    CMutex m_lock;
    CEvent m_filled{EventReset::kManual};  // changes with m_events, under m_lock
    std::deque<GraphEvent> m_events QRN_GUARDED_BY(m_lock);
};

}  // namespace qrn
