#include "host/CModuleHolder.h"

#include <filesystem>
#include <system_error>

#include "host/ModuleSearch.h"
#include "platform/system/Log.h"

namespace qrn {

namespace {

/// A registered file may be a link to the loaded one.
bool IsSameFile(const std::string& a, const std::string& b) {
    std::error_code error;
    return a == b || std::filesystem::equivalent(a, b, error);
}

}  // namespace

/// Keeps the module from being unloaded while a call into it runs.
class CModuleHolder::CCall {
public:
    CCall(CModuleHolder& holder, const std::string& registered)
        : m_holder(holder),
          m_module(holder.Enter(registered, m_result)) {}
    ~CCall() {
        if (m_module != nullptr) {
            m_holder.Leave();
        }
    }
    CCall(const CCall&) = delete;
    CCall& operator=(const CCall&) = delete;

    const CModule* Module() const { return m_module; }
    HRESULT Result() const { return m_result; }

private:
    CModuleHolder& m_holder;
    HRESULT m_result = S_OK;
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

std::string CModuleHolder::UnregisteredFile() {
    CScopedLock lock(m_lock);
    const std::string given = GivenFile();
    return given.empty() ? ModuleBeside() : given;
}

HRESULT CModuleHolder::GetClassObject(REFCLSID classId, REFIID interfaceId, void** object) {
    // Without the lock, since a registry that another process keeps is waited for.
    std::string registered;
    std::string error;
    const HRESULT result = IsFileGiven() ? S_FALSE : RegisteredModule(classId, registered, error);
    if (FAILED(result)) {
        NoteError(error);
        return result;
    }
    const CCall call(*this, registered);
    if (call.Module() == nullptr) {
        return call.Result();
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

void CModuleHolder::NoteError(const std::string& error) {
    CScopedLock lock(m_lock);
    Note(error);
}

void CModuleHolder::Note(const std::string& error) {
    m_lastError = error;
    if (!error.empty()) {
        Log(LogLevel::kWarn, "host", "%s", error.c_str());
    }
}

const CModule* CModuleHolder::Enter(const std::string& registered, HRESULT& result) {
    CScopedLock lock(m_lock);
    result = Load(registered);
    if (FAILED(result)) {
        return nullptr;
    }
    ++m_callsInside;
    return m_module.get();
}

HRESULT CModuleHolder::Load(const std::string& registered) {
    const std::string given = GivenFile();
    const bool isRegistered = given.empty() && !registered.empty();
    if (m_module != nullptr) {
        const bool isOther = isRegistered && !IsSameFile(registered, m_module->Path());
        Note(isOther ? "the class is registered for " + registered + ", but this process has loaded " +
                           m_module->Path() + ", and it can have but one module"
                     : "");
        return isOther ? E_UNEXPECTED : S_OK;
    }
    std::string error;
    m_module = CModule::Load(isRegistered ? registered : given.empty() ? ModuleBeside() : given, error);
    Note(error.empty() || !isRegistered ? error : error + " (it is the file that is registered for the class)");
    return m_module != nullptr ? S_OK : E_MODULE_NOT_FOUND;
}

void CModuleHolder::Leave() {
    CScopedLock lock(m_lock);
    --m_callsInside;
}

bool CModuleHolder::IsFileGiven() {
    CScopedLock lock(m_lock);
    return !GivenFile().empty();
}

std::string CModuleHolder::GivenFile() const {
    return m_path.empty() ? ModuleFromEnvironment() : m_path;
}

}  // namespace qrn
