#pragma once
/// Ctrl-C and the polite request to end, as something that waits can watch.

#include <chrono>

#include "client/FileDescriptor.h"

namespace qrn {

/// Takes over SIGINT and SIGTERM while it lives. Only one may live at a time. A second signal of the kind has its usual
/// effect, for a program that does not end. Any thread may wait.
class CStopSignal {
public:
    /// @throws std::system_error when the process has no descriptor left.
    CStopSignal();
    ~CStopSignal();
    CStopSignal(const CStopSignal&) = delete;
    CStopSignal& operator=(const CStopSignal&) = delete;

    /// Readable once a signal has come, and from then on.
    int Descriptor() const { return m_event.Get(); }
    bool HasCome() const { return WaitFor(std::chrono::milliseconds(0)); }
    /// @return true as soon as a signal has come, false after the time.
    bool WaitFor(std::chrono::milliseconds time) const;

private:
    CFileDescriptor m_event;
};

}  // namespace qrn
