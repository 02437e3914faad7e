#pragma once
/// Objects that live as long as the library's own memory.

#include <cstddef>
#include <new>

namespace qrn {

/// The one T of the library: made at the first use and never destroyed, because threads may still use it while the
/// process ends. It stands in the library's own memory, so a library that is unloaded leaves nothing on the heap,
/// provided that T itself holds nothing there at that time.
template <class T>
T& Undying() {
    alignas(T) static std::byte memory[sizeof(T)];
    static T* const object = new (memory) T;
    return *object;
}

}  // namespace qrn
