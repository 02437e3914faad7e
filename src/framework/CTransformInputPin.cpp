#include "framework/CTransformInputPin.h"

#include "framework/Boundary.h"
#include "framework/CTransformFilter.h"
#include "platform/com/TaskMemory.h"

CTransformInputPin::CTransformInputPin(const wchar_t* objectName, CTransformFilter* filter, HRESULT* result,
                                       const wchar_t* name)
    : CBaseInputPin(objectName, filter, &filter->m_csFilter, result, name),
      m_pTransformFilter(filter) {}

HRESULT CTransformInputPin::QueryId(wchar_t** id) {
    if (id == nullptr) {
        return E_POINTER;
    }
    *id = qrn::CopyToTaskMemory(L"In");
    return *id != nullptr ? S_OK : E_OUTOFMEMORY;
}

HRESULT CTransformInputPin::CheckMediaType(const CMediaType* type) {
    const HRESULT result = m_pTransformFilter->CheckInputType(type);
    if (result != S_OK) {
        return result;
    }
    CTransformOutputPin* output = m_pTransformFilter->m_pOutput.get();
    if (output != nullptr && output->IsConnected()) {
        return m_pTransformFilter->CheckTransform(type, &output->CurrentMediaType());
    }
    return S_OK;
}

HRESULT CTransformInputPin::SetMediaType(const CMediaType* type) {
    const HRESULT result = CBaseInputPin::SetMediaType(type);
    return FAILED(result) ? result : m_pTransformFilter->SetMediaType(PINDIR_INPUT, type);
}

HRESULT CTransformInputPin::CheckConnect(IPin* pin) {
    const HRESULT result = m_pTransformFilter->CheckConnect(PINDIR_INPUT, pin);
    return FAILED(result) ? result : CBaseInputPin::CheckConnect(pin);
}

HRESULT CTransformInputPin::BreakConnect() {
    m_pTransformFilter->BreakConnect(PINDIR_INPUT);
    return CBaseInputPin::BreakConnect();
}

HRESULT CTransformInputPin::CompleteConnect(IPin* receivePin) {
    const HRESULT result = m_pTransformFilter->CompleteConnect(PINDIR_INPUT, receivePin);
    return FAILED(result) ? result : CBaseInputPin::CompleteConnect(receivePin);
}

HRESULT CTransformInputPin::EndOfStream() {
    CAutoLock lock(&m_pTransformFilter->m_csReceive);
    const HRESULT result = CheckStreaming();
    return result == S_OK ? m_pTransformFilter->EndOfStream() : result;
}

HRESULT CTransformInputPin::BeginFlush() {
    CAutoLock lock(&m_pTransformFilter->m_csFilter);
    if (!IsConnected() || !m_pTransformFilter->m_pOutput || !m_pTransformFilter->m_pOutput->IsConnected()) {
        return VFW_E_NOT_CONNECTED;
    }
    const HRESULT result = CBaseInputPin::BeginFlush();
    return FAILED(result) ? result : m_pTransformFilter->BeginFlush();
}

HRESULT CTransformInputPin::EndFlush() {
    CAutoLock lock(&m_pTransformFilter->m_csFilter);
    if (!IsConnected() || !m_pTransformFilter->m_pOutput || !m_pTransformFilter->m_pOutput->IsConnected()) {
        return VFW_E_NOT_CONNECTED;
    }
    const HRESULT result = m_pTransformFilter->EndFlush();
    return FAILED(result) ? result : CBaseInputPin::EndFlush();
}

HRESULT CTransformInputPin::NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate) {
    CBasePin::NewSegment(start, stop, rate);
    return m_pTransformFilter->NewSegment(start, stop, rate);
}

HRESULT CTransformInputPin::Receive(IMediaSample* sample) {
    CAutoLock lock(&m_pTransformFilter->m_csReceive);
    const HRESULT result = CBaseInputPin::Receive(sample);
    if (result != S_OK) {
        return result;
    }
    return qrn::AnswerFor([&] { return m_pTransformFilter->Receive(sample); });
}
