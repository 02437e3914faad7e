#include "platform/registry/ClassRegistration.h"

#include <new>

#include "platform/com/Text.h"
#include "platform/registry/CRegistryKey.h"
#include "platform/registry/FilterCategory.h"

namespace qrn {

namespace {

constexpr const wchar_t* kServer = L"InprocServer32";

std::wstring ClassPath(REFCLSID classId) {
    return L"CLSID\\" + BracedText(classId);
}

}  // namespace

LONG WriteClass(CRegistry& registry, REFCLSID classId, std::wstring_view name, std::wstring_view modulePath) {
    CRegistryKey key;
    LONG error = registry.CreateKey(RegistryRoot::kClassesRoot, ClassPath(classId), key);
    error = error == ERROR_SUCCESS ? key.SetString(L"", name) : error;
    CRegistryKey server;
    error = error == ERROR_SUCCESS ? key.CreateKey(kServer, server) : error;
    error = error == ERROR_SUCCESS ? server.SetString(L"", modulePath) : error;
    return error == ERROR_SUCCESS ? server.SetString(L"ThreadingModel", L"Both") : error;
}

LONG RemoveClass(CRegistry& registry, REFCLSID classId) {
    CRegistryKey root;
    LONG error = registry.OpenKey(RegistryRoot::kClassesRoot, L"", root);
    // One statement does what a walk from subkey to subkey would, and ends whatever the file holds.
    error = error == ERROR_SUCCESS ? root.DeleteTree(ClassPath(classId)) : error;
    CRegistryKey elsewhere;
    if (error == ERROR_FILE_NOT_FOUND && root.OpenKey(ClassPath(classId), elsewhere) == ERROR_SUCCESS) {
        return ERROR_ACCESS_DENIED;
    }
    return error;
}

LONG FindRegisteredModule(CRegistry& registry, REFCLSID classId, std::string& modulePath) {
    CRegistryKey server;
    std::wstring path;
    LONG error = registry.OpenKey(RegistryRoot::kClassesRoot, ClassPath(classId) + L'\\' + kServer, server);
    error = error == ERROR_SUCCESS ? server.QueryString(L"", path) : error;
    if (error == ERROR_SUCCESS) {
        modulePath = ToUtf8(path);
    }
    return error;
}

LONG FindRegisteredModule(REFCLSID classId, std::string& modulePath) noexcept {
    try {
        CRegistry registry;
        return FindRegisteredModule(registry, classId, modulePath);
    } catch (const std::bad_alloc&) {
        return ERROR_OUTOFMEMORY;
    } catch (...) {
        return ERROR_OPEN_FAILED;
    }
}

}  // namespace qrn
