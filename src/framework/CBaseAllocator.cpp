#include "framework/CBaseAllocator.h"

#include <new>
#include <utility>

CBaseAllocator::CBaseAllocator(const wchar_t* name, IUnknown* outer, HRESULT* /*result*/) : CUnknown(name, outer) {}

HRESULT CBaseAllocator::NonDelegatingQueryInterface(REFIID id, void** object) {
    if (id == IID_IMemAllocator) {
        return GetInterface(static_cast<IMemAllocator*>(this), object);
    }
    if (id == IID_IQRN_AllocatorStatistics) {
        return GetInterface(static_cast<IQRN_AllocatorStatistics*>(this), object);
    }
    return CUnknown::NonDelegatingQueryInterface(id, object);
}

HRESULT CBaseAllocator::SetProperties(const ALLOCATOR_PROPERTIES* request, ALLOCATOR_PROPERTIES* actual) {
    if (request == nullptr || actual == nullptr) {
        return E_POINTER;
    }
    ALLOCATOR_PROPERTIES wanted = *request;
    if (wanted.cBuffers < 0 || wanted.cbBuffer < 0 || wanted.cbPrefix < 0) {
        return E_INVALIDARG;
    }
    const HRESULT result = CheckProperties(wanted);
    if (FAILED(result)) {
        return result;
    }
    qrn::CScopedLock lock(m_lock);
    if (m_committed) {
        return VFW_E_ALREADY_COMMITTED;
    }
    if (m_sampleCount != 0) {
        return VFW_E_BUFFERS_OUTSTANDING;
    }
    m_properties = wanted;
    *actual = wanted;
    return S_OK;
}

HRESULT CBaseAllocator::GetProperties(ALLOCATOR_PROPERTIES* properties) {
    if (properties == nullptr) {
        return E_POINTER;
    }
    qrn::CScopedLock lock(m_lock);
    *properties = m_properties;
    return S_OK;
}

HRESULT CBaseAllocator::Commit() {
    qrn::CScopedLock lock(m_lock);
    if (m_committed) {
        return S_OK;
    }
    if (m_properties.cBuffers == 0 || m_properties.cbBuffer == 0 || m_properties.cbAlign == 0) {
        return VFW_E_SIZENOTSET;
    }
    if (m_sampleCount == 0) {
        // Otherwise samples of the last commitment are still out, and all of them are used on.
        const HRESULT result = Alloc(m_properties);
        if (FAILED(result)) {
            FreeIfAllBack();
            return result;
        }
    }
    m_committed = true;
    return S_OK;
}

HRESULT CBaseAllocator::Decommit() {
    qrn::CScopedLock lock(m_lock);
    if (m_committed) {
        m_committed = false;
        FreeIfAllBack();
        m_returned.NotifyAll();
    }
    return S_OK;
}

HRESULT CBaseAllocator::GetBuffer(IMediaSample** sample, const REFERENCE_TIME* /*start*/, const REFERENCE_TIME* /*end*/,
                                  DWORD flags) {
    if (sample == nullptr) {
        return E_POINTER;
    }
    *sample = nullptr;
    CMediaSample* taken = nullptr;
    {
        qrn::CScopedLock lock(m_lock);
        while (m_committed && m_free == nullptr) {
            if ((flags & AM_GBF_NOWAIT) != 0) {
                return VFW_E_TIMEOUT;
            }
            m_returned.Wait(m_lock);
        }
        if (!m_committed) {
            return VFW_E_NOT_COMMITTED;
        }
        taken = std::exchange(m_free, m_free->m_next);
        --m_freeCount;
    }
    // A sample that is out keeps the allocator, whose memory it is in.
    AddRef();
    taken->m_next = nullptr;
    taken->m_count = 1;
    *sample = taken;
    return S_OK;
}

HRESULT CBaseAllocator::ReleaseBuffer(IMediaSample* sample) {
    if (sample == nullptr) {
        return E_POINTER;
    }
    auto* const returned = static_cast<CMediaSample*>(static_cast<IMediaSample2*>(sample));
    {
        qrn::CScopedLock lock(m_lock);
        returned->m_next = m_free;
        m_free = returned;
        ++m_freeCount;
        if (m_committed) {
            m_returned.NotifyOne();
        } else {
            FreeIfAllBack();
        }
    }
    Release();  // what GetBuffer added; may be the last one
    return S_OK;
}

HRESULT CBaseAllocator::GetBufferUsage(LONG* inUse, LONG* count) {
    if (inUse == nullptr || count == nullptr) {
        return E_POINTER;
    }
    qrn::CScopedLock lock(m_lock);
    *inUse = m_sampleCount - m_freeCount;
    *count = m_properties.cBuffers;
    return S_OK;
}

LONG CBaseAllocator::FreeCount() const {
    qrn::CScopedLock lock(m_lock);
    return m_freeCount;
}

bool CBaseAllocator::AddSample(BYTE* buffer, LONG bytes) {
    auto* sample = new (std::nothrow) CMediaSample(this, buffer, bytes);
    if (sample == nullptr) {
        return false;
    }
    sample->m_next = m_free;
    m_free = sample;
    ++m_freeCount;
    ++m_sampleCount;
    return true;
}

void CBaseAllocator::FreeAll() {
    qrn::CScopedLock lock(m_lock);
    m_committed = false;
    FreeIfAllBack();
}

void CBaseAllocator::FreeIfAllBack() {
    if (m_freeCount != m_sampleCount) {
        return;
    }
    while (m_free != nullptr) {
        delete std::exchange(m_free, m_free->m_next);
    }
    m_freeCount = 0;
    m_sampleCount = 0;
    Free();
}
