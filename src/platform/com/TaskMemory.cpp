#include "platform/com/TaskMemory.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>

// The heap is the C library's on purpose: see the header.
void* CoTaskMemAlloc(std::size_t bytes) {
    return std::malloc(bytes == 0 ? 1 : bytes);
}

void CoTaskMemFree(void* memory) {
    std::free(memory);
}

namespace qrn {

wchar_t* CopyToTaskMemory(std::wstring_view text) {
    if (text.size() >= SIZE_MAX / sizeof(wchar_t)) {
        return nullptr;
    }
    auto* copy = static_cast<wchar_t*>(CoTaskMemAlloc((text.size() + 1) * sizeof(wchar_t)));
    if (copy != nullptr) {
        text.copy(copy, text.size());
        copy[text.size()] = L'\0';
    }
    return copy;
}

}  // namespace qrn
