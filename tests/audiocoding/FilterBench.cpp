#include "FilterBench.h"

#include <gtest/gtest.h>

#include "framework/CMediaType.h"

namespace qrn::test {

CRecordingPin::CRecordingPin(CRecordingSink* sink, CCritSec* lock, HRESULT* result)
    : CBaseInputPin(L"recording pin", sink, lock, result, L"Input"),
      m_sink(sink) {}

HRESULT CRecordingPin::CheckMediaType(const CMediaType*) {
    return S_OK;
}

HRESULT CRecordingPin::Receive(IMediaSample* sample) {
    if (const HRESULT result = CBaseInputPin::Receive(sample); result != S_OK) {
        return result;
    }
    ++m_sink->count;
    if (!m_sink->keepsSamples) {
        return m_sink->answer;
    }
    BYTE* buffer = nullptr;
    EXPECT_EQ(sample->GetPointer(&buffer), S_OK);
    Delivered delivered{};
    delivered.data.assign(buffer, buffer + sample->GetActualDataLength());
    REFERENCE_TIME start = 0;
    REFERENCE_TIME stop = 0;
    const HRESULT timed = sample->GetTime(&start, &stop);
    if (SUCCEEDED(timed)) {
        delivered.start = start;
        delivered.hasStop = timed != VFW_S_NO_STOP_TIME;
    }
    delivered.hasMediaTime = SUCCEEDED(sample->GetMediaTime(&start, &stop));
    delivered.isSyncPoint = sample->IsSyncPoint() == S_OK;
    delivered.isPreroll = sample->IsPreroll() == S_OK;
    delivered.isDiscontinuity = sample->IsDiscontinuity() == S_OK;
    m_sink->samples.push_back(std::move(delivered));
    return m_sink->answer;
}

CRecordingSink::CRecordingSink()
    : CBaseFilter(L"recording sink", nullptr, &m_filterLock, Guid("2F0D6C53-2D9F-4E4E-9D0C-6A6B6A1F0A01")),
      m_pin(this, &m_filterLock, &m_result) {}

HRESULT CEventGraph::QueryInterface(REFIID id, void** object) {
    if (id == IID_IMediaEventSink) {
        *object = static_cast<IMediaEventSink*>(this);
    } else if (id == IID_IFilterGraph || id == IID_IUnknown) {
        *object = static_cast<IFilterGraph*>(this);
    } else {
        *object = nullptr;
        return E_NOINTERFACE;
    }
    return S_OK;
}

HRESULT CEventGraph::Notify(LONG code, LONG_PTR param1, LONG_PTR param2) {
    EXPECT_EQ(param1, 0);
    EXPECT_EQ(param2, 0);
    events.push_back(code);
    return S_OK;
}

HRESULT CStandingClock::QueryInterface(REFIID id, void** object) {
    if (id == IID_IReferenceClock || id == IID_IUnknown) {
        *object = static_cast<IReferenceClock*>(this);
        return S_OK;
    }
    *object = nullptr;
    return E_NOINTERFACE;
}

HRESULT CStandingClock::GetTime(REFERENCE_TIME* time) {
    *time = now;
    return S_OK;
}

CFilterBench::CFilterBench(CUnknown* filter)
    : m_object(ComPtr<IUnknown>::Share(static_cast<CTransformFilter*>(filter)->GetOwner())),
      m_filter(static_cast<CTransformFilter*>(filter)),
      m_sink(new CRecordingSink),
      m_sinkReference(ComPtr<IBaseFilter>::Share(m_sink)) {
    m_filter->JoinFilterGraph(&graph, L"filter");
}

CFilterBench::~CFilterBench() {
    Disconnect();
    m_filter->JoinFilterGraph(nullptr, nullptr);
}

void CFilterBench::Disconnect() {
    Stop();
    if (m_source != nullptr) {
        m_source->GetPin(0)->Disconnect();
    }
    InputPin()->Disconnect();
    OutputPin()->Disconnect();
    m_sink->GetPin(0)->Disconnect();
}

HRESULT CFilterBench::ConnectInput(const CMediaType& type, LONG bufferBytes) {
    if (m_source != nullptr) {
        m_source->GetPin(0)->Disconnect();
        InputPin()->Disconnect();
    }
    m_source = new CPushSource(type, bufferBytes);
    m_sourceReference = ComPtr<IBaseFilter>::Share(m_source);
    return m_source->GetPin(0)->Connect(InputPin(), nullptr);
}

HRESULT CFilterBench::ConnectOutput() {
    return OutputPin()->Connect(m_sink->GetPin(0), nullptr);
}

HRESULT CFilterBench::Connect(const CMediaType& type) {
    const HRESULT result = ConnectInput(type);
    return FAILED(result) ? result : ConnectOutput();
}

void CFilterBench::Run() {
    for (IBaseFilter* filter : {static_cast<IBaseFilter*>(m_sink), static_cast<IBaseFilter*>(m_filter),
                                static_cast<IBaseFilter*>(m_source)}) {
        ASSERT_EQ(filter->Pause(), S_OK);
    }
    for (IBaseFilter* filter : {static_cast<IBaseFilter*>(m_sink), static_cast<IBaseFilter*>(m_filter),
                                static_cast<IBaseFilter*>(m_source)}) {
        ASSERT_EQ(filter->Run(clock.now), S_OK);
    }
}

void CFilterBench::Stop() {
    m_sink->Stop();
    m_filter->Stop();
    if (m_source != nullptr) {
        m_source->Stop();
    }
}

HRESULT CFilterBench::Push(std::span<const std::uint8_t> data, REFERENCE_TIME start) {
    return m_source->Push(data, start);
}

HRESULT CFilterBench::Push(const Pcm& pcm, REFERENCE_TIME start) {
    return Push(std::span(reinterpret_cast<const std::uint8_t*>(pcm.data()), pcm.size() * sizeof(std::int16_t)), start);
}

ComPtr<IMediaSample> CFilterBench::Sample() {
    ComPtr<IMediaSample> sample;
    static_cast<CBaseOutputPin*>(m_source->GetPin(0))->GetDeliveryBuffer(sample.Put(), nullptr, nullptr, 0);
    return sample;
}

HRESULT CFilterBench::PushSample(IMediaSample* sample) {
    return static_cast<CBaseOutputPin*>(m_source->GetPin(0))->Deliver(sample);
}

ComPtr<IMediaSample> CFilterBench::OutputSample() {
    IMemAllocator* const allocator = static_cast<CBaseOutputPin*>(OutputPin())->Allocator();
    ComPtr<IMediaSample> sample;
    if (allocator != nullptr && SUCCEEDED(allocator->Commit())) {
        allocator->GetBuffer(sample.Put(), nullptr, nullptr, AM_GBF_NOWAIT);
        allocator->Decommit();
    }
    return sample;
}

CMediaType OfferedType(CTransformFilter& filter) {
    CMediaType type;
    EXPECT_EQ(filter.GetMediaType(0, &type), S_OK);
    return type;
}

}  // namespace qrn::test
