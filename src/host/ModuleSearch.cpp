#include "host/ModuleSearch.h"

#include <dlfcn.h>

#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "platform/com/Text.h"
#include "platform/registry/ClassRegistration.h"
#include "platform/registry/RegistryErrors.h"
#include "platform/registry/RegistryFiles.h"

namespace qrn {

namespace {

namespace fs = std::filesystem;

constexpr const char* kModuleFile = "libQRN_Media2.so";
constexpr const char* kModuleVariable = "QRN_MODULE";

/// The folder of the file that this code was loaded from: the shared library, or a program that links it in.
fs::path OwnFolder() {
    Dl_info info{};
    if (dladdr(reinterpret_cast<const void*>(&ModuleBeside), &info) == 0 || info.dli_fname == nullptr) {
        return {};
    }
    std::error_code error;
    const fs::path file = fs::absolute(info.dli_fname, error);
    return error ? fs::path() : file.parent_path();
}

fs::path ProgramFolder() {
    std::error_code error;
    return fs::read_symlink("/proc/self/exe", error).parent_path();
}

}  // namespace

std::string ModuleFromEnvironment() {
    // Not heeded in a program with raised rights, where it would let its caller run code.
    // NOLINTNEXTLINE(concurrency-mt-unsafe): a program that changes its environment while it activates is at fault
    const char* named = secure_getenv(kModuleVariable);
    return named != nullptr ? named : "";
}

std::string ModuleBeside() {
    // The loader would look beside the library too, but not where something stands between it and its caller, as a
    // sanitizer does.
    for (const fs::path& folder : {ProgramFolder(), OwnFolder()}) {
        std::error_code error;
        if (!folder.empty() && fs::exists(folder / kModuleFile, error)) {
            return (folder / kModuleFile).string();
        }
    }
    return kModuleFile;
}

HRESULT RegisteredModule(REFCLSID classId, std::string& path, std::string& error) {
    std::string found;
    const LONG code = FindRegisteredModule(classId, found);
    if (code == ERROR_FILE_NOT_FOUND) {
        return S_FALSE;
    }
    if (code != ERROR_SUCCESS) {
        error = RegistryTrouble(code);
        return ResultOf(code);
    }
    if (!fs::path(found).is_absolute()) {
        // The loader would take it from wherever the process happens to be.
        error = "the class {" + ToString(classId) + "} is registered for '" + found + "', which is no absolute path";
        return E_MODULE_NOT_FOUND;
    }
    path = std::move(found);
    return S_OK;
}

std::string RegistryTrouble(LONG error) {
    const RegistryFiles files = DefaultRegistryFiles();
    return RegistryErrorText(error) + std::string(" (") + files.user + (files.user.empty() ? "" : ", ") +
           files.machine + ")";
}

std::string RegistryWriteTrouble(LONG error) {
    const RegistryFiles files = DefaultRegistryFiles();
    return RegistryErrorText(error) + std::string(" (") + (files.writesMachine ? files.machine : files.user) + ")";
}

}  // namespace qrn
