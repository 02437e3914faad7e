#include "client/CTapFilter.h"

#include "client/AudioTypes.h"

namespace qrn {

CTapInputPin::CTapInputPin(CTapFilter* tap, CCritSec* lock, HRESULT* result)
    : CBaseInputPin(L"Tap input pin", tap, lock, result, L"In"),
      m_tap(*tap) {}

HRESULT CTapInputPin::CheckMediaType(const CMediaType* type) {
    const bool isKnown = WaveFormatOf(*type) || *type->Type() == MEDIATYPE_Video;
    return isKnown ? S_OK : VFW_E_TYPE_NOT_ACCEPTED;
}

HRESULT CTapInputPin::Receive(IMediaSample* sample) {
    const HRESULT result = CBaseInputPin::Receive(sample);
    return result == S_OK ? m_tap.Pass(sample) : result;
}

HRESULT CTapInputPin::EndOfStream() {
    const HRESULT result = CheckStreaming();
    return result == S_OK ? m_tap.Output().DeliverEndOfStream() : result;
}

HRESULT CTapInputPin::BeginFlush() {
    CAutoLock lock(m_pLock);
    const HRESULT result = CBaseInputPin::BeginFlush();
    return FAILED(result) ? result : m_tap.Output().DeliverBeginFlush();
}

HRESULT CTapInputPin::EndFlush() {
    CAutoLock lock(m_pLock);
    const HRESULT result = m_tap.Output().DeliverEndFlush();
    return FAILED(result) ? result : CBaseInputPin::EndFlush();
}

HRESULT CTapInputPin::NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate) {
    CBaseInputPin::NewSegment(start, stop, rate);
    return m_tap.Output().DeliverNewSegment(start, stop, rate);
}

CTapOutputPin::CTapOutputPin(CTapFilter* tap, CCritSec* lock, HRESULT* result)
    : CBaseOutputPin(L"Tap output pin", tap, lock, result, L"Out"),
      m_tap(*tap) {}

HRESULT CTapOutputPin::CheckMediaType(const CMediaType* type) {
    if (!m_tap.Input().IsConnected()) {
        return VFW_E_NOT_CONNECTED;
    }
    return m_tap.Input().CurrentMediaType().IsEqual(*type) ? S_OK : VFW_E_TYPE_NOT_ACCEPTED;
}

HRESULT CTapOutputPin::GetMediaType(int position, CMediaType* type) {
    if (position < 0) {
        return E_INVALIDARG;
    }
    if (position > 0 || !m_tap.Input().IsConnected()) {
        return VFW_S_NO_MORE_ITEMS;
    }
    return type->Set(m_tap.Input().CurrentMediaType());
}

HRESULT CTapOutputPin::DecideAllocator(IMemInputPin* pin, IMemAllocator** allocator) {
    if (pin == nullptr || allocator == nullptr) {
        return E_POINTER;
    }
    *allocator = nullptr;
    const auto upstream = ComPtr<IMemAllocator>::Share(m_tap.Input().Allocator());
    if (!upstream) {
        return VFW_E_NO_ALLOCATOR;
    }
    const HRESULT result = pin->NotifyAllocator(upstream.Get(), m_tap.Input().IsReadOnly() ? TRUE : FALSE);
    if (SUCCEEDED(result)) {
        upstream.CopyTo(allocator);
    }
    return result;
}

HRESULT CTapOutputPin::DecideBufferSize(IMemAllocator* /*allocator*/, ALLOCATOR_PROPERTIES* /*request*/) {
    return E_UNEXPECTED;  // the upstream filter has decided
}

HRESULT CTapOutputPin::Notify(IBaseFilter* /*self*/, Quality quality) {
    return m_tap.Input().PassNotify(quality);
}

ComPtr<CTapFilter> CTapFilter::Create(const wchar_t* name, Observer observer) {
    HRESULT result = S_OK;
    auto filter = ComPtr<CTapFilter>::Share(new CTapFilter(name, std::move(observer), &result));
    return SUCCEEDED(result) ? filter : nullptr;
}

CTapFilter::CTapFilter(const wchar_t* name, Observer observer, HRESULT* result)
    : CBaseFilter(name, nullptr, &m_lock, GUID_NULL),
      m_observer(std::move(observer)),
      m_input(this, &m_lock, result),
      m_output(this, &m_lock, result) {}

CBasePin* CTapFilter::GetPin(int index) {
    if (index == 0) {
        return &m_input;
    }
    return index == 1 ? &m_output : nullptr;
}

HRESULT CTapFilter::Pass(IMediaSample* sample) {
    try {
        m_observer(*sample);
    } catch (...) {
        return E_UNEXPECTED;  // no exception may reach the filter before this one
    }
    return m_output.Deliver(sample);
}

}  // namespace qrn
