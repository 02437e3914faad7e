#pragma once
/// A sample of a CBaseAllocator.

#include <atomic>

#include "qrn/filters.h"

class CBaseAllocator;

/// Goes back to its allocator when its last reference goes; the memory belongs to the allocator. References may be
/// counted on any thread, the content belongs to one filter at a time.
class CMediaSample : public IMediaSample2 {
public:
    /// @param allocator  not counted by the sample; the allocator counts a reference on itself for each sample that is
    /// out.
    CMediaSample(CBaseAllocator* allocator, BYTE* buffer, LONG bytes);
    virtual ~CMediaSample();
    CMediaSample(const CMediaSample&) = delete;
    CMediaSample& operator=(const CMediaSample&) = delete;

    HRESULT QueryInterface(REFIID id, void** object) override;
    ULONG AddRef() override;
    ULONG Release() override;

    HRESULT GetPointer(BYTE** buffer) override;
    LONG GetSize() override;
    HRESULT GetTime(REFERENCE_TIME* start, REFERENCE_TIME* end) override;
    HRESULT SetTime(const REFERENCE_TIME* start, const REFERENCE_TIME* end) override;
    HRESULT IsSyncPoint() override;
    HRESULT SetSyncPoint(BOOL isSyncPoint) override;
    HRESULT IsPreroll() override;
    HRESULT SetPreroll(BOOL isPreroll) override;
    LONG GetActualDataLength() override;
    HRESULT SetActualDataLength(LONG length) override;
    HRESULT GetMediaType(AM_MEDIA_TYPE** type) override;
    HRESULT SetMediaType(const AM_MEDIA_TYPE* type) override;
    HRESULT IsDiscontinuity() override;
    HRESULT SetDiscontinuity(BOOL isDiscontinuity) override;
    HRESULT GetMediaTime(LONGLONG* start, LONGLONG* end) override;
    HRESULT SetMediaTime(const LONGLONG* start, const LONGLONG* end) override;

    HRESULT GetProperties(DWORD bytes, BYTE* properties) override;
    /// What of the record `bytes` covers. The buffer may only move within itself: E_INVALIDARG otherwise.
    HRESULT SetProperties(DWORD bytes, const BYTE* properties) override;

private:
    friend class CBaseAllocator;

    void SetFlag(DWORD flag, BOOL on);
    HRESULT HasFlag(DWORD flag) const { return (m_flags & flag) != 0 ? S_OK : S_FALSE; }
    void Recycle();

    CBaseAllocator* const m_allocator;
    CMediaSample* m_next = nullptr;  // in the allocator's free list
    BYTE* const m_buffer;
    const LONG m_size;
    std::atomic<ULONG> m_count{0};
    LONG m_actual;
    DWORD m_flags = 0;
    DWORD m_typeSpecificFlags = 0;
    DWORD m_streamId = AM_STREAM_MEDIA;
    REFERENCE_TIME m_start = 0;
    REFERENCE_TIME m_end = 0;
    bool m_hasMediaTime = false;
    LONGLONG m_mediaStart = 0;
    LONGLONG m_mediaEnd = 0;
    AM_MEDIA_TYPE* m_type = nullptr;
};
