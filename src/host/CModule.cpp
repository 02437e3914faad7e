#include "host/CModule.h"

#include <dlfcn.h>

#include <filesystem>
#include <system_error>

#include "platform/system/Log.h"

namespace qrn {

namespace {

constexpr const char* kRegister = "DllRegisterServer";
constexpr const char* kUnregister = "DllUnregisterServer";

std::string LoaderError(const std::string& path) {
    const char* text = dlerror();  // NOLINT(concurrency-mt-unsafe): glibc keeps it per thread
    return text != nullptr ? text : path + ": the dynamic loader gives no reason";
}

template <class Function>
bool FindEntryPoint(void* handle, const char* name, Function& function) {
    function = reinterpret_cast<Function>(dlsym(handle, name));
    return function != nullptr;
}

/// The file that a function is in, by the name by which the loader knows it.
std::string FileOf(const void* function) {
    Dl_info info{};
    if (dladdr(function, &info) == 0 || info.dli_fname == nullptr) {
        return {};
    }
    std::error_code error;
    const std::filesystem::path file = std::filesystem::absolute(info.dli_fname, error);
    return error ? info.dli_fname : file.lexically_normal().string();
}

}  // namespace

std::unique_ptr<CModule> CModule::Load(const std::string& path, std::string& error) {
    void* handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (handle == nullptr) {
        error = LoaderError(path);
        return nullptr;
    }
    std::unique_ptr<CModule> module(new CModule(handle));
    const char* missing = nullptr;
    if (!FindEntryPoint(handle, "DllGetClassObject", module->m_getClassObject)) {
        missing = "DllGetClassObject";
    } else if (!FindEntryPoint(handle, "DllCanUnloadNow", module->m_canUnloadNow)) {
        missing = "DllCanUnloadNow";
    }
    if (missing != nullptr) {
        error = path + ": no module of filters, it has no entry point " + missing;
        return nullptr;
    }
    module->m_path = FileOf(reinterpret_cast<const void*>(module->m_getClassObject));
    Log(LogLevel::kInfo, "host", "loaded %s", module->m_path.c_str());
    return module;
}

CModule::~CModule() {
    dlclose(m_handle);
}

HRESULT CModule::GetClassObject(REFCLSID classId, REFIID interfaceId, void** object) const {
    return m_getClassObject(classId, interfaceId, object);
}

bool CModule::CanUnload() const {
    return m_canUnloadNow() == S_OK;
}

bool CModule::CanRegister() const {
    return dlsym(m_handle, kRegister) != nullptr && dlsym(m_handle, kUnregister) != nullptr;
}

HRESULT CModule::Register() const {
    return Call(kRegister);
}

HRESULT CModule::Unregister() const {
    return Call(kUnregister);
}

HRESULT CModule::Call(const char* entryPoint) const {
    HRESULT (*function)() = nullptr;
    return FindEntryPoint(m_handle, entryPoint, function) ? function() : E_MODULE_NOT_FOUND;
}

}  // namespace qrn
