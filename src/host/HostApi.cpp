// The functions of qrn/host.h, all that the library exports beside those of task memory, which platform/com defines.

#include "qrn/host.h"

#include <cstring>
#include <string>

#include "host/Activation.h"
#include "host/Boundary.h"
#include "host/CModuleHolder.h"
#include "host/GraphDump.h"
#include "host/GraphDumpFormat.h"
#include "platform/com/TaskMemory.h"

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

HRESULT QrnDumpGraph(IFilterGraph* graph, int format, char** text) {
    if (text == nullptr) {
        return E_POINTER;
    }
    *text = nullptr;
    if (graph == nullptr) {
        return E_POINTER;
    }
    if (format < kQrnDumpText || format > kQrnDumpDot) {
        return E_INVALIDARG;
    }
    return qrn::AtBoundary([&]() -> HRESULT {
        const qrn::GraphDump dump = qrn::TakeGraphDump(*graph);
        const std::string written = format == kQrnDumpText   ? qrn::FormatAsText(dump)
                                    : format == kQrnDumpJson ? qrn::FormatAsJson(dump)
                                                             : qrn::FormatAsDot(dump);
        auto* copy = static_cast<char*>(CoTaskMemAlloc(written.size() + 1));
        if (copy == nullptr) {
            return E_OUTOFMEMORY;
        }
        std::memcpy(copy, written.c_str(), written.size() + 1);
        *text = copy;
        return S_OK;
    });
}
