#include "runtime/CQRN_AVCodec_MutexAutoLock.h"

#include "platform/system/DebugOutput.h"

namespace {

constexpr const char* kName = "QRN_AVCODEC_MUTEX";
constexpr std::chrono::milliseconds kTimeout(5000);

}  // namespace

CQRN_AVCodec_MutexAutoLock::CQRN_AVCodec_MutexAutoLock() : CQRN_AVCodec_MutexAutoLock(kName, kTimeout) {}

CQRN_AVCodec_MutexAutoLock::CQRN_AVCodec_MutexAutoLock(const std::string& name, std::chrono::milliseconds timeout)
    : m_handle(name),
      m_timeout(timeout) {}

void CQRN_AVCodec_MutexAutoLock::Lock() {
    if (!m_handle.IsOpen()) {
        return;
    }
    if (m_handle.Lock(m_timeout)) {
        m_owned = true;
    } else {
        qrn::DebugOutput(L"CQRN_AVCodec_MutexAutoLock::Lock() FAILED.\n");
    }
}

void CQRN_AVCodec_MutexAutoLock::Unlock() {
    if (m_handle.IsOpen() && m_owned) {
        m_handle.Unlock();
    }
}

CQRN_AVCodec_Scope::CQRN_AVCodec_Scope(CQRN_AVCodec_MutexAutoLock* lock) : m_lock(lock) {
    if (m_lock != nullptr) {
        m_lock->Lock();
    }
}

CQRN_AVCodec_Scope::~CQRN_AVCodec_Scope() {
    if (m_lock != nullptr) {
        m_lock->Unlock();
    }
}
