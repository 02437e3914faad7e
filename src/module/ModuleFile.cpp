#include "module/ModuleFile.h"

#include <dlfcn.h>

#include <filesystem>

#include "platform/registry/RegistryErrors.h"

LONG FindModuleFile(std::string& path) {
    Dl_info info{};
    if (dladdr(reinterpret_cast<const void*>(&FindModuleFile), &info) == 0 || info.dli_fname == nullptr) {
        return ERROR_MOD_NOT_FOUND;
    }
    // The loader keeps the name as it was given, which may be relative to where the process was.
    std::error_code error;
    const std::filesystem::path file = std::filesystem::absolute(info.dli_fname, error).lexically_normal();
    if (error || !std::filesystem::is_regular_file(file, error)) {
        return ERROR_MOD_NOT_FOUND;
    }
    std::string text = file.string();
    if (text.size() >= kMaxModulePath) {
        return ERROR_INSUFFICIENT_BUFFER;
    }
    path = std::move(text);
    return ERROR_SUCCESS;
}
