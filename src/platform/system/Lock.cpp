#include "platform/system/Lock.h"

#include "platform/system/HeldLocks.h"

namespace qrn {
namespace {

void Take(pthread_mutex_t& mutex) {
    pthread_mutex_lock(&mutex);
    if (AreLocksNoted()) {
        NoteLock(&mutex);
    }
}

void GiveBack(pthread_mutex_t& mutex) {
    if (AreLocksNoted()) {
        NoteUnlock(&mutex);
    }
    pthread_mutex_unlock(&mutex);
}

}  // namespace

CMutex::CMutex() {
    pthread_mutex_init(&m_mutex, nullptr);
}

CMutex::~CMutex() {
    pthread_mutex_destroy(&m_mutex);
}

void CMutex::Lock() {
    Take(m_mutex);
}

bool CMutex::TryLock() {
    if (pthread_mutex_trylock(&m_mutex) != 0) {
        return false;
    }
    if (AreLocksNoted()) {
        NoteLock(&m_mutex);
    }
    return true;
}

void CMutex::Unlock() {
    GiveBack(m_mutex);
}

CRecursiveMutex::CRecursiveMutex() {
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
    pthread_mutex_init(&m_mutex, &attributes);
    pthread_mutexattr_destroy(&attributes);
}

CRecursiveMutex::~CRecursiveMutex() {
    pthread_mutex_destroy(&m_mutex);
}

void CRecursiveMutex::Lock() {
    Take(m_mutex);
}

void CRecursiveMutex::Unlock() {
    GiveBack(m_mutex);
}

}  // namespace qrn
