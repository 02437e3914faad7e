#include "framework/CMediaSample.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <limits>

#include "framework/CBaseAllocator.h"
#include "framework/CMediaType.h"

CMediaSample::CMediaSample(CBaseAllocator* allocator, BYTE* buffer, LONG bytes)
    : m_allocator(allocator),
      m_buffer(buffer),
      m_size(bytes),
      m_actual(bytes) {}

CMediaSample::~CMediaSample() {
    DeleteMediaType(m_type);
}

HRESULT CMediaSample::QueryInterface(REFIID id, void** object) {
    if (object == nullptr) {
        return E_POINTER;
    }
    if (id == IID_IMediaSample || id == IID_IMediaSample2 || id == IID_IUnknown) {
        return GetInterface(static_cast<IMediaSample2*>(this), object);
    }
    *object = nullptr;
    return E_NOINTERFACE;
}

ULONG CMediaSample::AddRef() {
    return ++m_count;
}

ULONG CMediaSample::Release() {
    const ULONG left = --m_count;
    if (left == 0) {
        Recycle();
        m_allocator->ReleaseBuffer(this);  // the sample may be gone from here on
    }
    return left;
}

HRESULT CMediaSample::GetPointer(BYTE** buffer) {
    if (buffer == nullptr) {
        return E_POINTER;
    }
    *buffer = m_buffer;
    return S_OK;
}

LONG CMediaSample::GetSize() {
    return m_size;
}

HRESULT CMediaSample::GetTime(REFERENCE_TIME* start, REFERENCE_TIME* end) {
    if (start == nullptr || end == nullptr) {
        return E_POINTER;
    }
    if ((m_flags & AM_SAMPLE_TIMEVALID) == 0) {
        return VFW_E_SAMPLE_TIME_NOT_SET;
    }
    *start = m_start;
    if ((m_flags & AM_SAMPLE_STOPVALID) == 0) {
        *end = m_start < std::numeric_limits<REFERENCE_TIME>::max() ? m_start + 1 : m_start;
        return VFW_S_NO_STOP_TIME;
    }
    *end = m_end;
    return S_OK;
}

HRESULT CMediaSample::SetTime(const REFERENCE_TIME* start, const REFERENCE_TIME* end) {
    SetFlag(AM_SAMPLE_TIMEVALID, start != nullptr);
    SetFlag(AM_SAMPLE_STOPVALID, start != nullptr && end != nullptr);
    if (start != nullptr) {
        m_start = *start;
        m_end = end != nullptr ? *end : 0;
    }
    return S_OK;
}

HRESULT CMediaSample::IsSyncPoint() {
    return HasFlag(AM_SAMPLE_SPLICEPOINT);
}

HRESULT CMediaSample::SetSyncPoint(BOOL isSyncPoint) {
    SetFlag(AM_SAMPLE_SPLICEPOINT, isSyncPoint);
    return S_OK;
}

HRESULT CMediaSample::IsPreroll() {
    return HasFlag(AM_SAMPLE_PREROLL);
}

HRESULT CMediaSample::SetPreroll(BOOL isPreroll) {
    SetFlag(AM_SAMPLE_PREROLL, isPreroll);
    return S_OK;
}

LONG CMediaSample::GetActualDataLength() {
    return m_actual;
}

HRESULT CMediaSample::SetActualDataLength(LONG length) {
    if (length < 0 || length > m_size) {
        return VFW_E_BUFFER_OVERFLOW;
    }
    m_actual = length;
    return S_OK;
}

HRESULT CMediaSample::GetMediaType(AM_MEDIA_TYPE** type) {
    if (type == nullptr) {
        return E_POINTER;
    }
    *type = nullptr;
    if ((m_flags & AM_SAMPLE_TYPECHANGED) == 0) {
        return S_FALSE;
    }
    *type = CreateMediaType(m_type);
    return *type != nullptr ? S_OK : E_OUTOFMEMORY;
}

HRESULT CMediaSample::SetMediaType(const AM_MEDIA_TYPE* type) {
    AM_MEDIA_TYPE* copy = CreateMediaType(type);
    if (type != nullptr && copy == nullptr) {
        return E_OUTOFMEMORY;
    }
    DeleteMediaType(m_type);
    m_type = copy;
    SetFlag(AM_SAMPLE_TYPECHANGED, copy != nullptr);
    return S_OK;
}

HRESULT CMediaSample::IsDiscontinuity() {
    return HasFlag(AM_SAMPLE_DATADISCONTINUITY);
}

