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

/// Registers the 20 classes with this file as their module, and "QRN Video Render 3D" in the legacy filter category:
/// for the whole machine when root calls it, else for the user. Registering again changes nothing.
/// @return an error e of the registry as `e | 0x80070000`; the registry is then as it was: 0x80070005 for a store that
/// may not be written, 0x80070003 for one whose folder cannot be made, 0x80070070 on a full disk, 0x800703F1 for a
/// damaged store, 0x800700AA while another process keeps it for longer than five seconds.
QRN_MODULE_EXPORT HRESULT DllRegisterServer();

/// Takes that back; S_OK too when nothing was registered. The same failures, and 0x80070005 for a user who did not
/// register the classes himself while they are registered for the whole machine.
QRN_MODULE_EXPORT HRESULT DllUnregisterServer();

}  // extern "C"
