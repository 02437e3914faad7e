#pragma once
/// The allocator of plain memory.

#include <cstdlib>
#include <memory>

#include "framework/CBaseAllocator.h"

/// One block for all buffers, zeroed when it is made. Each buffer begins at a multiple of cbAlign, with cbPrefix bytes
/// before it. Alignment is a power of two up to the size of a page.
class CMemAllocator : public CBaseAllocator {
public:
    CMemAllocator(const wchar_t* name, IUnknown* outer, HRESULT* result);
    ~CMemAllocator() override;

protected:
    HRESULT Alloc(const ALLOCATOR_PROPERTIES& properties) override QRN_REQUIRES(m_lock);
    void Free() override QRN_REQUIRES(m_lock);
    HRESULT CheckProperties(ALLOCATOR_PROPERTIES& properties) override;

private:
    struct FreeDeleter {
        void operator()(BYTE* memory) const { std::free(memory); }
    };
    std::unique_ptr<BYTE, FreeDeleter> m_memory QRN_GUARDED_BY(m_lock);
};

/// A new CMemAllocator.
HRESULT CreateMemoryAllocator(IMemAllocator** allocator);
