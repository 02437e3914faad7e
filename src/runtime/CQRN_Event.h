#pragma once

#include <chrono>

#include "platform/system/Clock.h"
#include "platform/system/Event.h"

/// The module's event, clear at construction. Any thread.
class CQRN_Event {
public:
    /// One that resets itself when it wakes a waiter.
    /// @throws std::system_error when the process has no descriptor left.
    CQRN_Event();
    /// @param manual  it stays set until Reset
    /// @throws std::system_error when the process has no descriptor left.
    explicit CQRN_Event(bool manual);

    void Set();
    void Reset();

    /// @param timeout  negative: for ever; 0: only looks.
    /// @return false after the time-out.
    bool Wait(qrn::IClock& clock, std::chrono::nanoseconds timeout);

    /// For a poll together with other descriptors; call TryConsume after a wake-up through it.
    int Descriptor() const;
    bool TryConsume();

private:
    qrn::CEvent m_event;
};
