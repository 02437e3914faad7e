#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <new>

#include "platform/imaging/IppTypes.h"

namespace qrn::test {

/// Where a plane lies between two pages that nobody may touch.
enum class Against { kLowerGuard, kUpperGuard };

/// Bytes of which the first or the last is next to a page that faults on any access, so that one byte read or written
/// outside ends the test. Against the upper guard the start has whatever alignment the length leaves.
class GuardedPlane {
public:
    GuardedPlane(std::size_t bytes, Against side) {
        const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
        const std::size_t inner = (bytes + page - 1) / page * page;
        m_mapped = inner + 2 * page;
        void* memory = mmap(nullptr, m_mapped, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (memory == MAP_FAILED) {
            throw std::bad_alloc();
        }
        m_map = static_cast<Ipp8u*>(memory);
        if (mprotect(m_map + page, inner, PROT_READ | PROT_WRITE) != 0) {
            munmap(m_map, m_mapped);
            throw std::bad_alloc();
        }
        m_bytes = m_map + page + (side == Against::kUpperGuard ? inner - bytes : 0);
    }
    ~GuardedPlane() {
        if (m_map != nullptr) {
            munmap(m_map, m_mapped);
        }
    }
    GuardedPlane(GuardedPlane&& other) noexcept : m_map(other.m_map), m_bytes(other.m_bytes), m_mapped(other.m_mapped) {
        other.m_map = nullptr;
    }
    GuardedPlane(const GuardedPlane&) = delete;
    GuardedPlane& operator=(const GuardedPlane&) = delete;
    GuardedPlane& operator=(GuardedPlane&&) = delete;

    [[nodiscard]] Ipp8u* Data() const { return m_bytes; }

private:
    Ipp8u* m_map = nullptr;
    Ipp8u* m_bytes = nullptr;
    std::size_t m_mapped = 0;
};

}  // namespace qrn::test