HRESULT CMediaSample::SetDiscontinuity(BOOL isDiscontinuity) {
    SetFlag(AM_SAMPLE_DATADISCONTINUITY, isDiscontinuity);
    return S_OK;
}

HRESULT CMediaSample::GetMediaTime(LONGLONG* start, LONGLONG* end) {
    if (start == nullptr || end == nullptr) {
        return E_POINTER;
    }
    if (!m_hasMediaTime) {
        return VFW_E_MEDIA_TIME_NOT_SET;
    }
    *start = m_mediaStart;
    *end = m_mediaEnd;
    return S_OK;
}

HRESULT CMediaSample::SetMediaTime(const LONGLONG* start, const LONGLONG* end) {
    if (start == nullptr) {
        m_hasMediaTime = false;
        return S_OK;
    }
    if (end == nullptr) {
        return E_POINTER;
    }
    m_hasMediaTime = true;
    m_mediaStart = *start;
    m_mediaEnd = *end;
    return S_OK;
}

HRESULT CMediaSample::GetProperties(DWORD bytes, BYTE* properties) {
    if (bytes == 0) {
        return S_OK;
    }
    if (properties == nullptr) {
        return E_POINTER;
    }
    AM_SAMPLE2_PROPERTIES record{};
    record.cbData = std::min(bytes, static_cast<DWORD>(sizeof(record)));
    record.dwTypeSpecificFlags = m_typeSpecificFlags;
    record.dwSampleFlags = m_flags;
    record.lActual = m_actual;
    record.tStart = m_start;
    record.tStop = m_end;
    record.dwStreamId = m_streamId;
    record.pMediaType = (m_flags & AM_SAMPLE_TYPECHANGED) != 0 ? m_type : nullptr;
    record.pbBuffer = m_buffer;
    record.cbBuffer = m_size;
    std::memcpy(properties, &record, record.cbData);
    return S_OK;
}

HRESULT CMediaSample::SetProperties(DWORD bytes, const BYTE* properties) {
    if (bytes == 0) {
        return S_OK;
    }
    if (properties == nullptr) {
        return E_POINTER;
    }
    AM_SAMPLE2_PROPERTIES record{};
    std::memcpy(&record, properties, std::min(static_cast<std::size_t>(bytes), sizeof(record)));
    const auto covers = [bytes](std::size_t offset, std::size_t size) { return bytes >= offset + size; };
#define QRN_COVERS(field) covers(offsetof(AM_SAMPLE2_PROPERTIES, field), sizeof(record.field))
    // First everything that may be refused, so that a refusal changes nothing.
    if (QRN_COVERS(lActual) && (record.lActual < 0 || record.lActual > m_size)) {
        return VFW_E_BUFFER_OVERFLOW;
    }
    if ((QRN_COVERS(pbBuffer) && record.pbBuffer != nullptr && record.pbBuffer != m_buffer) ||
        (QRN_COVERS(cbBuffer) && record.cbBuffer != 0 && record.cbBuffer != m_size)) {
        return E_INVALIDARG;
    }
    if (QRN_COVERS(pMediaType)) {
        const HRESULT result = SetMediaType(record.pMediaType);
        if (FAILED(result)) {
            return result;
        }
    }
    if (QRN_COVERS(dwTypeSpecificFlags)) {
        m_typeSpecificFlags = record.dwTypeSpecificFlags;
    }
    if (QRN_COVERS(dwSampleFlags)) {
        // Whether a type is there is told by the type alone.
        m_flags = (record.dwSampleFlags & ~AM_SAMPLE_TYPECHANGED) | (m_flags & AM_SAMPLE_TYPECHANGED);
    }
    if (QRN_COVERS(lActual)) {
        m_actual = record.lActual;
    }
    if (QRN_COVERS(tStart)) {
        m_start = record.tStart;
    }
    if (QRN_COVERS(tStop)) {
        m_end = record.tStop;
    }
    if (QRN_COVERS(dwStreamId)) {
        m_streamId = record.dwStreamId;
    }
#undef QRN_COVERS
    return S_OK;
}

void CMediaSample::SetFlag(DWORD flag, BOOL on) {
    m_flags = on != FALSE ? m_flags | flag : m_flags & ~flag;
}

void CMediaSample::Recycle() {
    DeleteMediaType(m_type);
    m_type = nullptr;
    m_flags = 0;
    m_typeSpecificFlags = 0;
    m_streamId = AM_STREAM_MEDIA;
    m_hasMediaTime = false;
    m_actual = m_size;
}
