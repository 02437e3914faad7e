#include "framework/CTransformOutputPin.h"

#include <new>

#include "framework/CTransformFilter.h"
#include "platform/com/TaskMemory.h"

CTransformOutputPin::CTransformOutputPin(const wchar_t* objectName, CTransformFilter* filter, HRESULT* result,
                                         const wchar_t* name)
    : CBaseOutputPin(objectName, filter, &filter->m_csFilter, result, name),
      m_pTransformFilter(filter) {}

HRESULT CTransformOutputPin::NonDelegatingQueryInterface(REFIID id, void** object) {
    if (object == nullptr || (id != IID_IMediaPosition && id != IID_IMediaSeeking)) {
        return CBaseOutputPin::NonDelegatingQueryInterface(id, object);
    }
    *object = nullptr;
    qrn::CScopedLock lock(m_positionLock);
    if (!m_pPosition) {
        IPin* input = m_pTransformFilter->GetPin(0);
        m_pPosition.reset(new (std::nothrow) CPosPassThru(L"transform position", GetOwner(), input));
    }
    return m_pPosition ? m_pPosition->NonDelegatingQueryInterface(id, object) : E_OUTOFMEMORY;
}

HRESULT CTransformOutputPin::QueryId(wchar_t** id) {
    if (id == nullptr) {
        return E_POINTER;
    }
    *id = qrn::CopyToTaskMemory(L"Out");
    return *id != nullptr ? S_OK : E_OUTOFMEMORY;
}

HRESULT CTransformOutputPin::CheckMediaType(const CMediaType* type) {
    CTransformInputPin* input = m_pTransformFilter->m_pInput.get();
    if (input == nullptr || !input->IsConnected()) {
        return E_INVALIDARG;
    }
    return m_pTransformFilter->CheckTransform(&input->CurrentMediaType(), type);
}

HRESULT CTransformOutputPin::SetMediaType(const CMediaType* type) {
    const HRESULT result = CBaseOutputPin::SetMediaType(type);
    return FAILED(result) ? result : m_pTransformFilter->SetMediaType(PINDIR_OUTPUT, type);
}

HRESULT CTransformOutputPin::GetMediaType(int position, CMediaType* type) {
    CTransformInputPin* input = m_pTransformFilter->m_pInput.get();
    if (input == nullptr || !input->IsConnected()) {
        return VFW_S_NO_MORE_ITEMS;
    }
    return m_pTransformFilter->GetMediaType(position, type);
}

HRESULT CTransformOutputPin::CheckConnect(IPin* pin) {
    if (!m_pTransformFilter->m_pInput || !m_pTransformFilter->m_pInput->IsConnected()) {
        return E_UNEXPECTED;
    }
    const HRESULT result = m_pTransformFilter->CheckConnect(PINDIR_OUTPUT, pin);
    return FAILED(result) ? result : CBaseOutputPin::CheckConnect(pin);
}

HRESULT CTransformOutputPin::BreakConnect() {
    m_pTransformFilter->BreakConnect(PINDIR_OUTPUT);
    return CBaseOutputPin::BreakConnect();
}

HRESULT CTransformOutputPin::CompleteConnect(IPin* receivePin) {
    const HRESULT result = m_pTransformFilter->CompleteConnect(PINDIR_OUTPUT, receivePin);
    return FAILED(result) ? result : CBaseOutputPin::CompleteConnect(receivePin);
}

HRESULT CTransformOutputPin::DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* request) {
    return m_pTransformFilter->DecideBufferSize(allocator, request);
}

HRESULT CTransformOutputPin::Notify(IBaseFilter* /*self*/, Quality quality) {
    const HRESULT result = m_pTransformFilter->AlterQuality(quality);
    if (result != S_FALSE) {
        return result;
    }
    return m_pTransformFilter->m_pInput ? m_pTransformFilter->m_pInput->PassNotify(quality) : VFW_E_NOT_FOUND;
}
