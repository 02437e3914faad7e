#pragma once
/// The lock of the filter classes.

#include "platform/system/Lock.h"

/// Recursive: the framework calls hooks of the filter with its locks held.
class QRN_CAPABILITY("mutex") CCritSec {
public:
    CCritSec() = default;
    CCritSec(const CCritSec&) = delete;
    CCritSec& operator=(const CCritSec&) = delete;

    void Lock() QRN_ACQUIRE() QRN_NO_THREAD_SAFETY_ANALYSIS { m_mutex.Lock(); }
    void Unlock() QRN_RELEASE() QRN_NO_THREAD_SAFETY_ANALYSIS { m_mutex.Unlock(); }

private:
    qrn::CRecursiveMutex m_mutex;
};

/// Holds a lock for its scope.
class QRN_SCOPED_CAPABILITY CAutoLock {
public:
    explicit CAutoLock(CCritSec* lock) QRN_ACQUIRE(lock) : m_lock(lock) { m_lock->Lock(); }
    ~CAutoLock() QRN_RELEASE() { m_lock->Unlock(); }
    CAutoLock(const CAutoLock&) = delete;
    CAutoLock& operator=(const CAutoLock&) = delete;

private:
    CCritSec* m_lock;
};
