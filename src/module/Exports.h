#pragma once
/// The five entry points of the module, the only symbols that it exports.

#include "qrn/com.h"

#define QRN_MODULE_EXPORT __attribute__((visibility("default")))

extern "C" {

inline constexpr DWORD DLL_PROCESS_DETACH = 0;
inline constexpr DWORD DLL_PROCESS_ATTACH = 1;

/// Called by the module's own load and unload hooks.
QRN_MODULE_EXPORT BOOL DllMain(void* module, DWORD reason, void* reserved);

/// The factory of a class. E_NOINTERFACE for anything but IUnknown and IClassFactory, before the class is looked up;
/// CLASS_E_CLASSNOTAVAILABLE for a class that the module does not have.
QRN_MODULE_EXPORT HRESULT DllGetClassObject(REFCLSID classId, REFIID interfaceId, void** object);

/// S_OK when no object lives and no factory is locked, else S_FALSE.
QRN_MODULE_EXPORT HRESULT DllCanUnloadNow();

/// Registration needs the registry and the filter mapper of the platform, which this version does not have: E_NOTIMPL.
QRN_MODULE_EXPORT HRESULT DllRegisterServer();
QRN_MODULE_EXPORT HRESULT DllUnregisterServer();

}  // extern "C"
