#include "platform/system/Lock.h"

namespace qrn {

CMutex::CMutex() {
    pthread_mutex_init(&m_mutex, nullptr);
}

CMutex::~CMutex() {
    pthread_mutex_destroy(&m_mutex);
}

void CMutex::Lock() {
    pthread_mutex_lock(&m_mutex);
}

bool CMutex::TryLock() {
    return pthread_mutex_trylock(&m_mutex) == 0;
}

void CMutex::Unlock() {
    pthread_mutex_unlock(&m_mutex);
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
    pthread_mutex_lock(&m_mutex);
}

void CRecursiveMutex::Unlock() {
    pthread_mutex_unlock(&m_mutex);
}

}  // namespace qrn
