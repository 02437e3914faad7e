#pragma once

#include <chrono>
#include <string>

#include "platform/system/NamedMutex.h"

/// The system-wide lock for opening, closing and registering with FFmpeg, whose libraries several copies of the module
/// may be using; a member of each codec wrapper, by the name m_avLock. Never held on the frame path.
///
/// Lock and Unlock belong to one thread at a time. The time-out delays a codec's opening when the holder hangs; the
/// work goes on without the lock then.
class CQRN_AVCodec_MutexAutoLock {
public:
    CQRN_AVCodec_MutexAutoLock();
    /// The same lock under another name and time-out.
    CQRN_AVCodec_MutexAutoLock(const std::string& name, std::chrono::milliseconds timeout);

    /// Takes the mutex, or tells the debug output that it could not.
    void Lock();
    /// Lets go, if this object ever took it.
    void Unlock();

private:
    qrn::CNamedMutex m_handle;
    bool m_owned = false;  // not cleared by Unlock: letting go of what is not held does nothing
    const std::chrono::milliseconds m_timeout;
};

/// Holds such a lock, which may be null, for its scope.
class CQRN_AVCodec_Scope {
public:
    explicit CQRN_AVCodec_Scope(CQRN_AVCodec_MutexAutoLock* lock);
    ~CQRN_AVCodec_Scope();
    CQRN_AVCodec_Scope(const CQRN_AVCodec_Scope&) = delete;
    CQRN_AVCodec_Scope& operator=(const CQRN_AVCodec_Scope&) = delete;

private:
    CQRN_AVCodec_MutexAutoLock* const m_lock;
};
