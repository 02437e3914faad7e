#include "platform/registry/CRegistryTransaction.h"

namespace qrn {

// The registry's lock is held from the constructor to the end of the transaction, which the analysis cannot follow.

CRegistryTransaction::CRegistryTransaction(CRegistry& registry, RegistryRoot root) QRN_NO_THREAD_SAFETY_ANALYSIS :
    m_registry(registry) {
    m_registry.m_lock.Lock();
    CRegistryStore& store = m_registry.WriteLayer(root).store;
    m_error = store.Begin();
    if (m_error == ERROR_SUCCESS) {
        m_store = &store;
    } else {
        m_registry.m_lock.Unlock();
    }
}

CRegistryTransaction::~CRegistryTransaction() QRN_NO_THREAD_SAFETY_ANALYSIS {
    if (m_store != nullptr) {
        m_store->Rollback();
        m_registry.m_lock.Unlock();
    }
}

LONG CRegistryTransaction::Commit() QRN_NO_THREAD_SAFETY_ANALYSIS {
    if (m_store == nullptr) {
        return m_error != ERROR_SUCCESS ? m_error : ERROR_INVALID_PARAMETER;
    }
    m_error = m_store->Commit();
    m_store = nullptr;
    m_registry.m_lock.Unlock();
    return m_error;
}

}  // namespace qrn
