#pragma once
/// Waiting for a change of state that a CMutex guards.

#include <pthread.h>

#include <chrono>

#include "platform/system/Lock.h"

namespace qrn {

/// A condition variable on the monotonic clock. As with every one of its kind a wait may end without a reason, so the
/// caller looks at its state again.
class CCondition {
public:
    CCondition();
    ~CCondition();
    CCondition(const CCondition&) = delete;
    CCondition& operator=(const CCondition&) = delete;

    void Wait(CMutex& mutex) QRN_REQUIRES(mutex);
    /// @return false when the time-out passed first.
    bool WaitFor(CMutex& mutex, std::chrono::nanoseconds timeout) QRN_REQUIRES(mutex);
    void NotifyOne();
    void NotifyAll();

private:
    pthread_cond_t m_condition;
};

}  // namespace qrn
