#include "module/Exports.h"

#include <memory>
#include <new>

#include "module/CClassFactory.h"
#include "module/Registration.h"
#include "platform/registry/FilterMappers.h"

namespace {

void RunInitialisers(bool loading) {
    for (const CFactoryTemplate& row : ClassTable()) {
        if (row.m_initialise != nullptr) {
            row.m_initialise(loading, row.m_classId);
        }
    }
}

/// Registers or unregisters with the registry and the filter mappers of the platform. Nothing is thrown from an entry
/// point.
HRESULT ChangeRegistration(HRESULT (*change)(const RegistrationContext&)) noexcept {
    try {
        const auto registry = std::make_shared<qrn::CRegistry>();
        return change({registry, ClassTable(), [&](REFCLSID classId, REFIID interfaceId, void** object) {
                           return qrn::CreateFilterMapper(registry, classId, interfaceId, object);
                       }});
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    } catch (...) {
        return E_FAIL;
    }
}

__attribute__((constructor)) void OnLoad() {
    DllMain(nullptr, DLL_PROCESS_ATTACH, nullptr);
}
__attribute__((destructor)) void OnUnload() {
    DllMain(nullptr, DLL_PROCESS_DETACH, nullptr);
}

}  // namespace

BOOL DllMain(void* /*module*/, DWORD reason, void* /*reserved*/) {
    if (reason == DLL_PROCESS_ATTACH || reason == DLL_PROCESS_DETACH) {
        RunInitialisers(reason == DLL_PROCESS_ATTACH);
    }
    return TRUE;
}

HRESULT DllGetClassObject(REFCLSID classId, REFIID interfaceId, void** object) {
    if (object == nullptr) {
        return E_POINTER;
    }
    *object = nullptr;
    if (interfaceId != IID_IUnknown && interfaceId != IID_IClassFactory) {
        return E_NOINTERFACE;
    }
    const CFactoryTemplate* row = FindClass(classId);
    if (row == nullptr) {
        return CLASS_E_CLASSNOTAVAILABLE;
    }
    auto* factory = new (std::nothrow) CClassFactory(*row);
    if (factory == nullptr) {
        return E_OUTOFMEMORY;
    }
    return factory->QueryInterface(interfaceId, object);
}

HRESULT DllCanUnloadNow() {
    return CClassFactory::IsServerLocked() || CBaseObject::ActiveObjects() != 0 ? S_FALSE : S_OK;
}

HRESULT DllRegisterServer() {
    return ChangeRegistration(RegisterModule);
}

HRESULT DllUnregisterServer() {
    return ChangeRegistration(UnregisterModule);
}
