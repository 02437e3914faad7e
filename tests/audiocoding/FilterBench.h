#pragma once
/// One transform filter between a source and a sink that the test drives on its own thread, in a graph that does no
/// more than hear its events, on a clock that the test moves.

#include <cstdint>
#include <optional>
#include <vector>

#include "Signals.h"
#include "framework/CBaseFilter.h"
#include "framework/CBaseInputPin.h"
#include "framework/CTransformFilter.h"
#include "support/PushSource.h"

namespace qrn::test {

/// What came out of the filter.
struct Delivered {
    Bytes data;
    std::optional<REFERENCE_TIME> start;
    bool hasStop;
    bool hasMediaTime;
    bool isSyncPoint;
    bool isPreroll;
    bool isDiscontinuity;
};

class CRecordingSink;

class CRecordingPin final : public CBaseInputPin {
public:
    CRecordingPin(CRecordingSink* sink, CCritSec* lock, HRESULT* result);

    HRESULT CheckMediaType(const CMediaType* type) override;
    HRESULT Receive(IMediaSample* sample) override;

private:
    CRecordingSink* const m_sink;
};

/// Accepts any type and keeps a copy of each sample.
class CRecordingSink final : public CBaseFilter {
public:
    CRecordingSink();

    int GetPinCount() override { return 1; }
    CBasePin* GetPin(int position) override { return position == 0 ? &m_pin : nullptr; }

    std::vector<Delivered> samples;
    /// False: samples are only counted.
    bool keepsSamples = true;
    int count = 0;
    /// What Receive answers, after it has kept the sample.
    HRESULT answer = S_OK;

private:
    CCritSec m_filterLock;
    HRESULT m_result = S_OK;
    CRecordingPin m_pin;
};

/// A graph that only hears events.
class CEventGraph final : public IFilterGraph, public IMediaEventSink {
public:
    HRESULT QueryInterface(REFIID id, void** object) override;
    ULONG AddRef() override { return 2; }
    ULONG Release() override { return 1; }

    HRESULT AddFilter(IBaseFilter*, const wchar_t*) override { return E_NOTIMPL; }
    HRESULT RemoveFilter(IBaseFilter*) override { return E_NOTIMPL; }
    HRESULT EnumFilters(IEnumFilters**) override { return E_NOTIMPL; }
    HRESULT FindFilterByName(const wchar_t*, IBaseFilter**) override { return E_NOTIMPL; }
    HRESULT ConnectDirect(IPin*, IPin*, const AM_MEDIA_TYPE*) override { return E_NOTIMPL; }
    HRESULT Reconnect(IPin*) override { return E_NOTIMPL; }
    HRESULT Disconnect(IPin*) override { return E_NOTIMPL; }
    HRESULT SetDefaultSyncSource() override { return E_NOTIMPL; }

    HRESULT Notify(LONG code, LONG_PTR param1, LONG_PTR param2) override;

    std::vector<LONG> events;
};

/// A clock that stands where the test puts it.
class CStandingClock final : public IReferenceClock {
public:
    HRESULT QueryInterface(REFIID id, void** object) override;
    ULONG AddRef() override { return 2; }
    ULONG Release() override { return 1; }
    HRESULT GetTime(REFERENCE_TIME* time) override;
    HRESULT AdviseTime(REFERENCE_TIME, REFERENCE_TIME, HEVENT, DWORD_PTR*) override { return E_NOTIMPL; }
    HRESULT AdvisePeriodic(REFERENCE_TIME, REFERENCE_TIME, HSEMAPHORE, DWORD_PTR*) override { return E_NOTIMPL; }
    HRESULT Unadvise(DWORD_PTR) override { return S_OK; }

    REFERENCE_TIME now = 0;
};

/// Owns the chain. The filter is connected by Connect and torn down by the destructor.
class CFilterBench {
public:
    /// @param filter  as its creation function gives it, without a reference.
    explicit CFilterBench(CUnknown* filter);
    ~CFilterBench();

    /// @return the first failure of connecting the source, which offers `type`, or the sink.
    HRESULT ConnectInput(const CMediaType& type, LONG bufferBytes = 256 * 1024);
    HRESULT ConnectOutput();
    HRESULT Connect(const CMediaType& type);
    /// Stops and takes the connections apart, so that Connect may come again.
    void Disconnect();

    void Run();
    void Stop();

    /// @return what the filter's input pin answered.
    HRESULT Push(std::span<const std::uint8_t> data, REFERENCE_TIME start = -1);
    HRESULT Push(const Pcm& pcm, REFERENCE_TIME start = -1);
    /// A free sample of the source's, to be filled and pushed by the test.
    ComPtr<IMediaSample> Sample();
    HRESULT PushSample(IMediaSample* sample);
    /// A free sample of those that the filter delivers; only while it is stopped. Null when there is none.
    ComPtr<IMediaSample> OutputSample();

    IPin* InputPin() { return m_filter->GetPin(0); }
    IPin* OutputPin() { return m_filter->GetPin(1); }
    std::vector<Delivered>& Samples() { return m_sink->samples; }
    CRecordingSink& Sink() { return *m_sink; }

    template <class Interface>
    ComPtr<Interface> As() {
        return m_object.As<Interface>();
    }

    CEventGraph graph;
    CStandingClock clock;

private:
    ComPtr<IUnknown> m_object;
    CTransformFilter* m_filter;
    CRecordingSink* m_sink;
    ComPtr<IBaseFilter> m_sinkReference;
    CPushSource* m_source = nullptr;
    ComPtr<IBaseFilter> m_sourceReference;
};

/// The type that the filter's output offers first.
CMediaType OfferedType(CTransformFilter& filter);

}  // namespace qrn::test
