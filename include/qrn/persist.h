#pragma once
/// Streams of bytes, and filters that keep their settings in one.

#include "qrn/pins.h"

struct ISequentialStream : IUnknown {
    virtual HRESULT Read(void* data, ULONG bytes, ULONG* read) = 0;
    virtual HRESULT Write(const void* data, ULONG bytes, ULONG* written) = 0;

protected:
    ~ISequentialStream() = default;
};
inline constexpr IID IID_ISequentialStream = qrn::Guid("0C733A30-2A1C-11CE-ADE5-00AA0044773D");
template <>
inline constexpr IID IID_Of<ISequentialStream> = IID_ISequentialStream;

struct STATSTG;

/// A stream of bytes. Only Read and Write are used by the module; another stream may answer E_NOTIMPL to the rest.
struct IStream : ISequentialStream {
    virtual HRESULT Seek(LONGLONG move, DWORD origin, ULONGLONG* position) = 0;
    virtual HRESULT SetSize(ULONGLONG size) = 0;
    virtual HRESULT CopyTo(IStream* target, ULONGLONG bytes, ULONGLONG* read, ULONGLONG* written) = 0;
    virtual HRESULT Commit(DWORD flags) = 0;
    virtual HRESULT Revert() = 0;
    virtual HRESULT LockRegion(ULONGLONG offset, ULONGLONG bytes, DWORD type) = 0;
    virtual HRESULT UnlockRegion(ULONGLONG offset, ULONGLONG bytes, DWORD type) = 0;
    virtual HRESULT Stat(STATSTG* stat, DWORD flags) = 0;
    virtual HRESULT Clone(IStream** clone) = 0;

protected:
    ~IStream() = default;
};
inline constexpr IID IID_IStream = qrn::Guid("0000000C-0000-0000-C000-000000000046");
template <>
inline constexpr IID IID_Of<IStream> = IID_IStream;

struct IPersistStream : IPersist {
    virtual HRESULT IsDirty() = 0;
    virtual HRESULT Load(IStream* stream) = 0;
    virtual HRESULT Save(IStream* stream, BOOL clearDirty) = 0;
    virtual HRESULT GetSizeMax(ULONGLONG* bytes) = 0;

protected:
    ~IPersistStream() = default;
};
inline constexpr IID IID_IPersistStream = qrn::Guid("00000109-0000-0000-C000-000000000046");
template <>
inline constexpr IID IID_Of<IPersistStream> = IID_IPersistStream;
