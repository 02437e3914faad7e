#pragma once
/// Signals as something that waits can watch.

#include <chrono>
#include <vector>

#include "client/FileDescriptor.h"

namespace qrn {

/// Takes over some signals while it lives; only one may live for a signal at a time. Any thread may wait.
class CSignalEvent {
public:
    /// kFirst takes the first signal of each number, and leaves the next its usual effect.
    enum class Takes { kFirst, kEvery };

    /// @throws std::system_error when the process has no descriptor left.
    CSignalEvent(std::vector<int> signals, Takes takes);
    ~CSignalEvent();
    CSignalEvent(const CSignalEvent&) = delete;
    CSignalEvent& operator=(const CSignalEvent&) = delete;

    /// Readable once a signal has come, until it is taken.
    int Descriptor() const { return m_event.Get(); }
    bool HasCome() const { return WaitFor(std::chrono::milliseconds(0)); }
    /// @return true as soon as a signal has come, false after the time.
    bool WaitFor(std::chrono::milliseconds time) const;
    /// @return whether one has come since it was last taken; several that came meanwhile are one.
    bool Take() const;

private:
    const std::vector<int> m_signals;
    CFileDescriptor m_event;
};

}  // namespace qrn
