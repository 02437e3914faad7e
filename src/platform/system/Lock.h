#pragma once
/// Locks with the marks that clang's thread-safety analysis checks (-Wthread-safety); g++ ignores the marks.

#include <pthread.h>

#if defined(__clang__)
#define QRN_THREAD_ATTRIBUTE(x) __attribute__((x))
#else
#define QRN_THREAD_ATTRIBUTE(x)
#endif
#define QRN_CAPABILITY(name) QRN_THREAD_ATTRIBUTE(capability(name))
#define QRN_SCOPED_CAPABILITY QRN_THREAD_ATTRIBUTE(scoped_lockable)
#define QRN_GUARDED_BY(lock) QRN_THREAD_ATTRIBUTE(guarded_by(lock))
#define QRN_PT_GUARDED_BY(lock) QRN_THREAD_ATTRIBUTE(pt_guarded_by(lock))
#define QRN_REQUIRES(...) QRN_THREAD_ATTRIBUTE(requires_capability(__VA_ARGS__))
#define QRN_EXCLUDES(...) QRN_THREAD_ATTRIBUTE(locks_excluded(__VA_ARGS__))
#define QRN_ACQUIRE(...) QRN_THREAD_ATTRIBUTE(acquire_capability(__VA_ARGS__))
#define QRN_TRY_ACQUIRE(...) QRN_THREAD_ATTRIBUTE(try_acquire_capability(__VA_ARGS__))
#define QRN_RELEASE(...) QRN_THREAD_ATTRIBUTE(release_capability(__VA_ARGS__))
#define QRN_ACQUIRED_BEFORE(...) QRN_THREAD_ATTRIBUTE(acquired_before(__VA_ARGS__))
#define QRN_RETURN_CAPABILITY(lock) QRN_THREAD_ATTRIBUTE(lock_returned(lock))
#define QRN_NO_THREAD_SAFETY_ANALYSIS QRN_THREAD_ATTRIBUTE(no_thread_safety_analysis)

namespace qrn {

/// A plain lock. Taking it twice on one thread is a fault of the program.
class QRN_CAPABILITY("mutex") CMutex {
public:
    CMutex();
    ~CMutex();
    CMutex(const CMutex&) = delete;
    CMutex& operator=(const CMutex&) = delete;

    void Lock() QRN_ACQUIRE();
    bool TryLock() QRN_TRY_ACQUIRE(true);
    void Unlock() QRN_RELEASE();

    pthread_mutex_t* Native() { return &m_mutex; }

private:
    pthread_mutex_t m_mutex;
};

/// A lock that its owner may take again: the filter framework calls back into objects that hold theirs.
class QRN_CAPABILITY("mutex") CRecursiveMutex {
public:
    CRecursiveMutex();
    ~CRecursiveMutex();
    CRecursiveMutex(const CRecursiveMutex&) = delete;
    CRecursiveMutex& operator=(const CRecursiveMutex&) = delete;

    void Lock() QRN_ACQUIRE();
    void Unlock() QRN_RELEASE();

private:
    pthread_mutex_t m_mutex;
};

/// Holds a lock for its scope.
template <class Mutex>
class QRN_SCOPED_CAPABILITY CScopedLock {
public:
    explicit CScopedLock(Mutex& mutex) QRN_ACQUIRE(mutex) : m_mutex(mutex) { m_mutex.Lock(); }
    ~CScopedLock() QRN_RELEASE() { m_mutex.Unlock(); }
    CScopedLock(const CScopedLock&) = delete;
    CScopedLock& operator=(const CScopedLock&) = delete;

private:
    Mutex& m_mutex;
};

}  // namespace qrn
