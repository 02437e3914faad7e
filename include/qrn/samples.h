#pragma once
/// Media types, samples and the allocators that they come from.

#include "qrn/codes.h"

// ---------------------------------------------------------------------------------------------------------------------
// Media types

/// What flows through a pin. The format block is task memory owned by whoever owns the record.
struct AM_MEDIA_TYPE {
    GUID majortype;
    GUID subtype;
    BOOL bFixedSizeSamples;
    BOOL bTemporalCompression;
    ULONG lSampleSize;
    GUID formattype;
    IUnknown* pUnk;
    ULONG cbFormat;
    BYTE* pbFormat;
};

#pragma pack(push, 1)
/// The format block of audio (FORMAT_WaveFormatEx), 18 bytes.
struct WAVEFORMATEX {
    WORD wFormatTag;
    WORD nChannels;
    DWORD nSamplesPerSec;
    DWORD nAvgBytesPerSec;
    WORD nBlockAlign;
    WORD wBitsPerSample;
    WORD cbSize;
};
#pragma pack(pop)
static_assert(sizeof(WAVEFORMATEX) == 18);

inline constexpr WORD WAVE_FORMAT_PCM = 1;

inline constexpr GUID MEDIATYPE_Video = qrn::Guid("73646976-0000-0010-8000-00AA00389B71");
inline constexpr GUID MEDIATYPE_Audio = qrn::Guid("73647561-0000-0010-8000-00AA00389B71");
inline constexpr GUID MEDIASUBTYPE_PCM = qrn::Guid("00000001-0000-0010-8000-00AA00389B71");
inline constexpr GUID FORMAT_None = qrn::Guid("0F6417D6-C318-11D0-A43F-00A0C9223196");
inline constexpr GUID FORMAT_VideoInfo = qrn::Guid("05589F80-C356-11CE-BF01-00AA0055595A");
inline constexpr GUID FORMAT_WaveFormatEx = qrn::Guid("05589F81-C356-11CE-BF01-00AA0055595A");

// ---------------------------------------------------------------------------------------------------------------------
// Samples and allocators

struct IMediaSample : IUnknown {
    virtual HRESULT GetPointer(BYTE** buffer) = 0;
    /// The capacity of the buffer in bytes.
    virtual LONG GetSize() = 0;
    /// VFW_E_SAMPLE_TIME_NOT_SET without a time; VFW_S_NO_STOP_TIME (S-code 0x00040270) with a start time only, `end`
    /// is then one unit after `start`.
    virtual HRESULT GetTime(REFERENCE_TIME* start, REFERENCE_TIME* end) = 0;
    /// Null for both: no time. Null for `end`: a start time only.
    virtual HRESULT SetTime(const REFERENCE_TIME* start, const REFERENCE_TIME* end) = 0;
    virtual HRESULT IsSyncPoint() = 0;
    virtual HRESULT SetSyncPoint(BOOL isSyncPoint) = 0;
    virtual HRESULT IsPreroll() = 0;
    virtual HRESULT SetPreroll(BOOL isPreroll) = 0;
    virtual LONG GetActualDataLength() = 0;
    /// VFW_E_BUFFER_OVERFLOW for a length below 0 or above the capacity; the length then stays.
    virtual HRESULT SetActualDataLength(LONG length) = 0;
    /// S_FALSE and null when the type has not changed; otherwise the caller frees a copy.
    virtual HRESULT GetMediaType(AM_MEDIA_TYPE** type) = 0;
    virtual HRESULT SetMediaType(const AM_MEDIA_TYPE* type) = 0;
    virtual HRESULT IsDiscontinuity() = 0;
    virtual HRESULT SetDiscontinuity(BOOL isDiscontinuity) = 0;
    virtual HRESULT GetMediaTime(LONGLONG* start, LONGLONG* end) = 0;
    virtual HRESULT SetMediaTime(const LONGLONG* start, const LONGLONG* end) = 0;

protected:
    ~IMediaSample() = default;
};
inline constexpr HRESULT VFW_S_NO_STOP_TIME = 0x00040270;
inline constexpr IID IID_IMediaSample = qrn::Guid("56A8689A-0AD4-11CE-B03A-0020AF0BA770");
template <>
inline constexpr IID IID_Of<IMediaSample> = IID_IMediaSample;

