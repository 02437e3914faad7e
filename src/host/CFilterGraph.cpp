#include "host/CFilterGraph.h"

#include <algorithm>
#include <string>
#include <utility>

#include "host/Boundary.h"
#include "host/CEnumFilters.h"
#include "host/ConnectPins.h"
#include "host/GraphWalk.h"
#include "platform/system/Log.h"

namespace qrn {

/// Counts how deep one connection lies within another.
class CFilterGraph::CConnecting {
public:
    explicit CConnecting(int& depth) : m_depth(depth) { ++m_depth; }
    ~CConnecting() { --m_depth; }
    CConnecting(const CConnecting&) = delete;
    CConnecting& operator=(const CConnecting&) = delete;

private:
    int& m_depth;
};

CFilterGraph::CFilterGraph(IUnknown* outer, IClock& clock)
    : CUnknown(L"filter graph", outer),
      m_sink(ComPtr<CEventSink>::Share(new CEventSink(clock))),
      m_events(m_sink->Events()),
      m_state(clock, m_changeLock, m_filters, m_events) {}

void CFilterGraph::FinalRelease() {
    m_state.Stop();
    CScopedLock change(m_changeLock);
    for (const CFilterList::Entry& entry : m_filters.Entries()) {
        Leave(*entry.filter, entry.identity.Get());
    }
}

HRESULT CFilterGraph::NonDelegatingQueryInterface(REFIID id, void** object) {
    if (id == IID_IFilterGraph || id == IID_IGraphBuilder) {
        return GetInterface(static_cast<IGraphBuilder*>(this), object);
    }
    if (id == IID_IMediaFilter || id == IID_IPersist) {
        return GetInterface(static_cast<IMediaFilter*>(this), object);
    }
    if (id == IID_IMediaControl) {
        return GetInterface(static_cast<IMediaControl*>(this), object);
    }
    if (id == IID_IMediaEvent) {
        return GetInterface(static_cast<IMediaEvent*>(this), object);
    }
    if (id == IID_IMediaEventSink) {
        return m_sink->QueryInterface(id, object);
    }
    return CUnknown::NonDelegatingQueryInterface(id, object);
}

// IFilterGraph

HRESULT CFilterGraph::AddFilter(IBaseFilter* filter, const wchar_t* name) {
    if (filter == nullptr) {
        return E_POINTER;
    }
    return AtBoundary([&]() -> HRESULT {
        const ComPtr<IUnknown> identity = IdentityOf(filter);
        if (!identity) {
            return E_NOINTERFACE;
        }
        CScopedLock change(m_changeLock);
        FILTER_INFO info{};
        const HRESULT asked = filter->QueryFilterInfo(&info);
        const auto graph = ComPtr<IFilterGraph>::Adopt(info.pGraph);
        if (FAILED(asked)) {
            return asked;
        }
        if (graph || m_filters.Holds(identity.Get())) {
            return E_INVALIDARG;
        }
        return Join(*filter, identity, name);
    });
}

HRESULT CFilterGraph::Join(IBaseFilter& filter, const ComPtr<IUnknown>& identity, const wchar_t* name) {
    const bool isNamed = name != nullptr && *name != L'\0';
    const std::wstring wanted = isNamed ? std::wstring(name).substr(0, MAX_FILTER_NAME - 1) : L"Filter";
    const std::wstring unique = m_filters.UniqueName(wanted);
    if (unique.empty()) {
        return VFW_E_DUPLICATE_NAME;
    }
    HRESULT result = filter.JoinFilterGraph(this, unique.c_str());
    if (FAILED(result)) {
        return result;
    }
    result = filter.SetSyncSource(m_state.Clock().Get());
    if (FAILED(result)) {
        filter.JoinFilterGraph(nullptr, nullptr);
        return result;
    }
    m_filters.Add({ComPtr<IBaseFilter>::Share(&filter), identity, unique});
    return isNamed && unique != wanted ? VFW_S_DUPLICATE_NAME : S_OK;
}

HRESULT CFilterGraph::RemoveFilter(IBaseFilter* filter) {
    if (filter == nullptr) {
        return E_POINTER;
    }
    return AtBoundary([&] {
        CScopedLock change(m_changeLock);
        const ComPtr<IUnknown> identity = IdentityOf(filter);
        if (!m_filters.Holds(identity.Get())) {
            return VFW_E_NOT_IN_GRAPH;
        }
        if (!m_state.IsStopped()) {
            return VFW_E_NOT_STOPPED;
        }
        Leave(*filter, identity.Get());
        return S_OK;
    });
}

void CFilterGraph::Leave(IBaseFilter& filter, const IUnknown* identity) {
    DisconnectAll(filter);
    filter.SetSyncSource(nullptr);
    filter.JoinFilterGraph(nullptr, nullptr);
    m_filters.Remove(identity);
}

HRESULT CFilterGraph::EnumFilters(IEnumFilters** filters) {
    if (filters == nullptr) {
        return E_POINTER;
    }
    *filters = nullptr;
    return AtBoundary([&] {
        ComPtr<IEnumFilters>::Share(new CEnumFilters(*this, m_filters.Version(), 0)).CopyTo(filters);
        return S_OK;
    });
}

HRESULT CFilterGraph::FindFilterByName(const wchar_t* name, IBaseFilter** filter) {
    if (name == nullptr || filter == nullptr) {
        return E_POINTER;
    }
    *filter = m_filters.Find(name).Detach();
    return *filter != nullptr ? S_OK : VFW_E_NOT_FOUND;
}

HRESULT CFilterGraph::ConnectDirect(IPin* output, IPin* input, const AM_MEDIA_TYPE* type) {
    return AtBoundary([&] {
        CScopedLock change(m_changeLock);
        HRESULT result = CheckPins(output, input);
        if (FAILED(result)) {
            return result;
        }
        {
            const CConnecting connecting(m_connecting);
            result = output->Connect(input, type);
        }
        ReconnectDeferred();
        return result;
    });
}

HRESULT CFilterGraph::Reconnect(IPin* pin) {
    return AtBoundary([&] {
        CScopedLock change(m_changeLock);
        const HRESULT checked = CheckPin(pin);
        if (FAILED(checked)) {
            return checked;
        }
        if (m_connecting > 0) {
            m_toReconnect.push_back(ComPtr<IPin>::Share(pin));
            return S_OK;
        }
        return ReconnectNow(*pin);
    });
}

HRESULT CFilterGraph::Disconnect(IPin* pin) {
    return AtBoundary([&] {
        CScopedLock change(m_changeLock);
        const HRESULT checked = CheckPin(pin);
        return FAILED(checked) ? checked : pin->Disconnect();
    });
}

HRESULT CFilterGraph::SetDefaultSyncSource() {
    return AtBoundary([&] { return m_state.SetDefaultClock(); });
}

HRESULT CFilterGraph::CheckPin(IPin* pin) {
    if (pin == nullptr) {
        return E_POINTER;
    }
    if (!m_state.IsStopped()) {
        return VFW_E_NOT_STOPPED;
    }
    const ComPtr<IBaseFilter> filter = FilterOf(*pin);
    return filter && m_filters.Holds(IdentityOf(filter.Get()).Get()) ? S_OK : VFW_E_NOT_IN_GRAPH;
}

HRESULT CFilterGraph::CheckPins(IPin* output, IPin* input) {
    for (IPin* pin : {output, input}) {
        const HRESULT checked = CheckPin(pin);
        if (FAILED(checked)) {
            return checked;
        }
    }
    PIN_DIRECTION from = PINDIR_INPUT;
    PIN_DIRECTION to = PINDIR_OUTPUT;
    if (FAILED(output->QueryDirection(&from)) || FAILED(input->QueryDirection(&to)) || from != PINDIR_OUTPUT ||
        to != PINDIR_INPUT) {
        return VFW_E_INVALID_DIRECTION;
    }
    return PeerOf(*output) || PeerOf(*input) ? VFW_E_ALREADY_CONNECTED : S_OK;
}

HRESULT CFilterGraph::ReconnectNow(IPin& pin) {
    const ComPtr<IPin> peer = PeerOf(pin);
    if (!peer) {
        return VFW_E_NOT_CONNECTED;
    }
    PIN_DIRECTION direction = PINDIR_INPUT;
    HRESULT result = pin.QueryDirection(&direction);
    if (FAILED(result)) {
        return result;
    }
    IPin& output = direction == PINDIR_OUTPUT ? pin : *peer;
    IPin& input = direction == PINDIR_OUTPUT ? *peer : pin;
    input.Disconnect();
    output.Disconnect();
    {
        const CConnecting connecting(m_connecting);
        result = ConnectPins(output, input);
    }
    return result;
}

void CFilterGraph::ReconnectDeferred() {
    if (m_connecting > 0) {
        return;  // still inside a connection: its end does it
    }
    // What a reconnection itself asks for is not done: two filters that keep asking would never come to an end.
    for (const ComPtr<IPin>& pin : std::exchange(m_toReconnect, {})) {
        const HRESULT result = ReconnectNow(*pin);
        if (FAILED(result)) {
            Log(LogLevel::kWarn, "host", "a filter asked for new connection of a pin, which failed: 0x%x",
                static_cast<unsigned>(result));
        }
    }
    m_toReconnect.clear();
}

// IGraphBuilder

HRESULT CFilterGraph::Connect(IPin* output, IPin* input) {
    return AtBoundary([&] {
        CScopedLock change(m_changeLock);
        HRESULT result = CheckPins(output, input);
        if (FAILED(result)) {
            return result;
        }
        {
            const CConnecting connecting(m_connecting);
            result = ConnectPins(*output, *input);
        }
        ReconnectDeferred();
        return result;
    });
}

HRESULT CFilterGraph::Render(IPin* /*output*/) {
    return E_NOTIMPL;
}

HRESULT CFilterGraph::RenderFile(const wchar_t* /*file*/, const wchar_t* /*playList*/) {
    return E_NOTIMPL;
}

HRESULT CFilterGraph::AddSourceFilter(const wchar_t* /*file*/, const wchar_t* /*name*/, IBaseFilter** filter) {
    if (filter == nullptr) {
        return E_POINTER;
    }
    *filter = nullptr;
    return E_NOTIMPL;
}

HRESULT CFilterGraph::SetLogFile(DWORD_PTR /*file*/) {
    return E_NOTIMPL;
}

HRESULT CFilterGraph::Abort() {
    return S_OK;
}

HRESULT CFilterGraph::ShouldOperationContinue() {
    return S_OK;
}

// IMediaFilter and IMediaControl

HRESULT CFilterGraph::GetClassID(CLSID* id) {
    if (id == nullptr) {
        return E_POINTER;
    }
    *id = CLSID_FilterGraph;
    return S_OK;
}

HRESULT CFilterGraph::Stop() {
    return AtBoundary([&] { return m_state.Stop(); });
}

HRESULT CFilterGraph::Pause() {
    return AtBoundary([&] { return m_state.Pause(); });
}

HRESULT CFilterGraph::Run(REFERENCE_TIME start) {
    return AtBoundary([&] { return m_state.Run(start); });
}

HRESULT CFilterGraph::GetState(DWORD timeoutMs, FILTER_STATE* state) {
    return GetState(static_cast<LONG>(timeoutMs), state);
}

HRESULT CFilterGraph::SetSyncSource(IReferenceClock* clock) {
    return AtBoundary([&] { return m_state.SetClock(ComPtr<IReferenceClock>::Share(clock)); });
}

HRESULT CFilterGraph::GetSyncSource(IReferenceClock** clock) {
    if (clock == nullptr) {
        return E_POINTER;
    }
    *clock = m_state.Clock().Detach();
    return S_OK;
}

HRESULT CFilterGraph::Run() {
    return AtBoundary([&] { return m_state.Run(std::nullopt); });
}

HRESULT CFilterGraph::GetState(LONG timeoutMs, FILTER_STATE* state) {
    return AtBoundary([&] { return m_state.GetState(timeoutMs, state); });
}

HRESULT CFilterGraph::StopWhenReady() {
    return AtBoundary([&] { return m_state.StopWhenReady(); });
}

// IMediaEvent

HRESULT CFilterGraph::GetEventHandle(HEVENT* event) {
    if (event == nullptr) {
        return E_POINTER;
    }
    *event = m_events.Descriptor();
    return S_OK;
}

HRESULT CFilterGraph::GetEvent(LONG* code, LONG_PTR* param1, LONG_PTR* param2, LONG timeoutMs) {
    return AtBoundary([&] { return m_events.GetEvent(code, param1, param2, timeoutMs); });
}

HRESULT CFilterGraph::WaitForCompletion(LONG timeoutMs, LONG* code) {
    return AtBoundary([&] { return m_events.WaitForCompletion(timeoutMs, code); });
}

HRESULT CFilterGraph::CancelDefaultHandling(LONG code) {
    return m_events.SetDefaultHandling(code, false);
}

HRESULT CFilterGraph::RestoreDefaultHandling(LONG code) {
    return m_events.SetDefaultHandling(code, true);
}

HRESULT CFilterGraph::FreeEventParams(LONG /*code*/, LONG_PTR /*param1*/, LONG_PTR /*param2*/) {
    return S_OK;
}

}  // namespace qrn
