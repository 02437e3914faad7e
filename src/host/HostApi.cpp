// The functions of qrn/host.h, all that the library exports beside those of task memory, which platform/com defines.

#include "qrn/host.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "host/Activation.h"
#include "host/Boundary.h"
#include "host/CModuleHolder.h"
#include "host/GraphDump.h"
#include "host/GraphDumpFormat.h"
#include "host/ModuleRegistration.h"
#include "platform/com/TaskMemory.h"

using qrn::CModuleHolder;

namespace {

HRESULT GiveText(const std::string& text, char** given) {
    auto* copy = static_cast<char*>(CoTaskMemAlloc(text.size() + 1));
    if (copy == nullptr) {
        return E_OUTOFMEMORY;
    }
    std::memcpy(copy, text.c_str(), text.size() + 1);
    *given = copy;
    return S_OK;
}

HRESULT ChangeRegistration(qrn::Registration change, const char* path, char** file) {
    if (file != nullptr) {
        *file = nullptr;
    }
    return qrn::AtBoundary([&] {
        std::string loaded;
        const HRESULT result =
            qrn::ChangeRegistration(CModuleHolder::Instance(), change, path != nullptr ? path : "", loaded);
        return FAILED(result) || file == nullptr ? result : GiveText(loaded, file);
    });
}

/// What is dumped may be one graph or several.
template <class Dump>
std::string Format(const Dump& dump, int format) {
    return format == kQrnDumpText   ? FormatAsText(dump)
           : format == kQrnDumpJson ? FormatAsJson(dump)
                                    : FormatAsDot(dump);
}

bool IsDumpFormat(int format) {
    return format >= kQrnDumpText && format <= kQrnDumpDot;
}

}  // namespace

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

HRESULT QrnRegisterModule(const char* path, char** file) {
    return ChangeRegistration(qrn::Registration::kWrite, path, file);
}

HRESULT QrnUnregisterModule(const char* path, char** file) {
    return ChangeRegistration(qrn::Registration::kRemove, path, file);
}

HRESULT QrnFindRegisteredModule(REFCLSID classId, char** path) {
    if (path == nullptr) {
        return E_POINTER;
    }
    *path = nullptr;
    return qrn::AtBoundary([&] {
        std::string found;
        const HRESULT result = qrn::FindRegisteredFile(CModuleHolder::Instance(), classId, found);
        return FAILED(result) ? result : GiveText(found, path);
    });
}

HRESULT QrnListRegisteredFilters(REFCLSID category, QrnRegisteredFilter** filters, UINT* count) {
    if (filters == nullptr || count == nullptr) {
        return E_POINTER;
    }
    *filters = nullptr;
    *count = 0;
    return qrn::AtBoundary(
        [&] { return qrn::ListRegisteredFilters(CModuleHolder::Instance(), category, filters, count); });
}

HRESULT QrnDumpGraph(IFilterGraph* graph, int format, char** text) {
    if (text == nullptr) {
        return E_POINTER;
    }
    *text = nullptr;
    if (graph == nullptr) {
        return E_POINTER;
    }
    if (!IsDumpFormat(format)) {
        return E_INVALIDARG;
    }
    return qrn::AtBoundary([&] { return GiveText(Format(qrn::TakeGraphDump(*graph), format), text); });
}

HRESULT QrnDumpGraphs(const QrnNamedGraph* graphs, UINT count, int format, char** text) {
    if (text == nullptr) {
        return E_POINTER;
    }
    *text = nullptr;
    const auto isWhole = [](const QrnNamedGraph& row) { return row.graph != nullptr && row.name != nullptr; };
    if ((graphs == nullptr && count > 0) || !std::all_of(graphs, graphs + count, isWhole)) {
        return E_POINTER;
    }
    if (!IsDumpFormat(format)) {
        return E_INVALIDARG;
    }
    return qrn::AtBoundary([&] {
        std::vector<qrn::NamedGraphDump> dumps;
        for (UINT at = 0; at < count; ++at) {
            dumps.push_back({graphs[at].name, qrn::TakeGraphDump(*graphs[at].graph)});
        }
        return GiveText(Format(dumps, format), text);
    });
}
