#include "framework/CTransformFilter.h"

#include <string_view>
#include <utility>

#include "framework/Boundary.h"

CTransformFilter::CTransformFilter(const wchar_t* name, IUnknown* outer, REFCLSID classId)
    : CBaseFilter(name, outer, &m_csFilter, classId) {}

CTransformFilter::~CTransformFilter() = default;

int CTransformFilter::GetPinCount() {
    return 2;
}

void CTransformFilter::MakePins() {
    auto input = std::make_unique<CTransformInputPin>(L"transform input pin", this, nullptr, L"XForm In");
    m_pOutput = std::make_unique<CTransformOutputPin>(L"transform output pin", this, nullptr, L"XForm Out");
    m_pInput = std::move(input);
}

CBasePin* CTransformFilter::GetPin(int index) {
    // Both at once, because each one's negotiation asks the other. Without the filter's lock, because a streaming
    // thread may ask for a pin while a state change that holds it waits for that thread.
    qrn::CScopedLock lock(m_pinsLock);
    if (!m_pInput && !m_pOutput) {
        qrn::AnswerFor([this] {
            MakePins();
            return S_OK;
        });
    }
    if (index == 0) {
        return m_pInput.get();
    }
    return index == 1 ? m_pOutput.get() : nullptr;
}

HRESULT CTransformFilter::FindPin(const wchar_t* id, IPin** pin) {
    if (id == nullptr || pin == nullptr) {
        return E_POINTER;
    }
    const std::wstring_view text(id);
    *pin = nullptr;
    if (text == L"In") {
        *pin = GetPin(0);
    } else if (text == L"Out") {
        *pin = GetPin(1);
    }
    if (*pin == nullptr) {
        return VFW_E_NOT_FOUND;
    }
    (*pin)->AddRef();
    return S_OK;
}

bool CTransformFilter::IsWired() const {
    return m_pInput && m_pInput->IsConnected() && m_pOutput && m_pOutput->IsConnected();
}

HRESULT CTransformFilter::Stop() {
    CAutoLock lock(&m_csFilter);
    if (m_State == State_Stopped) {
        return S_OK;
    }
    if (!IsWired()) {
        if (m_pInput && m_pInput->IsConnected()) {
            m_pInput->Inactive();
        }
        m_State = State_Stopped;
        m_bEOSDelivered = false;
        return S_OK;
    }
    // Both allocators first: a Receive that waits for a buffer holds the receive lock until that wait ends.
    m_pInput->Inactive();
    if (IMemAllocator* allocator = m_pOutput->Allocator()) {
        allocator->Decommit();
    }
    CAutoLock receiveLock(&m_csReceive);
    m_pOutput->Inactive();
    const HRESULT result = StopStreaming();
    m_State = State_Stopped;
    m_bEOSDelivered = false;
    return result;
}

HRESULT CTransformFilter::Pause() {
    CAutoLock lock(&m_csFilter);
    HRESULT result = S_OK;
    if (m_State == State_Paused) {
        // Nothing changes.
    } else if (!m_pInput || !m_pInput->IsConnected()) {
        // Without an input there will never be data, and the filters behind wait for some or for the end.
        if (m_pOutput && m_pOutput->IsConnected() && !m_bEOSDelivered) {
            m_pOutput->DeliverEndOfStream();
            m_bEOSDelivered = true;
        }
        m_State = State_Paused;
    } else if (!m_pOutput || !m_pOutput->IsConnected()) {
        // Without an output samples are refused, so nothing is to be started.
        m_State = State_Paused;
    } else {
        const bool starts = m_State == State_Stopped;
        if (starts) {
            CAutoLock receiveLock(&m_csReceive);
            m_bSampleSkipped = false;
            m_bQualityChanged = false;
            result = StartStreaming();
        }
        if (SUCCEEDED(result)) {
            result = CBaseFilter::Pause();
            if (FAILED(result) && starts) {
                CAutoLock receiveLock(&m_csReceive);
                StopStreaming();
            }
        }
    }
    return result;
}

HRESULT CTransformFilter::Transform(IMediaSample* /*in*/, IMediaSample* /*out*/) {
    return E_UNEXPECTED;
}

HRESULT CTransformFilter::StartStreaming() {
    return S_OK;
}

HRESULT CTransformFilter::StopStreaming() {
    return S_OK;
}

HRESULT CTransformFilter::AlterQuality(Quality /*quality*/) {
    return S_FALSE;
}

HRESULT CTransformFilter::SetMediaType(PIN_DIRECTION /*direction*/, const CMediaType* /*type*/) {
    return S_OK;
}

