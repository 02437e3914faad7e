#include "framework/CBaseOutputPin.h"

#include "framework/CBaseFilter.h"
#include "framework/CMemAllocator.h"

CBaseOutputPin::CBaseOutputPin(const wchar_t* objectName, CBaseFilter* filter, CCritSec* lock, HRESULT* result,
                               const wchar_t* name)
    : CBasePin(objectName, filter, lock, result, name, PINDIR_OUTPUT) {}

HRESULT CBaseOutputPin::CheckConnect(IPin* pin) {
    const HRESULT result = CBasePin::CheckConnect(pin);
    if (FAILED(result)) {
        return result;
    }
    return pin->QueryInterface(IID_Of<IMemInputPin>, m_pInputPin.PutVoid());
}

HRESULT CBaseOutputPin::BreakConnect() {
    if (m_pAllocator) {
        // Samples may still be out, so the allocator has to be told; it lives on with them.
        const HRESULT result = m_pAllocator->Decommit();
        if (FAILED(result)) {
            return result;
        }
        m_pAllocator.Reset();
        Counters().SetAllocator(nullptr);
    }
    m_pInputPin.Reset();
    return S_OK;
}

HRESULT CBaseOutputPin::CompleteConnect(IPin* /*receivePin*/) {
    const HRESULT result = DecideAllocator(m_pInputPin.Get(), m_pAllocator.Put());
    Counters().SetAllocator(m_pAllocator.Get());
    return result;
}

HRESULT CBaseOutputPin::Active() {
    return m_pAllocator ? m_pAllocator->Commit() : VFW_E_NO_ALLOCATOR;
}

HRESULT CBaseOutputPin::Inactive() {
    m_bRunTimeError = false;
    return m_pAllocator ? m_pAllocator->Decommit() : VFW_E_NO_ALLOCATOR;
}

HRESULT CBaseOutputPin::EndOfStream() {
    return E_UNEXPECTED;
}

HRESULT CBaseOutputPin::BeginFlush() {
    return E_UNEXPECTED;
}

HRESULT CBaseOutputPin::EndFlush() {
    return E_UNEXPECTED;
}

HRESULT CBaseOutputPin::DecideAllocator(IMemInputPin* pin, IMemAllocator** allocator) {
    if (pin == nullptr || allocator == nullptr) {
        return E_POINTER;
    }
    *allocator = nullptr;
    ALLOCATOR_PROPERTIES wishes{};
    pin->GetAllocatorRequirements(&wishes);  // an input pin without wishes leaves the record alone
    if (wishes.cbAlign == 0) {
        wishes.cbAlign = 1;
    }
    HRESULT result = E_FAIL;
    for (const bool theirs : {true, false}) {
        qrn::ComPtr<IMemAllocator> candidate;
        result = theirs ? pin->GetAllocator(candidate.Put()) : InitAllocator(candidate.Put());
        if (FAILED(result) || !candidate) {
            continue;
        }
        ALLOCATOR_PROPERTIES request = wishes;
        result = DecideBufferSize(candidate.Get(), &request);
        if (FAILED(result)) {
            continue;
        }
        result = pin->NotifyAllocator(candidate.Get(), FALSE);
        if (SUCCEEDED(result)) {
            *allocator = candidate.Detach();
            return S_OK;
        }
    }
    return FAILED(result) ? result : VFW_E_NO_ALLOCATOR;
}

HRESULT CBaseOutputPin::InitAllocator(IMemAllocator** allocator) {
    return CreateMemoryAllocator(allocator);
}

HRESULT CBaseOutputPin::GetDeliveryBuffer(IMediaSample** sample, const REFERENCE_TIME* start, const REFERENCE_TIME* end,
                                          DWORD flags) {
    return m_pAllocator ? m_pAllocator->GetBuffer(sample, start, end, flags) : E_NOINTERFACE;
}

HRESULT CBaseOutputPin::Deliver(IMediaSample* sample) {
    if (!m_pInputPin || sample == nullptr) {
        return m_pInputPin ? E_POINTER : VFW_E_NOT_CONNECTED;
    }
    // Looked at before, because the next filter may change the sample or let go of it.
    const LONG bytes = sample->GetActualDataLength();
    const bool isDiscontinuity = sample->IsDiscontinuity() == S_OK;
    const HRESULT result = m_pInputPin->Receive(sample);
    if (result == S_OK) {
        Counters().CountSample(bytes, isDiscontinuity);
    } else {
        Counters().CountDropped();
    }
    return result;
}

HRESULT CBaseOutputPin::DeliverEndOfStream() {
    return m_Connected ? m_Connected->EndOfStream() : VFW_E_NOT_CONNECTED;
}

HRESULT CBaseOutputPin::DeliverBeginFlush() {
    return m_Connected ? m_Connected->BeginFlush() : VFW_E_NOT_CONNECTED;
}

HRESULT CBaseOutputPin::DeliverEndFlush() {
    return m_Connected ? m_Connected->EndFlush() : VFW_E_NOT_CONNECTED;
}

HRESULT CBaseOutputPin::DeliverNewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate) {
    return m_Connected ? m_Connected->NewSegment(start, stop, rate) : VFW_E_NOT_CONNECTED;
}
