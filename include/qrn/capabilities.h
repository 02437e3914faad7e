#pragma once
/// What single filters and pins offer beside.

#include "qrn/codes.h"

inline constexpr ULONG AM_FILTER_MISC_FLAGS_IS_RENDERER = 1;
inline constexpr ULONG AM_FILTER_MISC_FLAGS_IS_SOURCE = 2;

struct IAMFilterMiscFlags : IUnknown {
    virtual ULONG GetMiscFlags() = 0;

protected:
    ~IAMFilterMiscFlags() = default;
};
inline constexpr IID IID_IAMFilterMiscFlags = qrn::Guid("2DD74950-A890-11D1-ABE8-00A0C905F375");
template <>
inline constexpr IID IID_Of<IAMFilterMiscFlags> = IID_IAMFilterMiscFlags;

struct IAMLatency : IUnknown {
    virtual HRESULT GetLatency(REFERENCE_TIME* latency) = 0;

protected:
    ~IAMLatency() = default;
};
inline constexpr IID IID_IAMLatency = qrn::Guid("62EA93BA-EC62-11D2-B770-00C04FB6BD3D");
template <>
inline constexpr IID IID_Of<IAMLatency> = IID_IAMLatency;

struct IAMPushSource : IAMLatency {
    virtual HRESULT GetPushSourceFlags(ULONG* flags) = 0;
    virtual HRESULT SetPushSourceFlags(ULONG flags) = 0;
    virtual HRESULT SetStreamOffset(REFERENCE_TIME offset) = 0;
    virtual HRESULT GetStreamOffset(REFERENCE_TIME* offset) = 0;
    virtual HRESULT GetMaxStreamOffset(REFERENCE_TIME* offset) = 0;
    virtual HRESULT SetMaxStreamOffset(REFERENCE_TIME offset) = 0;

protected:
    ~IAMPushSource() = default;
};
inline constexpr IID IID_IAMPushSource = qrn::Guid("F185FE76-E64E-11D2-B76E-00C04FB6BD3D");
template <>
inline constexpr IID IID_Of<IAMPushSource> = IID_IAMPushSource;

inline constexpr DWORD KSPROPERTY_SUPPORT_GET = 1;
inline constexpr GUID AMPROPSETID_Pin = qrn::Guid("9B00F101-1567-11D1-B3F1-00AA003761C5");
inline constexpr DWORD AMPROPERTY_PIN_CATEGORY = 0;
inline constexpr GUID PIN_CATEGORY_CAPTURE = qrn::Guid("FB6C4281-0353-11D1-905F-0000C0CC16BA");

struct IKsPropertySet : IUnknown {
    virtual HRESULT Set(REFGUID set, DWORD id, const void* instance, DWORD instanceBytes, const void* data,
                        DWORD dataBytes) = 0;
    virtual HRESULT Get(REFGUID set, DWORD id, const void* instance, DWORD instanceBytes, void* data, DWORD dataBytes,
                        DWORD* returned) = 0;
    virtual HRESULT QuerySupported(REFGUID set, DWORD id, DWORD* support) = 0;

protected:
    ~IKsPropertySet() = default;
};
inline constexpr IID IID_IKsPropertySet = qrn::Guid("31EFAC30-515C-11D0-A9AA-00AA0061BE93");
template <>
inline constexpr IID IID_Of<IKsPropertySet> = IID_IKsPropertySet;

/// Bytes handed to a media object.
struct IMediaBuffer : IUnknown {
    virtual HRESULT SetLength(DWORD length) = 0;
    virtual HRESULT GetMaxLength(DWORD* maxLength) = 0;
    virtual HRESULT GetBufferAndLength(BYTE** buffer, DWORD* length) = 0;

protected:
    ~IMediaBuffer() = default;
};
inline constexpr IID IID_IMediaBuffer = qrn::Guid("59EFF8B9-938C-4A26-82F2-95CB84CDC837");
template <>
inline constexpr IID IID_Of<IMediaBuffer> = IID_IMediaBuffer;
