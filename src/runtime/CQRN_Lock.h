#pragma once

#include "platform/system/Lock.h"

/// The module's lock. Its owner may take it again.
class QRN_CAPABILITY("mutex") CQRN_Lock {
public:
    void Lock() QRN_ACQUIRE();
    void Unlock() QRN_RELEASE();

private:
    qrn::CRecursiveMutex m_section;
};

/// Holds a lock, which may be null, for its scope.
class QRN_SCOPED_CAPABILITY CQRN_AutoLock {
public:
    // The analysis cannot follow a lock that is taken only where there is one, so it takes these two at their word.
    explicit CQRN_AutoLock(CQRN_Lock* lock) QRN_ACQUIRE(lock) QRN_NO_THREAD_SAFETY_ANALYSIS;
    ~CQRN_AutoLock() QRN_RELEASE() QRN_NO_THREAD_SAFETY_ANALYSIS;
    CQRN_AutoLock(const CQRN_AutoLock&) = delete;
    CQRN_AutoLock& operator=(const CQRN_AutoLock&) = delete;

private:
    CQRN_Lock* const m_lock;
};
