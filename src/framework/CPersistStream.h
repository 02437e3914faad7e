#pragma once
/// The state of a filter in a stream of bytes, behind the version of the software that wrote it.

#include "qrn/filters.h"

/// To be a base of the filter, which supplies IUnknown and GetClassID. The version is 12 UTF-16 characters,
/// little-endian, from "%011d ". The thread that loads and saves is the client's.
class CPersistStream : public IPersistStream {
public:
    CPersistStream(IUnknown* outer, HRESULT* result);
    virtual ~CPersistStream() = default;

    /// S_OK when dirty, else S_FALSE.
    HRESULT IsDirty() override;
    HRESULT Load(IStream* stream) override;
    HRESULT Save(IStream* stream, BOOL clearDirty) override;
    HRESULT GetSizeMax(ULONGLONG* bytes) override;

    HRESULT SetDirty(BOOL dirty);

protected:
    /// 0 unless overridden.
    virtual DWORD GetSoftwareVersion();
    /// The bytes that WriteToStream writes at most.
    virtual int SizeMax();
    virtual HRESULT WriteToStream(IStream* stream);
    /// mPS_dwFileVersion is the version that the stream was written with.
    virtual HRESULT ReadFromStream(IStream* stream);

    DWORD mPS_dwFileVersion = 0;
    BOOL mPS_fDirty = FALSE;
};
