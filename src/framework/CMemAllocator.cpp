#include "framework/CMemAllocator.h"

#include <bit>
#include <cstdint>
#include <new>

namespace {

constexpr LONG kLargestAlignment = 4096;

std::size_t RoundUp(std::size_t value, std::size_t alignment) {
    return (value + alignment - 1) / alignment * alignment;
}

}  // namespace

CMemAllocator::CMemAllocator(const wchar_t* name, IUnknown* outer, HRESULT* result)
    : CBaseAllocator(name, outer, result) {}

CMemAllocator::~CMemAllocator() {
    FreeAll();
}

HRESULT CMemAllocator::CheckProperties(ALLOCATOR_PROPERTIES& properties) {
    const bool good = properties.cbAlign > 0 && properties.cbAlign <= kLargestAlignment &&
                      std::has_single_bit(static_cast<std::uint32_t>(properties.cbAlign));
    return good ? S_OK : VFW_E_BADALIGN;
}

HRESULT CMemAllocator::Alloc(const ALLOCATOR_PROPERTIES& properties) {
    const auto alignment = static_cast<std::size_t>(properties.cbAlign);
    const std::size_t prefix = RoundUp(static_cast<std::size_t>(properties.cbPrefix), alignment);
    const std::size_t stride = prefix + RoundUp(static_cast<std::size_t>(properties.cbBuffer), alignment);
    const auto count = static_cast<std::size_t>(properties.cBuffers);
    // Zeroed, because a filter may deliver a buffer that it did not fill.
    m_memory.reset(static_cast<BYTE*>(std::calloc(stride * count + alignment - 1, 1)));
    if (!m_memory) {
        return E_OUTOFMEMORY;
    }
    const auto address = reinterpret_cast<std::uintptr_t>(m_memory.get());
    BYTE* first = m_memory.get() + (RoundUp(address, alignment) - address);
    // The last one first: the free list gives out what was added last.
    for (std::size_t i = count; i-- > 0;) {
        if (!AddSample(first + i * stride + prefix, properties.cbBuffer)) {
            return E_OUTOFMEMORY;
        }
    }
    return S_OK;
}

void CMemAllocator::Free() {
    m_memory.reset();
}

HRESULT CreateMemoryAllocator(IMemAllocator** allocator) {
    if (allocator == nullptr) {
        return E_POINTER;
    }
    auto* created = new (std::nothrow) CMemAllocator(L"memory allocator", nullptr, nullptr);
    if (created == nullptr) {
        *allocator = nullptr;
        return E_OUTOFMEMORY;
    }
    return GetInterface(static_cast<IMemAllocator*>(created), reinterpret_cast<void**>(allocator));
}
