#include "framework/CMediaType.h"

#include <algorithm>
#include <cstring>

#include "platform/com/TaskMemory.h"

namespace {

/// The wave format's subtype is the identifier of all such types with the tag in its first field.
GUID SubtypeOfTag(WORD tag) {
    GUID subtype = MEDIASUBTYPE_PCM;
    subtype.Data1 = tag;
    return subtype;
}

BYTE* NewBlock(ULONG bytes) {
    auto* block = static_cast<BYTE*>(CoTaskMemAlloc(bytes));
    if (block != nullptr) {
        std::memset(block, 0, bytes);
    }
    return block;
}

/// A record that says a length but has no block, or the other way round, has none.
ULONG BlockBytes(const AM_MEDIA_TYPE& type) {
    return type.pbFormat != nullptr ? type.cbFormat : 0;
}

void Clear(AM_MEDIA_TYPE& type) {
    type = AM_MEDIA_TYPE{};
    type.bFixedSizeSamples = TRUE;
    type.lSampleSize = 1;
}

}  // namespace

CMediaType::CMediaType() : AM_MEDIA_TYPE{} {
    Clear(*this);
}

CMediaType::CMediaType(const GUID* majorType) : CMediaType() {
    SetType(majorType);
}

CMediaType::CMediaType(const AM_MEDIA_TYPE& type) : AM_MEDIA_TYPE{} {
    CopyMediaType(this, &type);
}

CMediaType::CMediaType(const CMediaType& type) : CMediaType(static_cast<const AM_MEDIA_TYPE&>(type)) {}

CMediaType& CMediaType::operator=(const AM_MEDIA_TYPE& type) {
    Set(type);
    return *this;
}

CMediaType& CMediaType::operator=(const CMediaType& type) {
    Set(type);
    return *this;
}

CMediaType::~CMediaType() {
    FreeMediaType(*this);
}

HRESULT CMediaType::Set(const AM_MEDIA_TYPE& type) {
    if (&type == this) {
        return S_OK;
    }
    AM_MEDIA_TYPE copy;
    const HRESULT result = CopyMediaType(&copy, &type);
    if (FAILED(result)) {
        FreeMediaType(copy);
        return result;
    }
    FreeMediaType(*this);
    static_cast<AM_MEDIA_TYPE&>(*this) = copy;
    return S_OK;
}

void CMediaType::InitMediaType() {
    FreeMediaType(*this);
    Clear(*this);
}

bool CMediaType::IsEqual(const AM_MEDIA_TYPE& type) const {
    const ULONG bytes = BlockBytes(*this);
    return majortype == type.majortype && subtype == type.subtype && formattype == type.formattype &&
           bytes == BlockBytes(type) && (bytes == 0 || std::memcmp(pbFormat, type.pbFormat, bytes) == 0);
}

BOOL CMediaType::IsValid() const {
    return majortype != GUID_NULL;
}

BOOL CMediaType::IsPartiallySpecified() const {
    return majortype == GUID_NULL || formattype == GUID_NULL;
}

BOOL CMediaType::MatchesPartial(const CMediaType* partial) const {
    if (partial == nullptr) {
        return TRUE;
    }
    if (partial->majortype != GUID_NULL && partial->majortype != majortype) {
        return FALSE;
    }
    if (partial->subtype != GUID_NULL && partial->subtype != subtype) {
        return FALSE;
    }
    if (partial->formattype == GUID_NULL) {
        return TRUE;
    }
    if (partial->formattype != formattype) {
        return FALSE;
    }
    const ULONG bytes = BlockBytes(*partial);
    return bytes == 0 || (bytes == BlockBytes(*this) && std::memcmp(pbFormat, partial->pbFormat, bytes) == 0);
}

void CMediaType::SetType(const GUID* type) {
    majortype = type != nullptr ? *type : GUID_NULL;
}

void CMediaType::SetSubtype(const GUID* type) {
    subtype = type != nullptr ? *type : GUID_NULL;
}

void CMediaType::SetFormatType(const GUID* type) {
    formattype = type != nullptr ? *type : GUID_NULL;
}

ULONG CMediaType::GetSampleSize() const {
    return bFixedSizeSamples != FALSE ? lSampleSize : 0;
}

void CMediaType::SetSampleSize(ULONG bytes) {
    if (bytes == 0) {
        SetVariableSize();
        return;
    }
    bFixedSizeSamples = TRUE;
    lSampleSize = bytes;
}

void CMediaType::SetVariableSize() {
    bFixedSizeSamples = FALSE;
}

void CMediaType::SetTemporalCompression(BOOL compressed) {
    bTemporalCompression = compressed;
}

