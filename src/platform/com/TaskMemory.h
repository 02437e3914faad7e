#pragma once
/// Memory that crosses an interface: the callee allocates, the caller frees. Every copy of these functions, in the
/// module, in the host library and in a client, uses the C heap, so that memory may be freed by another one than the
/// one that allocated it.

#include <cstddef>
#include <memory>
#include <string_view>

// Visible, so that the host library can export its copy; the module's export list hides the module's.

/// @return memory for any object of that size, or null. Any thread.
extern "C" __attribute__((visibility("default"))) void* CoTaskMemAlloc(std::size_t bytes);
/// Null is allowed.
extern "C" __attribute__((visibility("default"))) void CoTaskMemFree(void* memory);

namespace qrn {

struct TaskMemoryDeleter {
    void operator()(void* memory) const { CoTaskMemFree(memory); }
};
template <class T>
using TaskMemoryPtr = std::unique_ptr<T, TaskMemoryDeleter>;

/// A copy of `text` with its closing zero in task memory; null when out of memory.
wchar_t* CopyToTaskMemory(std::wstring_view text);

}  // namespace qrn
