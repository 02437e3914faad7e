#pragma once

#include <string>

#include "qrn/com.h"

/// The longest path of the module that can be registered, with its closing zero. Readers of the registry keep room for
/// as much.
inline constexpr std::size_t kMaxModulePath = 260;

/// The absolute path (UTF-8) of the file that this code was loaded from, by the name that it was loaded by: a link to
/// it still leads to the module after an update has replaced the file behind it.
/// @return an error code of the registry's: ERROR_INSUFFICIENT_BUFFER for a path that is too long, ERROR_MOD_NOT_FOUND
/// when the file is not there any more.
LONG FindModuleFile(std::string& path);
