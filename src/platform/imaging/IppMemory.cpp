#include "platform/imaging/IppMemory.h"

#include <cstdlib>
#include <cstring>

namespace {

/// One cache line, which is also the widest vector register.
constexpr std::size_t kAlignmentBytes = 64;

}  // namespace

Ipp8u* ippsMalloc_8u(int bytes) {
    if (bytes <= 0) {
        return nullptr;
    }
    void* memory = nullptr;
    if (posix_memalign(&memory, kAlignmentBytes, static_cast<std::size_t>(bytes)) != 0) {
        return nullptr;
    }
    return static_cast<Ipp8u*>(memory);
}

void ippsFree(void* memory) {
    std::free(memory);
}

IppStatus ippsCopy_8u(const Ipp8u* source, Ipp8u* destination, int bytes) {
    if (source == nullptr || destination == nullptr) {
        return ippStsNullPtrErr;
    }
    if (bytes <= 0) {
        return ippStsSizeErr;
    }
    std::memcpy(destination, source, static_cast<std::size_t>(bytes));
    return ippStsNoErr;
}
