#pragma once
/// The registration of a class: key "CLSID\{class id}" below the classes, default value the display name; its subkey
/// "InprocServer32" has the module's file as its default value, and the value "ThreadingModel". Error codes; any
/// thread.

#include <string>
#include <string_view>

#include "platform/registry/CRegistry.h"
#include "qrn/com.h"

namespace qrn {

LONG WriteClass(CRegistry& registry, REFCLSID classId, std::wstring_view name, std::wstring_view modulePath);

/// Deletes the class with all its subkeys. ERROR_FILE_NOT_FOUND when nobody has registered it; ERROR_ACCESS_DENIED when
/// it is registered where this process does not write: for the whole machine, while the process is not root's.
LONG RemoveClass(CRegistry& registry, REFCLSID classId);

/// The file of the module that is registered for a class (UTF-8), the current user's before the machine's.
/// ERROR_FILE_NOT_FOUND when none is; ERROR_BADDB and others of CRegistry when that cannot be told.
LONG FindRegisteredModule(CRegistry& registry, REFCLSID classId, std::string& modulePath);

/// The same with the registry of this process, opened for the call. Does not throw.
LONG FindRegisteredModule(REFCLSID classId, std::string& modulePath) noexcept;

}  // namespace qrn
