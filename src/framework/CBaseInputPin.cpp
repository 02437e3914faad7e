#include "framework/CBaseInputPin.h"

#include "framework/CBaseFilter.h"
#include "framework/CMemAllocator.h"

CBaseInputPin::CBaseInputPin(const wchar_t* objectName, CBaseFilter* filter, CCritSec* lock, HRESULT* result,
                             const wchar_t* name)
    : CBasePin(objectName, filter, lock, result, name, PINDIR_INPUT) {}

HRESULT CBaseInputPin::NonDelegatingQueryInterface(REFIID id, void** object) {
    if (id == IID_IMemInputPin) {
        return GetInterface(static_cast<IMemInputPin*>(this), object);
    }
    return CBasePin::NonDelegatingQueryInterface(id, object);
}

HRESULT CBaseInputPin::BreakConnect() {
    if (m_pAllocator) {
        const HRESULT result = m_pAllocator->Decommit();
        if (FAILED(result)) {
            return result;
        }
        m_pAllocator.Reset();
        Counters().SetAllocator(nullptr);
    }
    return S_OK;
}

HRESULT CBaseInputPin::BeginFlush() {
    m_bFlushing = true;
    return S_OK;
}

HRESULT CBaseInputPin::EndFlush() {
    m_bFlushing = false;
    m_bRunTimeError = false;
    return S_OK;
}

HRESULT CBaseInputPin::GetAllocator(IMemAllocator** allocator) {
    if (allocator == nullptr) {
        return E_POINTER;
    }
    CAutoLock lock(m_pLock);
    if (!m_pAllocator) {
        const HRESULT result = CreateMemoryAllocator(m_pAllocator.Put());
        if (FAILED(result)) {
            *allocator = nullptr;
            return result;
        }
    }
    m_pAllocator.CopyTo(allocator);
    return S_OK;
}

HRESULT CBaseInputPin::NotifyAllocator(IMemAllocator* allocator, BOOL readOnly) {
    if (allocator == nullptr) {
        return E_POINTER;
    }
    CAutoLock lock(m_pLock);
    m_pAllocator = qrn::ComPtr<IMemAllocator>::Share(allocator);
    m_bReadOnly = readOnly != FALSE;
    Counters().SetAllocator(allocator);
    return S_OK;
}

HRESULT CBaseInputPin::GetAllocatorRequirements(ALLOCATOR_PROPERTIES* /*properties*/) {
    return E_NOTIMPL;
}

HRESULT CBaseInputPin::Receive(IMediaSample* sample) {
    if (sample == nullptr) {
        return E_POINTER;
    }
    const HRESULT result = AcceptSample(sample);
    if (result == S_OK) {
        Counters().CountSample(m_SampleProps.lActual, (m_SampleProps.dwSampleFlags & AM_SAMPLE_DATADISCONTINUITY) != 0);
    } else {
        Counters().CountDropped();
    }
    return result;
}

HRESULT CBaseInputPin::AcceptSample(IMediaSample* sample) {
    const HRESULT state = CheckStreaming();
    if (state != S_OK) {
        return state;
    }
    ReadSampleProperties(sample);
    if ((m_SampleProps.dwSampleFlags & AM_SAMPLE_TYPECHANGED) == 0 || m_SampleProps.pMediaType == nullptr) {
        return S_OK;
    }
    const CMediaType type(*m_SampleProps.pMediaType);
    if (CheckMediaType(&type) == S_OK) {
        return S_OK;
    }
    m_bRunTimeError = true;
    EndOfStream();
    m_pFilter->NotifyEvent(EC_ERRORABORT, VFW_E_TYPE_NOT_ACCEPTED, 0);
    return VFW_E_INVALIDMEDIATYPE;
}

