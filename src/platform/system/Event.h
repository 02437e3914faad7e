#pragma once
/// An event that one thread sets and others wait for, alone or together with descriptors.

#include <atomic>
#include <chrono>

#include "platform/system/Clock.h"

namespace qrn {

enum class EventReset { kAutomatic, kManual };

/// Stands on an eventfd, so that one poll waits for it and for a socket alike. Clear at construction. Any thread.
class CEvent {
public:
    /// @throws std::system_error when the process has no descriptor left.
    explicit CEvent(EventReset reset = EventReset::kAutomatic);
    ~CEvent();
    CEvent(const CEvent&) = delete;
    CEvent& operator=(const CEvent&) = delete;

    void Set();
    void Reset();

    /// Waits until the event is set; an automatic one is clear afterwards, and then wakes exactly one waiter.
    /// @param timeout  negative: for ever; 0: only looks.
    /// @return false after the time-out.
    bool Wait(IClock& clock, std::chrono::nanoseconds timeout);

    /// For a poll together with other descriptors: readable while set. After a wake-up through it call TryConsume.
    int Descriptor() const { return m_descriptor; }

    /// Whether the event was set, without a system call, for a loop that asks more often than it polls. True for an
    /// event whose Set has returned; for a while it may be true for one that is clear.
    bool LooksSet() const { return m_looksSet.load(std::memory_order_acquire); }

    /// Takes the signal as Wait does, without waiting. @return false when the event was clear.
    bool TryConsume();

private:
    const EventReset m_reset;
    int m_descriptor;
    /// Set behind the descriptor and cleared before it: never false for good beside a descriptor that is set.
    std::atomic<bool> m_looksSet{false};
};

}  // namespace qrn