inline constexpr DWORD AM_STREAM_MEDIA = 0;
inline constexpr DWORD AM_STREAM_CONTROL = 1;

inline constexpr DWORD AM_SAMPLE_SPLICEPOINT = 0x1;
inline constexpr DWORD AM_SAMPLE_PREROLL = 0x2;
inline constexpr DWORD AM_SAMPLE_DATADISCONTINUITY = 0x4;
inline constexpr DWORD AM_SAMPLE_TYPECHANGED = 0x8;
inline constexpr DWORD AM_SAMPLE_TIMEVALID = 0x10;
inline constexpr DWORD AM_SAMPLE_TIMEDISCONTINUITY = 0x40;
inline constexpr DWORD AM_SAMPLE_STOPVALID = 0x100;

/// All properties of a sample at once.
struct AM_SAMPLE2_PROPERTIES {
    DWORD cbData;
    DWORD dwTypeSpecificFlags;
    DWORD dwSampleFlags;
    LONG lActual;
    REFERENCE_TIME tStart;
    REFERENCE_TIME tStop;
    DWORD dwStreamId;
    AM_MEDIA_TYPE* pMediaType;
    BYTE* pbBuffer;
    LONG cbBuffer;
};

struct IMediaSample2 : IMediaSample {
    /// Copies the first `bytes` bytes of the properties.
    virtual HRESULT GetProperties(DWORD bytes, BYTE* properties) = 0;
    virtual HRESULT SetProperties(DWORD bytes, const BYTE* properties) = 0;

protected:
    ~IMediaSample2() = default;
};
inline constexpr IID IID_IMediaSample2 = qrn::Guid("36B73884-C2C8-11CF-8B46-00805F6CEF60");
template <>
inline constexpr IID IID_Of<IMediaSample2> = IID_IMediaSample2;

/// Counts and sizes in buffers and bytes.
struct ALLOCATOR_PROPERTIES {
    LONG cBuffers;
    LONG cbBuffer;
    LONG cbAlign;
    LONG cbPrefix;
};

// Flags of IMemAllocator::GetBuffer.
inline constexpr DWORD AM_GBF_PREVFRAMESKIPPED = 1;
inline constexpr DWORD AM_GBF_NOTASYNCPOINT = 2;
/// VFW_E_TIMEOUT at once instead of waiting for a free buffer.
inline constexpr DWORD AM_GBF_NOWAIT = 4;

struct IMemAllocator : IUnknown {
    virtual HRESULT SetProperties(const ALLOCATOR_PROPERTIES* request, ALLOCATOR_PROPERTIES* actual) = 0;
    virtual HRESULT GetProperties(ALLOCATOR_PROPERTIES* properties) = 0;
    virtual HRESULT Commit() = 0;
    /// Ends every wait in GetBuffer with VFW_E_NOT_COMMITTED.
    virtual HRESULT Decommit() = 0;
    /// Waits for a free buffer.
    virtual HRESULT GetBuffer(IMediaSample** sample, const REFERENCE_TIME* start, const REFERENCE_TIME* end,
                              DWORD flags) = 0;
    virtual HRESULT ReleaseBuffer(IMediaSample* sample) = 0;

protected:
    ~IMemAllocator() = default;
};
inline constexpr IID IID_IMemAllocator = qrn::Guid("56A8689C-0AD4-11CE-B03A-0020AF0BA770");
template <>
inline constexpr IID IID_Of<IMemAllocator> = IID_IMemAllocator;

inline constexpr CLSID CLSID_MemoryAllocator = qrn::Guid("1E651CC0-B199-11D0-8212-00C04FC32C45");
