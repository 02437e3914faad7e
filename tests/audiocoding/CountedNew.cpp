#include "CountedNew.h"

#include <atomic>
#include <cstdlib>
#include <new>

// In a file of its own: where a compiler sees these beside their callers it takes new and free for a mismatch.

namespace {

std::atomic<bool> g_isCounting = false;
std::atomic<int> g_allocations = 0;
/// How many allocations go before the one that fails; below 0 when there is to be no such one.
std::atomic<int> g_allowed = -1;
std::atomic<bool> g_hasStruck = false;

}  // namespace

void* operator new(std::size_t bytes, const std::nothrow_t&) noexcept {
    if (g_isCounting) {
        ++g_allocations;
    }
    if (g_allowed >= 0 && g_allowed-- == 0) {
        g_hasStruck = true;
        return nullptr;
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

CAllocationFault::CAllocationFault(int allowed) {
    g_hasStruck = false;
    g_allowed = allowed;
}

CAllocationFault::~CAllocationFault() {
    g_allowed = -1;
}

bool CAllocationFault::HasStruck() const {
    return g_hasStruck;
}

int CAllocationCount::Stop() {
    g_isCounting = false;
    return g_allocations;
}

}  // namespace qrn::test
