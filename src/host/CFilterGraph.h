#pragma once

#include <vector>

#include "framework/CUnknown.h"
#include "host/CEventSink.h"
#include "host/CFilterList.h"
#include "host/CGraphEvents.h"
#include "host/CGraphState.h"
#include "platform/system/Clock.h"
#include "platform/system/Lock.h"
#include "qrn/filters.h"

namespace qrn {

/// The filter graph manager: holds filters, connects their pins, moves them through their states and collects their
/// events.
///
/// The graph holds its filters and not the other way round; its last release stops it and takes the filters out. Every
/// operation may be called from any thread but a streaming one. Its IMediaEventSink, for which any thread is right, is
/// an object of its own (CEventSink). Operations that would pull the filters apart (removing, connecting,
/// disconnecting) answer VFW_E_NOT_STOPPED while the graph is not stopped. A filter that is added then stays stopped
/// until the graph's next change.
class CFilterGraph final :
    public CUnknown,
    public IGraphBuilder,
    public IMediaFilter,
    public IMediaControl,
    public IMediaEvent {
public:
    /// @throws std::system_error when the process has no descriptor left.
    CFilterGraph(IUnknown* outer, IClock& clock);

    DECLARE_IUNKNOWN
    HRESULT NonDelegatingQueryInterface(REFIID id, void** object) override;

    // IFilterGraph
    /// A null or empty name gets one made up. VFW_S_DUPLICATE_NAME: the filter is in, under a changed name.
    /// VFW_E_DUPLICATE_NAME: no name could be found. E_INVALIDARG for a filter that is in a graph already.
    HRESULT AddFilter(IBaseFilter* filter, const wchar_t* name) override;
    /// Disconnects the filter's pins at both ends.
    HRESULT RemoveFilter(IBaseFilter* filter) override;
    /// In the order in which the filters came.
    HRESULT EnumFilters(IEnumFilters** filters) override;
    /// VFW_E_NOT_FOUND and null when there is none.
    HRESULT FindFilterByName(const wchar_t* name, IBaseFilter** filter) override;
    HRESULT ConnectDirect(IPin* output, IPin* input, const AM_MEDIA_TYPE* type) override;
    /// Within a connection that a filter is being asked about, the same two pins are reconnected after it.
    HRESULT Reconnect(IPin* pin) override;
    /// This end only: the other one is disconnected by a call of its own.
    HRESULT Disconnect(IPin* pin) override;
    HRESULT SetDefaultSyncSource() override;

    // IGraphBuilder
    /// Puts no filter in between.
    HRESULT Connect(IPin* output, IPin* input) override;
    /// E_NOTIMPL, this and the next two: a client of this system names the filters that it wants.
    HRESULT Render(IPin* output) override;
    HRESULT RenderFile(const wchar_t* file, const wchar_t* playList) override;
    HRESULT AddSourceFilter(const wchar_t* file, const wchar_t* name, IBaseFilter** filter) override;
    /// E_NOTIMPL: see QRN_LOG.
    HRESULT SetLogFile(DWORD_PTR file) override;
    /// Nothing here takes so long that it could be given up: S_OK, and operations always may continue.
    HRESULT Abort() override;
    HRESULT ShouldOperationContinue() override;

    // IMediaFilter; Stop and Pause are IMediaControl's too
    HRESULT GetClassID(CLSID* id) override;
    HRESULT Stop() override;
    HRESULT Pause() override;
    HRESULT Run(REFERENCE_TIME start) override;
    HRESULT GetState(DWORD timeoutMs, FILTER_STATE* state) override;
    HRESULT SetSyncSource(IReferenceClock* clock) override;
    HRESULT GetSyncSource(IReferenceClock** clock) override;

    // IMediaControl
    HRESULT Run() override;
    HRESULT GetState(LONG timeoutMs, FILTER_STATE* state) override;
    HRESULT StopWhenReady() override;

    // IMediaEvent
    HRESULT GetEventHandle(HEVENT* event) override;
    HRESULT GetEvent(LONG* code, LONG_PTR* param1, LONG_PTR* param2, LONG timeoutMs) override;
    /// VFW_E_WRONG_STATE when the graph does not run, or ceases to while this waits. Takes no event from the queue.
    HRESULT WaitForCompletion(LONG timeoutMs, LONG* code) override;
    /// Only EC_COMPLETE has a default handling; S_FALSE for other codes.
    HRESULT CancelDefaultHandling(LONG code) override;
    HRESULT RestoreDefaultHandling(LONG code) override;
    /// No event of this system owns its parameters: does nothing.
    HRESULT FreeEventParams(LONG code, LONG_PTR param1, LONG_PTR param2) override;

    /// For the graph's enumerators.
    const CFilterList& Filters() const { return m_filters; }

private:
    class CConnecting;

    void FinalRelease() override;
    HRESULT Join(IBaseFilter& filter, const ComPtr<IUnknown>& identity, const wchar_t* name) QRN_REQUIRES(m_changeLock);
    void Leave(IBaseFilter& filter, const IUnknown* identity) QRN_REQUIRES(m_changeLock);
    /// Stopped, and the pin is one of a filter of this graph.
    HRESULT CheckPin(IPin* pin) QRN_REQUIRES(m_changeLock);
    HRESULT CheckPins(IPin* output, IPin* input) QRN_REQUIRES(m_changeLock);
    HRESULT ReconnectNow(IPin& pin) QRN_REQUIRES(m_changeLock);
    void ReconnectDeferred() QRN_REQUIRES(m_changeLock);

    /// Held while the graph changes, and while filters are called for it. They may call back, so it is recursive.
    CRecursiveMutex m_changeLock;
    CFilterList m_filters;
    const ComPtr<CEventSink> m_sink;
    CGraphEvents& m_events;  // the sink's
    CGraphState m_state;
    int m_connecting QRN_GUARDED_BY(m_changeLock) = 0;  // depth
    std::vector<ComPtr<IPin>> m_toReconnect QRN_GUARDED_BY(m_changeLock);
};

}  // namespace qrn
