#pragma once
/// The media type record as a value, and the operations on bare records.

#include "qrn/filters.h"

/// Owns its format block. Not for several threads at once.
class CMediaType : public AM_MEDIA_TYPE {
public:
    /// Nothing known; fixed-size samples of one byte.
    CMediaType();
    explicit CMediaType(const GUID* majorType);
    /// A copy whose format block cannot be allocated has none; Set tells.
    CMediaType(const AM_MEDIA_TYPE& type);
    CMediaType(const CMediaType& type);
    CMediaType& operator=(const AM_MEDIA_TYPE& type);
    CMediaType& operator=(const CMediaType& type);
    ~CMediaType();

    /// E_OUTOFMEMORY leaves the type as it was.
    HRESULT Set(const AM_MEDIA_TYPE& type);
    /// Frees everything and starts anew.
    void InitMediaType();

    friend bool operator==(const CMediaType& a, const CMediaType& b) { return a.IsEqual(b); }
    /// The identifiers and the format block, byte by byte. The sample flags do not count.
    bool IsEqual(const AM_MEDIA_TYPE& type) const;
    /// Whether the major type is known.
    BOOL IsValid() const;
    /// Whether major type or format type is open.
    BOOL IsPartiallySpecified() const;
    /// Whether this type fits `partial`, where unset fields of `partial` fit anything.
    BOOL MatchesPartial(const CMediaType* partial) const;

    const GUID* Type() const { return &majortype; }
    void SetType(const GUID* type);
    const GUID* Subtype() const { return &subtype; }
    void SetSubtype(const GUID* type);
    const GUID* FormatType() const { return &formattype; }
    void SetFormatType(const GUID* type);

    BOOL IsFixedSize() const { return bFixedSizeSamples; }
    BOOL IsTemporalCompressed() const { return bTemporalCompression; }
    /// 0 when samples vary in size.
    ULONG GetSampleSize() const;
    /// 0: samples vary in size.
    void SetSampleSize(ULONG bytes);
    void SetVariableSize();
    void SetTemporalCompression(BOOL compressed);

    BYTE* Format() const { return pbFormat; }
    ULONG FormatLength() const { return cbFormat; }
    /// Copies a block. False when out of memory; the type is then as it was.
    BOOL SetFormat(const BYTE* format, ULONG bytes);
    /// A new block, zeroed. Null when out of memory or for 0 bytes; the old block then stays.
    BYTE* AllocFormatBuffer(ULONG bytes);
    /// As AllocFormatBuffer, but keeps what fits of the old block.
    BYTE* ReallocFormatBuffer(ULONG bytes);
    void ResetFormatBuffer();
};

/// Makes `target`, whose old content is not looked at, a copy. E_POINTER, E_OUTOFMEMORY (no format block then).
HRESULT CopyMediaType(AM_MEDIA_TYPE* target, const AM_MEDIA_TYPE* source);
/// Frees what the record owns, not the record.
void FreeMediaType(AM_MEDIA_TYPE& type);
/// A copy in task memory, or null.
AM_MEDIA_TYPE* CreateMediaType(const AM_MEDIA_TYPE* source);
/// Frees a record from task memory and what it owns; null is allowed.
void DeleteMediaType(AM_MEDIA_TYPE* type);

/// An audio type: major type audio, the subtype made from the format tag, the wave format as the format block (its 18
/// bytes and the cbSize bytes behind them) when `setFormat`. Sample size is the block alignment; a block alignment of 0
/// means samples that vary in size. `type`'s old content is not looked at. E_POINTER, E_OUTOFMEMORY.
HRESULT CreateAudioMediaType(const WAVEFORMATEX& format, AM_MEDIA_TYPE* type, bool setFormat);
