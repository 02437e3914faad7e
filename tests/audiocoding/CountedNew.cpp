#include "CountedNew.h"

#include <atomic>
#include <cstdlib>
#include <new>

// In a file of its own: where a compiler sees these beside their callers it takes new and free for a mismatch.

namespace {

std::atomic<bool> g_isCounting = false;
std::atomic<int> g_allocations = 0;

}  // namespace

void* operator new(std::size_t bytes, const std::nothrow_t&) noexcept {
    if (g_isCounting) {
        ++g_allocations;
    }
    return std::malloc(bytes == 0 ? 1 : bytes);
}
void* operator new(std::size_t bytes) {
    if (void* memory = operator new(bytes, std::nothrow)) {
        return memory;
    }
    throw std::bad_alloc();
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}
void operator delete(void* memory, const std::nothrow_t&) noexcept {
    std::free(memory);
}

namespace qrn::test {

CAllocationCount::CAllocationCount() {
    g_allocations = 0;
    g_isCounting = true;
}

CAllocationCount::~CAllocationCount() {
    g_isCounting = false;
}

int CAllocationCount::Stop() {
    g_isCounting = false;
    return g_allocations;
}

}  // namespace qrn::test
