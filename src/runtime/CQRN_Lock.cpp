#include "runtime/CQRN_Lock.h"

void CQRN_Lock::Lock() {
    m_section.Lock();
}

void CQRN_Lock::Unlock() {
    m_section.Unlock();
}

CQRN_AutoLock::CQRN_AutoLock(CQRN_Lock* lock) : m_lock(lock) {
    if (m_lock != nullptr) {
        m_lock->Lock();
    }
}

CQRN_AutoLock::~CQRN_AutoLock() {
    if (m_lock != nullptr) {
        m_lock->Unlock();
    }
}