BOOL CMediaType::SetFormat(const BYTE* format, ULONG bytes) {
    if (format == nullptr || bytes == 0) {
        ResetFormatBuffer();
        return TRUE;
    }
    BYTE* block = NewBlock(bytes);
    if (block == nullptr) {
        return FALSE;
    }
    // Before the old block goes: `format` may point into it.
    std::memcpy(block, format, bytes);
    ResetFormatBuffer();
    pbFormat = block;
    cbFormat = bytes;
    return TRUE;
}

BYTE* CMediaType::AllocFormatBuffer(ULONG bytes) {
    BYTE* block = bytes != 0 ? NewBlock(bytes) : nullptr;
    if (block == nullptr) {
        return nullptr;
    }
    ResetFormatBuffer();
    pbFormat = block;
    cbFormat = bytes;
    return block;
}

BYTE* CMediaType::ReallocFormatBuffer(ULONG bytes) {
    BYTE* block = bytes != 0 ? NewBlock(bytes) : nullptr;
    if (block == nullptr) {
        return nullptr;
    }
    if (pbFormat != nullptr) {
        std::memcpy(block, pbFormat, std::min(bytes, cbFormat));
    }
    ResetFormatBuffer();
    pbFormat = block;
    cbFormat = bytes;
    return block;
}

void CMediaType::ResetFormatBuffer() {
    CoTaskMemFree(pbFormat);
    pbFormat = nullptr;
    cbFormat = 0;
}

HRESULT CopyMediaType(AM_MEDIA_TYPE* target, const AM_MEDIA_TYPE* source) {
    if (target == nullptr || source == nullptr) {
        return E_POINTER;
    }
    *target = *source;
    target->pbFormat = nullptr;
    target->cbFormat = 0;
    if (target->pUnk != nullptr) {
        target->pUnk->AddRef();
    }
    const ULONG bytes = BlockBytes(*source);
    if (bytes == 0) {
        return S_OK;
    }
    target->pbFormat = NewBlock(bytes);
    if (target->pbFormat == nullptr) {
        return E_OUTOFMEMORY;
    }
    std::memcpy(target->pbFormat, source->pbFormat, bytes);
    target->cbFormat = bytes;
    return S_OK;
}

void FreeMediaType(AM_MEDIA_TYPE& type) {
    CoTaskMemFree(type.pbFormat);
    type.pbFormat = nullptr;
    type.cbFormat = 0;
    if (type.pUnk != nullptr) {
        type.pUnk->Release();
        type.pUnk = nullptr;
    }
}

AM_MEDIA_TYPE* CreateMediaType(const AM_MEDIA_TYPE* source) {
    if (source == nullptr) {
        return nullptr;
    }
    auto* copy = static_cast<AM_MEDIA_TYPE*>(CoTaskMemAlloc(sizeof(AM_MEDIA_TYPE)));
    if (copy == nullptr) {
        return nullptr;
    }
    if (FAILED(CopyMediaType(copy, source))) {
        DeleteMediaType(copy);
        return nullptr;
    }
    return copy;
}

void DeleteMediaType(AM_MEDIA_TYPE* type) {
    if (type != nullptr) {
        FreeMediaType(*type);
        CoTaskMemFree(type);
    }
}

HRESULT CreateAudioMediaType(const WAVEFORMATEX& format, AM_MEDIA_TYPE* type, bool setFormat) {
    if (type == nullptr) {
        return E_POINTER;
    }
    *type = AM_MEDIA_TYPE{};
    type->majortype = MEDIATYPE_Audio;
    type->subtype = SubtypeOfTag(format.wFormatTag);
    type->formattype = FORMAT_WaveFormatEx;
    type->bFixedSizeSamples = format.nBlockAlign != 0 ? TRUE : FALSE;
    type->lSampleSize = format.nBlockAlign;
    if (!setFormat) {
        return S_OK;
    }
    const ULONG extra = format.wFormatTag == WAVE_FORMAT_PCM ? 0 : format.cbSize;  // PCM has none, whatever cbSize says
    const ULONG bytes = static_cast<ULONG>(sizeof(WAVEFORMATEX)) + extra;
    type->pbFormat = NewBlock(bytes);
    if (type->pbFormat == nullptr) {
        return E_OUTOFMEMORY;
    }
    type->cbFormat = bytes;
    std::memcpy(type->pbFormat, &format, bytes);
    if (extra == 0) {
        reinterpret_cast<WAVEFORMATEX*>(type->pbFormat)->cbSize = 0;
    }
    return S_OK;
}
