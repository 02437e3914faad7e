#pragma once
/// What a client needs around the module on a system without a native filter graph: activation by class id, task
/// memory, the classes of the host itself (CLSID_FilterGraph, CLSID_SystemClock, CLSID_MemoryAllocator,
/// CLSID_FilterMapper2, CLSID_FilterMapper) and the registration of modules. Link with libqrn_host.

#include <cstddef>

#include "qrn/com.h"
#include "qrn/filters.h"

#define QRN_HOST_API __attribute__((visibility("default")))

extern "C" {

inline constexpr DWORD CLSCTX_INPROC_SERVER = 1;

/// Makes an object of a class: one of the host's own, or one of the module's.
/// The module is the file given to QrnSetModulePath, else the one that the environment variable QRN_MODULE names, else
/// the one that is registered for the class, else libQRN_Media2.so beside the program, else beside this library, else
/// the one that the dynamic loader finds. It is loaded on first use, and stays the only one of the process.
/// @param outer  the controlling unknown of an aggregate, or null.
/// @return REGDB_E_CLASSNOTREG for a class that nobody has; E_MODULE_NOT_FOUND when the module cannot be loaded;
/// E_UNEXPECTED when the class is registered for another module than the one that is loaded; an error e of the registry
/// as `e | 0x80070000` when it cannot be told what is registered (0x800703F1 for a damaged one). QrnLastLoadError then
/// tells why. Else what the class factory answers. Any thread.
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

/// Why the last attempt to find and load the module, to register one or to read what is registered has failed, in words
/// without a closing dot (UTF-8); empty when it has not. Valid until this thread's next call.
QRN_HOST_API const char* QrnLastLoadError();

/// Has a module register its classes and filters: for the whole machine when root does it, else for the user.
/// Registering again changes nothing. It is loaded for the call; whatever module is loaded already stays.
/// @param path  its file (UTF-8), as it is to be found later; null for the one that activation takes where nothing is
/// registered.
/// @param file  receives the file that was loaded, absolute (UTF-8, task memory); null on failure. May be null itself.
/// @return E_MODULE_NOT_FOUND when the file cannot be loaded or is no module that registers itself, E_INVALIDARG for a
/// path that is no UTF-8, else what the module answers: an error e of the registry as `e | 0x80070000`, which has then
/// stayed as it was. QrnLastLoadError tells why. Any thread.
QRN_HOST_API HRESULT QrnRegisterModule(const char* path, char** file);

/// Takes that back. S_OK too when nothing is registered. Any copy of the module will do, whichever is registered. Same
/// rules; E_ACCESSDENIED for a user who did not register it himself while it is registered for the whole machine.
QRN_HOST_API HRESULT QrnUnregisterModule(const char* path, char** file);

/// The file of the module that is registered for a class; it need not be there any more.
/// @param path  receives UTF-8 in task memory; null on failure.
/// @return E_POINTER; REGDB_E_CLASSNOTREG when none is registered; E_OUTOFMEMORY; an error e of the registry as
/// `e | 0x80070000`. Any thread.
QRN_HOST_API HRESULT QrnFindRegisteredModule(REFCLSID classId, char** path);

/// A filter as a category lists it. Texts are UTF-8.
struct QrnRegisteredFilter {
    CLSID classId;
    DWORD merit;
    const char* name;
    /// The file of its module; null when the filter's class is registered no more.
    const char* modulePath;
};

/// The filters of a category (CLSID_LegacyAmFilterCategory and its like), in the order of their entries' names.
/// @param filters  receives one block of task memory with the records and their texts; null when there are none.
/// @return E_POINTER, E_OUTOFMEMORY, or an error e of the registry as `e | 0x80070000`. Any thread.
QRN_HOST_API HRESULT QrnListRegisteredFilters(REFCLSID category, QrnRegisteredFilter** filters, UINT* count);

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

struct QrnNamedGraph {
    IFilterGraph* graph;
    /// UTF-8.
    const char* name;
};

/// Describes several graphs, such as the two halves of a call, in one text: one behind the other, as the array "graphs"
/// of one object, as boxes of one drawing. Same rules; E_POINTER too for a graph or a name that is null.
QRN_HOST_API HRESULT QrnDumpGraphs(const QrnNamedGraph* graphs, UINT count, int format, char** text);

}  // extern "C"

namespace qrn {

/// CoCreateInstance for a known interface.
template <class T>
HRESULT CreateInstance(REFCLSID classId, ComPtr<T>& object) {
    return CoCreateInstance(classId, nullptr, CLSCTX_INPROC_SERVER, IID_Of<T>, object.PutVoid());
}

}  // namespace qrn
