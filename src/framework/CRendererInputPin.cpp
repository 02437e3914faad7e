#include "framework/CRendererInputPin.h"

#include "framework/Boundary.h"
#include "framework/CBaseRenderer.h"
#include "platform/com/TaskMemory.h"

CRendererInputPin::CRendererInputPin(CBaseRenderer* renderer, HRESULT* result, const wchar_t* name)
    : CBaseInputPin(L"renderer input pin", renderer, &renderer->m_InterfaceLock, result, name),
      m_pRenderer(renderer) {}

HRESULT CRendererInputPin::QueryId(wchar_t** id) {
    if (id == nullptr) {
        return E_POINTER;
    }
    *id = qrn::CopyToTaskMemory(L"In");
    return *id != nullptr ? S_OK : E_OUTOFMEMORY;
}

HRESULT CRendererInputPin::CheckMediaType(const CMediaType* type) {
    return m_pRenderer->CheckMediaType(type);
}

HRESULT CRendererInputPin::SetMediaType(const CMediaType* type) {
    const HRESULT result = CBaseInputPin::SetMediaType(type);
    return FAILED(result) ? result : m_pRenderer->SetMediaType(type);
}

HRESULT CRendererInputPin::BreakConnect() {
    const HRESULT result = m_pRenderer->BreakConnect();
    return FAILED(result) ? result : CBaseInputPin::BreakConnect();
}

HRESULT CRendererInputPin::CompleteConnect(IPin* receivePin) {
    const HRESULT result = m_pRenderer->CompleteConnect(receivePin);
    return FAILED(result) ? result : CBaseInputPin::CompleteConnect(receivePin);
}

HRESULT CRendererInputPin::Active() {
    return m_pRenderer->Active();
}

HRESULT CRendererInputPin::Inactive() {
    CBaseInputPin::Inactive();  // its only failure is an allocator that was never agreed on
    return m_pRenderer->Inactive();
}

HRESULT CRendererInputPin::EndOfStream() {
    const HRESULT result = CheckStreaming();
    return result == S_OK ? m_pRenderer->EndOfStream() : result;
}

HRESULT CRendererInputPin::BeginFlush() {
    {
        CAutoLock lock(&m_pRenderer->m_InterfaceLock);
        CBaseInputPin::BeginFlush();
    }
    // Without the lock, because this waits for a Receive that may need it.
    return m_pRenderer->BeginFlush();
}

HRESULT CRendererInputPin::EndFlush() {
    CAutoLock lock(&m_pRenderer->m_InterfaceLock);
    const HRESULT result = m_pRenderer->EndFlush();
    return FAILED(result) ? result : CBaseInputPin::EndFlush();
}

HRESULT CRendererInputPin::Receive(IMediaSample* sample) {
    const HRESULT result = qrn::AnswerFor([&] { return m_pRenderer->Receive(sample); });
    // A sample that came out of state is refused and no more: by now the filter may have been started again.
    const bool outOfState = result == VFW_E_WRONG_STATE || result == VFW_E_NOT_CONNECTED;
    if (FAILED(result) && !outOfState) {
        CAutoLock lock(&m_pRenderer->m_InterfaceLock);
        if (!IsStopped() && !IsFlushing() && !m_bRunTimeError && !m_pRenderer->IsStopping()) {
            m_bRunTimeError = true;
            m_pRenderer->NotifyEvent(EC_ERRORABORT, result, 0);
            m_pRenderer->NotifyEndOfStream();
        }
    }
    return result;
}
