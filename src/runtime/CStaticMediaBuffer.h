#pragma once

#include "runtime/CBaseMediaBuffer.h"

/// Foreign memory as a media buffer. There is no counting: the object lives on its creator's stack for the length of
/// one call, and so does the memory.
class CStaticMediaBuffer final : public CBaseMediaBuffer {
public:
    /// @param data       `maxLength` bytes, not owned
    /// @param length     how many of them are in use
    CStaticMediaBuffer(BYTE* data, DWORD maxLength, DWORD length = 0);

    /// Knows IUnknown and IMediaBuffer.
    HRESULT QueryInterface(REFIID id, void** object) override;
    ULONG AddRef() override;
    ULONG Release() override;

    /// Stores the length unchecked.
    HRESULT SetLength(DWORD length) override;
    HRESULT GetMaxLength(DWORD* maxLength) override;
    /// Each out argument may be null.
    HRESULT GetBufferAndLength(BYTE** buffer, DWORD* length) override;

    BYTE* m_data;
    DWORD m_maxLength;
    DWORD m_length;
};