HRESULT CTransformFilter::CheckConnect(PIN_DIRECTION /*direction*/, IPin* /*pin*/) {
    return S_OK;
}

HRESULT CTransformFilter::BreakConnect(PIN_DIRECTION /*direction*/) {
    return S_OK;
}

HRESULT CTransformFilter::CompleteConnect(PIN_DIRECTION /*direction*/, IPin* /*receivePin*/) {
    return S_OK;
}

// ---------------------------------------------------------------------------------------------------------------------
// The stream

HRESULT CTransformFilter::Receive(IMediaSample* sample) {
    if (m_pInput->SampleProps()->dwStreamId != AM_STREAM_MEDIA) {
        return m_pOutput->Deliver(sample);
    }
    qrn::ComPtr<IMediaSample> out;
    const HRESULT result = InitializeOutputSample(sample, out.Put());
    if (FAILED(result)) {
        return result;
    }
    return FinishSample(Transform(sample, out.Get()), out.Get());
}

HRESULT CTransformFilter::FinishSample(HRESULT result, IMediaSample* out) {
    if (result == S_OK) {
        const HRESULT delivered = m_pOutput->Deliver(out);
        m_bSampleSkipped = false;
        return delivered;
    }
    if (result == S_FALSE) {
        m_bSampleSkipped = true;
        m_pOutput->Counters().CountSkipped();
        NotifyQualityChange();
        return S_OK;
    }
    return result;
}

void CTransformFilter::NotifyQualityChange() {
    if (!m_bQualityChanged) {
        NotifyEvent(EC_QUALITY_CHANGE, 0, 0);
        m_bQualityChanged = true;
    }
}

HRESULT CTransformFilter::InitializeOutputSample(IMediaSample* sample, IMediaSample** out) {
    const AM_SAMPLE2_PROPERTIES& properties = *m_pInput->SampleProps();
    DWORD flags = m_bSampleSkipped ? AM_GBF_PREVFRAMESKIPPED : 0;
    if ((properties.dwSampleFlags & AM_SAMPLE_SPLICEPOINT) == 0) {
        flags |= AM_GBF_NOTASYNCPOINT;
    }
    const REFERENCE_TIME* start = (properties.dwSampleFlags & AM_SAMPLE_TIMEVALID) != 0 ? &properties.tStart : nullptr;
    const REFERENCE_TIME* stop = (properties.dwSampleFlags & AM_SAMPLE_STOPVALID) != 0 ? &properties.tStop : nullptr;
    const HRESULT result = m_pOutput->GetDeliveryBuffer(out, start, stop, flags);
    if (FAILED(result)) {
        return result;
    }
    CopyProperties(sample, *out);
    if ((properties.dwSampleFlags & AM_SAMPLE_DATADISCONTINUITY) != 0) {
        m_bSampleSkipped = false;
    }
    return S_OK;
}

void CTransformFilter::CopyProperties(IMediaSample* sample, IMediaSample* out) {
    const AM_SAMPLE2_PROPERTIES& properties = *m_pInput->SampleProps();
    const auto has = [&properties](DWORD flag) { return (properties.dwSampleFlags & flag) != 0; };
    out->SetTime(has(AM_SAMPLE_TIMEVALID) ? &properties.tStart : nullptr,
                 has(AM_SAMPLE_TIMEVALID) && has(AM_SAMPLE_STOPVALID) ? &properties.tStop : nullptr);
    out->SetSyncPoint(has(AM_SAMPLE_SPLICEPOINT));
    out->SetDiscontinuity(has(AM_SAMPLE_DATADISCONTINUITY));
    out->SetPreroll(has(AM_SAMPLE_PREROLL));
    LONGLONG mediaStart = 0;
    LONGLONG mediaStop = 0;
    if (sample->GetMediaTime(&mediaStart, &mediaStop) == S_OK) {
        out->SetMediaTime(&mediaStart, &mediaStop);
    }
}

HRESULT CTransformFilter::EndOfStream() {
    return m_pOutput ? m_pOutput->DeliverEndOfStream() : S_OK;
}

HRESULT CTransformFilter::BeginFlush() {
    return m_pOutput ? m_pOutput->DeliverBeginFlush() : S_OK;
}

HRESULT CTransformFilter::EndFlush() {
    return m_pOutput ? m_pOutput->DeliverEndFlush() : S_OK;
}

HRESULT CTransformFilter::NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate) {
    return m_pOutput ? m_pOutput->DeliverNewSegment(start, stop, rate) : S_OK;
}
