#include "host/CModule.h"

#include <dlfcn.h>

#include "platform/system/Log.h"

namespace qrn {

namespace {

std::string LoaderError(const std::string& path) {
    const char* text = dlerror();  // NOLINT(concurrency-mt-unsafe): glibc keeps it per thread
    return text != nullptr ? text : path + ": the dynamic loader gives no reason";
}

template <class Function>
bool FindEntryPoint(void* handle, const char* name, Function& function) {
    function = reinterpret_cast<Function>(dlsym(handle, name));
    return function != nullptr;
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
    Log(LogLevel::kInfo, "host", "loaded %s", path.c_str());
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

}  // namespace qrn
