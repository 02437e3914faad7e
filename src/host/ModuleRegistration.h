#pragma once
/// What registering a module, and telling what is registered, is made of. Texts are UTF-8. Any thread.

#include <string>

#include "qrn/com.h"
#include "qrn/host.h"

namespace qrn {

class CModuleHolder;

enum class Registration { kWrite, kRemove };

/// Loads a module beside whatever the holder has, and has it write or remove its registration. A failure is noted
/// there.
/// @param path  empty for the file that the holder takes where nothing is registered.
/// @param file  receives the file that was loaded.
HRESULT ChangeRegistration(CModuleHolder& holder, Registration change, const std::string& path, std::string& file);

/// As QrnFindRegisteredModule and QrnListRegisteredFilters. A registry that cannot be read is noted.
HRESULT FindRegisteredFile(CModuleHolder& holder, REFCLSID classId, std::string& path);
HRESULT ListRegisteredFilters(CModuleHolder& holder, REFCLSID category, QrnRegisteredFilter** filters, UINT* count);

}  // namespace qrn
