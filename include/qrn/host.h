#pragma once
/// What a client needs around the module on a system without a native filter graph: activation by class id, task memory
/// and the classes of the host itself (CLSID_FilterGraph, CLSID_SystemClock, CLSID_MemoryAllocator). Link with
/// libqrn_host.

#include <cstddef>

#include "qrn/com.h"
#include "qrn/filters.h"

#define QRN_HOST_API __attribute__((visibility("default")))

extern "C" {

inline constexpr DWORD CLSCTX_INPROC_SERVER = 1;

/// Makes an object of a class: one of the host's own, or one of the module's.
/// The module is the file given to QrnSetModulePath, else the one that the environment variable QRN_MODULE names, else
/// libQRN_Media2.so beside the program, else the one that the dynamic loader finds. It is loaded on first use.
/// @param outer  the controlling unknown of an aggregate, or null.
/// @return REGDB_E_CLASSNOTREG for a class that nobody has; E_MODULE_NOT_FOUND when the module cannot be loaded
/// (QrnLastLoadError tells why); else what the class factory answers. Any thread.
QRN_HOST_API HRESULT CoCreateInstance(REFCLSID classId, IUnknown* outer, DWORD context, REFIID interfaceId,
                                      void** object);

/// The class's factory. Same rules.
QRN_HOST_API HRESULT CoGetClassObject(REFCLSID classId, DWORD context, void* reserved, REFIID interfaceId,
                                      void** object);

/// Unloads the module when no object of it lives. To be called while no other thread is inside an object's last
/// Release: it may not have left the module's code yet.
QRN_HOST_API void CoFreeUnusedLibraries();

QRN_HOST_API void* CoTaskMemAlloc(std::size_t bytes);
QRN_HOST_API void CoTaskMemFree(void* memory);

/// Names the module's file (UTF-8). To be called before the first activation; E_UNEXPECTED while a module is loaded.
QRN_HOST_API HRESULT QrnSetModulePath(const char* path);

/// The last failure to load the module in words (UTF-8), empty when there was none. Valid until this thread's next
/// call.
QRN_HOST_API const char* QrnLastLoadError();

/// How QrnDumpGraph writes: lines for people, one JSON object, a directed graph for Graphviz.
enum QrnDumpFormat : int { kQrnDumpText = 0, kQrnDumpJson = 1, kQrnDumpDot = 2 };

/// Describes a graph with its filters, pins, connections and media types, and the counters of each pin that answers
/// IQRN_PinStatistics. Any graph and any filters will do; what an object does not tell is left out.
/// It may be called while the graph runs or changes: neither waits for the other. The parts of the description are true
/// each for the moment in which it was asked for.
/// @param format  a QrnDumpFormat.
/// @param text  receives UTF-8, closed by a line end, in task memory; null on failure.
/// @return E_POINTER, E_INVALIDARG for a format that is none, E_OUTOFMEMORY. Any thread, but no signal handler.
QRN_HOST_API HRESULT QrnDumpGraph(IFilterGraph* graph, int format, char** text);

}  // extern "C"

namespace qrn {

/// CoCreateInstance for a known interface.
template <class T>
HRESULT CreateInstance(REFCLSID classId, ComPtr<T>& object) {
    return CoCreateInstance(classId, nullptr, CLSCTX_INPROC_SERVER, IID_Of<T>, object.PutVoid());
}

}  // namespace qrn