void CBaseInputPin::ReadSampleProperties(IMediaSample* sample) {
    qrn::ComPtr<IMediaSample2> sample2;
    if (SUCCEEDED(sample->QueryInterface(IID_Of<IMediaSample2>, sample2.PutVoid())) && sample2 &&
        SUCCEEDED(sample2->GetProperties(sizeof(m_SampleProps), reinterpret_cast<BYTE*>(&m_SampleProps)))) {
        return;
    }
    // A sample of the older kind: by hand. Its type, if it brings one, cannot be lent out from here, so only the flag
    // tells.
    AM_SAMPLE2_PROPERTIES properties{};
    properties.cbData = sizeof(properties);
    properties.dwStreamId = AM_STREAM_MEDIA;
    const auto flag = [&properties](bool on, DWORD value) {
        if (on) {
            properties.dwSampleFlags |= value;
        }
    };
    flag(sample->IsDiscontinuity() == S_OK, AM_SAMPLE_DATADISCONTINUITY);
    flag(sample->IsPreroll() == S_OK, AM_SAMPLE_PREROLL);
    flag(sample->IsSyncPoint() == S_OK, AM_SAMPLE_SPLICEPOINT);
    const HRESULT timed = sample->GetTime(&properties.tStart, &properties.tStop);
    flag(SUCCEEDED(timed), AM_SAMPLE_TIMEVALID);
    flag(timed == S_OK, AM_SAMPLE_STOPVALID);
    sample->GetPointer(&properties.pbBuffer);
    properties.lActual = sample->GetActualDataLength();
    properties.cbBuffer = sample->GetSize();
    m_SampleProps = properties;
}

HRESULT CBaseInputPin::ReceiveMultiple(IMediaSample** samples, LONG count, LONG* processed) {
    if (samples == nullptr || processed == nullptr) {
        return E_POINTER;
    }
    *processed = 0;
    HRESULT result = S_OK;
    while (*processed < count) {
        result = Receive(samples[*processed]);
        if (result != S_OK) {
            break;
        }
        ++*processed;
    }
    return result;
}

HRESULT CBaseInputPin::ReceiveCanBlock() {
    int outputs = 0;
    for (int i = 0; i < m_pFilter->GetPinCount(); ++i) {
        CBasePin* pin = m_pFilter->GetPin(i);
        PIN_DIRECTION direction = PINDIR_INPUT;
        if (pin == nullptr || FAILED(pin->QueryDirection(&direction)) || direction != PINDIR_OUTPUT) {
            continue;
        }
        ++outputs;
        IPin* connected = pin->GetConnected();
        if (connected == nullptr) {
            continue;
        }
        qrn::ComPtr<IMemInputPin> next;
        if (FAILED(connected->QueryInterface(IID_Of<IMemInputPin>, next.PutVoid())) || !next ||
            next->ReceiveCanBlock() != S_FALSE) {
            return S_OK;
        }
    }
    return outputs == 0 ? S_OK : S_FALSE;
}

HRESULT CBaseInputPin::Inactive() {
    m_bRunTimeError = false;
    m_bFlushing = false;
    return m_pAllocator ? m_pAllocator->Decommit() : VFW_E_NO_ALLOCATOR;
}

HRESULT CBaseInputPin::CheckStreaming() {
    if (!IsConnected()) {
        return VFW_E_NOT_CONNECTED;
    }
    if (IsStopped()) {
        return VFW_E_WRONG_STATE;
    }
    if (m_bFlushing) {
        return S_FALSE;
    }
    return m_bRunTimeError ? VFW_E_RUNTIME_ERROR : S_OK;
}

HRESULT CBaseInputPin::PassNotify(const Quality& quality) {
    if (IQualityControl* sink = m_pQSink) {
        return sink->Notify(m_pFilter, quality);
    }
    qrn::ComPtr<IQualityControl> upstream;
    if (m_Connected) {
        m_Connected->QueryInterface(IID_Of<IQualityControl>, upstream.PutVoid());
    }
    return upstream ? upstream->Notify(m_pFilter, quality) : VFW_E_NOT_FOUND;
}
