#pragma once

#include <memory>
#include <string>

#include "qrn/com.h"

namespace qrn {

/// A module's file in memory with the two entry points that activation needs. Unloads it at destruction: by then no
/// object of it may live and no thread be inside it.
class CModule {
public:
    /// @param path  as dlopen(3) takes it: without a slash the dynamic loader searches for it.
    /// @return null on failure; `error` then tells why.
    static std::unique_ptr<CModule> Load(const std::string& path, std::string& error);
    ~CModule();
    CModule(const CModule&) = delete;
    CModule& operator=(const CModule&) = delete;

    /// The file that was loaded, absolute.
    const std::string& Path() const { return m_path; }

    HRESULT GetClassObject(REFCLSID classId, REFIID interfaceId, void** object) const;
    /// True when the module says that no object of it lives.
    bool CanUnload() const;

    /// True when it has the entry points of the next two.
    bool CanRegister() const;
    /// Has the module write or remove its registration.
    HRESULT Register() const;
    HRESULT Unregister() const;

private:
    using GetClassObjectFunction = HRESULT (*)(REFCLSID, REFIID, void**);
    using CanUnloadNowFunction = HRESULT (*)();

    explicit CModule(void* handle) : m_handle(handle) {}

    HRESULT Call(const char* entryPoint) const;

    void* const m_handle;
    std::string m_path;
    GetClassObjectFunction m_getClassObject = nullptr;
    CanUnloadNowFunction m_canUnloadNow = nullptr;
};

}  // namespace qrn
