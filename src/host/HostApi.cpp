// The functions of qrn/host.h, all that the library exports beside those of task memory, which platform/com defines.

#include "qrn/host.h"

#include <string>

#include "host/Activation.h"
#include "host/Boundary.h"
#include "host/CModuleHolder.h"

using qrn::CModuleHolder;

HRESULT CoCreateInstance(REFCLSID classId, IUnknown* outer, DWORD context, REFIID interfaceId, void** object) {
    return qrn::CreateObject(CModuleHolder::Instance(), classId, outer, context, interfaceId, object);
}

HRESULT CoGetClassObject(REFCLSID classId, DWORD context, void* /*reserved*/, REFIID interfaceId, void** object) {
    return qrn::GetClassObject(CModuleHolder::Instance(), classId, context, interfaceId, object);
}

void CoFreeUnusedLibraries() {
    CModuleHolder::Instance().FreeUnused();
}

HRESULT QrnSetModulePath(const char* path) {
    return qrn::AtBoundary([&] { return CModuleHolder::Instance().SetPath(path != nullptr ? path : ""); });
}

const char* QrnLastLoadError() {
    thread_local std::string text;
    try {
        text = CModuleHolder::Instance().LastError();
    } catch (...) {
        return "out of memory";
    }
    // NOLINTNEXTLINE(clang-analyzer-cplusplus.InnerPointer): it lives until this thread's next call, as promised
    return text.c_str();
}
