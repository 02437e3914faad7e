#pragma once
/// Where the module's file is found. Any thread.

#include <string>

#include "qrn/com.h"

namespace qrn {

/// What the environment variable QRN_MODULE says; empty when it says nothing.
std::string ModuleFromEnvironment();

/// The file beside the program, else the one beside this library; else its bare name, for the dynamic loader to search.
std::string ModuleBeside();

/// The file that is registered for a class.
/// @return S_FALSE when none is; a failure, with `error` in words, when the registry does not tell, or tells of
/// something that is no absolute path.
HRESULT RegisteredModule(REFCLSID classId, std::string& path, std::string& error);

/// An error of the registry with the files that it may be about: "the disk is full (/var/lib/qrn/registry.db)".
std::string RegistryTrouble(LONG error);
/// The same for one that came of a change.
std::string RegistryWriteTrouble(LONG error);

}  // namespace qrn
