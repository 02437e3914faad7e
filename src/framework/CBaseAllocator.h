#pragma once
/// The life of an allocator's samples: free, out, waited for.

#include "framework/CMediaSample.h"
#include "framework/CUnknown.h"
#include "platform/system/Condition.h"
#include "platform/system/Lock.h"

/// A fixed number of samples that go out and come back. No memory is allocated between Commit and Decommit. Samples
/// that are out when Decommit is called stay valid and keep the allocator; the memory goes when the last one is back.
/// Any thread.
class CBaseAllocator : public CUnknown, public IMemAllocator, public IQRN_AllocatorStatistics {
public:
    DECLARE_IUNKNOWN

    CBaseAllocator(const wchar_t* name, IUnknown* outer, HRESULT* result);

    HRESULT NonDelegatingQueryInterface(REFIID id, void** object) override;

    /// VFW_E_ALREADY_COMMITTED, VFW_E_BUFFERS_OUTSTANDING, VFW_E_BADALIGN, E_INVALIDARG for what makes no sense.
    HRESULT SetProperties(const ALLOCATOR_PROPERTIES* request, ALLOCATOR_PROPERTIES* actual) override;
    HRESULT GetProperties(ALLOCATOR_PROPERTIES* properties) override;
    /// VFW_E_SIZENOTSET before SetProperties, E_OUTOFMEMORY.
    HRESULT Commit() override;
    HRESULT Decommit() override;
    HRESULT GetBuffer(IMediaSample** sample, const REFERENCE_TIME* start, const REFERENCE_TIME* end,
                      DWORD flags) override;
    HRESULT ReleaseBuffer(IMediaSample* sample) override;

    // IQRN_AllocatorStatistics
    HRESULT GetBufferUsage(LONG* inUse, LONG* count) override;

    /// Samples that lie ready. For tests and reports.
    LONG FreeCount() const;

protected:
    /// Makes the samples, each of which it gives to AddSample. Called only with no samples in being.
    virtual HRESULT Alloc(const ALLOCATOR_PROPERTIES& properties) QRN_REQUIRES(m_lock) = 0;
    /// Frees the samples' memory; the samples themselves are already gone.
    virtual void Free() QRN_REQUIRES(m_lock) = 0;
    /// Refuses what the allocator cannot give, or adjusts it; nothing in the request is negative.
    virtual HRESULT CheckProperties(ALLOCATOR_PROPERTIES& properties) = 0;
    /// False when out of memory.
    bool AddSample(BYTE* buffer, LONG bytes) QRN_REQUIRES(m_lock);
    /// For the destructor of the class that overrides Free: nothing is out any more by then.
    void FreeAll();

    mutable qrn::CMutex m_lock;

private:
    void FreeIfAllBack() QRN_REQUIRES(m_lock);

    qrn::CCondition m_returned;
    ALLOCATOR_PROPERTIES m_properties QRN_GUARDED_BY(m_lock){};
    bool m_committed QRN_GUARDED_BY(m_lock) = false;
    CMediaSample* m_free QRN_GUARDED_BY(m_lock) = nullptr;
    LONG m_freeCount QRN_GUARDED_BY(m_lock) = 0;
    LONG m_sampleCount QRN_GUARDED_BY(m_lock) = 0;
};
