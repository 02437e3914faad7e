#pragma once
/// A filter that lets everything pass and shows it to somebody.

#include <functional>

#include "framework/CBaseFilter.h"
#include "framework/CBaseInputPin.h"
#include "framework/CBaseOutputPin.h"

namespace qrn {

class CTapFilter;

class CTapInputPin final : public CBaseInputPin {
public:
    CTapInputPin(CTapFilter* tap, CCritSec* lock, HRESULT* result);

    HRESULT CheckMediaType(const CMediaType* type) override;
    HRESULT Receive(IMediaSample* sample) override;
    HRESULT EndOfStream() override;
    HRESULT BeginFlush() override;
    HRESULT EndFlush() override;
    HRESULT NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate) override;

private:
    CTapFilter& m_tap;
};

/// Offers the type of the input and hands on the allocator of the input, so that the filters on both sides deal with
/// each other as if nothing stood between them.
class CTapOutputPin final : public CBaseOutputPin {
public:
    CTapOutputPin(CTapFilter* tap, CCritSec* lock, HRESULT* result);

    HRESULT CheckMediaType(const CMediaType* type) override;
    HRESULT GetMediaType(int position, CMediaType* type) override;
    HRESULT DecideAllocator(IMemInputPin* pin, IMemAllocator** allocator) override;
    HRESULT DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* request) override;
    /// The allocator is the upstream filter's to commit.
    HRESULT Active() override { return S_OK; }
    HRESULT Inactive() override { return S_OK; }
    HRESULT Notify(IBaseFilter* self, Quality quality) override;

private:
    CTapFilter& m_tap;
};

/// One input pin, to be connected first, and one output pin. The observer sees each sample on the streaming thread,
/// before the next filter does; it must be quick and may not keep the sample.
class CTapFilter final : public CBaseFilter {
public:
    using Observer = std::function<void(IMediaSample&)>;

    static ComPtr<CTapFilter> Create(const wchar_t* name, Observer observer);
    CTapFilter(const wchar_t* name, Observer observer, HRESULT* result);

    int GetPinCount() override { return 2; }
    CBasePin* GetPin(int index) override;

    CTapInputPin& Input() { return m_input; }
    CTapOutputPin& Output() { return m_output; }
    HRESULT Pass(IMediaSample* sample);

private:
    CCritSec m_lock;
    const Observer m_observer;
    CTapInputPin m_input;
    CTapOutputPin m_output;
};

}  // namespace qrn
