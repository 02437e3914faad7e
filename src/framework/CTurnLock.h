#pragma once
/// A lock that a busy thread cannot keep from a waiting one.

#include "platform/system/Lock.h"

namespace qrn {

/// Served in turn between two contenders: whoever waits is next, also when the owner unlocks and locks again at once.
/// Not recursive.
class QRN_CAPABILITY("mutex") CTurnLock {
public:
    void Lock() QRN_ACQUIRE() QRN_NO_THREAD_SAFETY_ANALYSIS {
        m_turn.Lock();
        m_lock.Lock();
        m_turn.Unlock();
    }
    void Unlock() QRN_RELEASE() QRN_NO_THREAD_SAFETY_ANALYSIS { m_lock.Unlock(); }

private:
    CMutex m_turn;
    CMutex m_lock;
};

}  // namespace qrn
