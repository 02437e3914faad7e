#include "host/CModuleHolder.h"

#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "platform/system/Log.h"

namespace qrn {

namespace {

constexpr const char* kModuleFile = "libQRN_Media2.so";
constexpr const char* kModuleVariable = "QRN_MODULE";

}  // namespace

/// Keeps the module from being unloaded while a call into it runs.
class CModuleHolder::CCall {
public:
    explicit CCall(CModuleHolder& holder) : m_holder(holder), m_module(holder.Enter()) {}
    ~CCall() {
        if (m_module != nullptr) {
            m_holder.Leave();
        }
    }
    CCall(const CCall&) = delete;
    CCall& operator=(const CCall&) = delete;

    const CModule* Module() const { return m_module; }

private:
    CModuleHolder& m_holder;
    const CModule* const m_module;
};

CModuleHolder& CModuleHolder::Instance() {
    static auto* const instance = new CModuleHolder;
    return *instance;
}

HRESULT CModuleHolder::SetPath(const std::string& path) {
    CScopedLock lock(m_lock);
    if (m_module != nullptr) {
        return E_UNEXPECTED;
    }
    m_path = path;
    return S_OK;
}

HRESULT CModuleHolder::GetClassObject(REFCLSID classId, REFIID interfaceId, void** object) {
    const CCall call(*this);
    if (call.Module() == nullptr) {
        return E_MODULE_NOT_FOUND;
    }
    return call.Module()->GetClassObject(classId, interfaceId, object);
}

void CModuleHolder::FreeUnused() {
    CScopedLock lock(m_lock);
    if (m_module != nullptr && m_callsInside == 0 && m_module->CanUnload()) {
        m_module.reset();
    }
}

std::string CModuleHolder::LastError() {
    CScopedLock lock(m_lock);
    return m_lastError;
}

const CModule* CModuleHolder::Enter() {
    CScopedLock lock(m_lock);
    if (m_module == nullptr) {
        std::string error;
        m_module = CModule::Load(FindFile(), error);
        m_lastError = error;
        if (m_module == nullptr) {
            Log(LogLevel::kWarn, "host", "%s", error.c_str());
            return nullptr;
        }
    }
    ++m_callsInside;
    return m_module.get();
}

void CModuleHolder::Leave() {
    CScopedLock lock(m_lock);
    --m_callsInside;
}

std::string CModuleHolder::FindFile() const {
    if (!m_path.empty()) {
        return m_path;
    }
    // Not heeded in a program with raised rights, where it would let its caller run code.
    // NOLINTNEXTLINE(concurrency-mt-unsafe): a program that changes its environment while it activates is at fault
    const char* fromEnvironment = secure_getenv(kModuleVariable);
    if (fromEnvironment != nullptr && *fromEnvironment != '\0') {
        return fromEnvironment;
    }
    std::error_code error;
    const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", error);
    const std::filesystem::path beside = program.parent_path() / kModuleFile;
    if (!error && std::filesystem::exists(beside, error)) {
        return beside.string();
    }
    return kModuleFile;
}

}  // namespace qrn
