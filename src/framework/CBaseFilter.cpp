#include "framework/CBaseFilter.h"

#include <algorithm>
#include <cwchar>

#include "framework/Boundary.h"
#include "framework/CEnumPins.h"

CBaseFilter::CBaseFilter(const wchar_t* name, IUnknown* outer, CCritSec* lock, REFCLSID classId)
    : CUnknown(name, outer),
      m_pLock(lock),
      m_clsid(classId) {}

CBaseFilter::~CBaseFilter() = default;

HRESULT CBaseFilter::NonDelegatingQueryInterface(REFIID id, void** object) {
    if (id == IID_IBaseFilter || id == IID_IMediaFilter || id == IID_IPersist) {
        return GetInterface(static_cast<IBaseFilter*>(this), object);
    }
    if (id == IID_IAMovieSetup) {
        return GetInterface(static_cast<IAMovieSetup*>(this), object);
    }
    return CUnknown::NonDelegatingQueryInterface(id, object);
}

HRESULT CBaseFilter::GetClassID(CLSID* id) {
    if (id == nullptr) {
        return E_POINTER;
    }
    *id = m_clsid;
    return S_OK;
}

HRESULT CBaseFilter::GetState(DWORD /*timeoutMs*/, FILTER_STATE* state) {
    if (state == nullptr) {
        return E_POINTER;
    }
    *state = m_State;
    return S_OK;
}

HRESULT CBaseFilter::SetSyncSource(IReferenceClock* clock) {
    auto shared = qrn::ComPtr<IReferenceClock>::Share(clock);
    CAutoLock lock(m_pLock);
    {
        qrn::CScopedLock link(m_linkLock);
        std::swap(m_pClock, shared);
    }
    // The old clock is let go of here, outside the inner lock.
    return S_OK;
}

HRESULT CBaseFilter::GetSyncSource(IReferenceClock** clock) {
    if (clock == nullptr) {
        return E_POINTER;
    }
    *clock = Clock().Detach();
    return S_OK;
}

HRESULT CBaseFilter::Stop() {
    CAutoLock lock(m_pLock);
    HRESULT result = S_OK;
    if (m_State != State_Stopped) {
        for (int i = 0; i < GetPinCount(); ++i) {
            CBasePin* pin = GetPin(i);
            if (pin != nullptr && pin->IsConnected()) {
                const HRESULT pinResult = pin->Inactive();
                if (FAILED(pinResult) && SUCCEEDED(result)) {
                    result = pinResult;
                }
            }
        }
    }
    m_State = State_Stopped;
    return result;
}

HRESULT CBaseFilter::Pause() {
    CAutoLock lock(m_pLock);
    if (m_State == State_Stopped) {
        const HRESULT result = PauseConnectedPins();
        if (FAILED(result)) {
            return result;
        }
    }
    m_State = State_Paused;
    return S_OK;
}

HRESULT CBaseFilter::PauseConnectedPins() {
    for (int i = 0; i < GetPinCount(); ++i) {
        CBasePin* pin = GetPin(i);
        if (pin == nullptr || !pin->IsConnected()) {
            continue;
        }
        pin->Counters().Reset();  // nothing streams through it yet
        const HRESULT result = pin->Active();
        if (FAILED(result)) {
            for (int j = i; j >= 0; --j) {
                CBasePin* active = GetPin(j);
                if (active != nullptr && active->IsConnected()) {
                    active->Inactive();
                }
            }
            return result;
        }
    }
    return S_OK;
}

HRESULT CBaseFilter::Run(REFERENCE_TIME start) {
    CAutoLock lock(m_pLock);
    m_tStart = start;
    if (m_State == State_Stopped) {
        const HRESULT result = Pause();
        if (FAILED(result)) {
            return result;
        }
    }
    if (m_State != State_Running) {
        for (int i = 0; i < GetPinCount(); ++i) {
            CBasePin* pin = GetPin(i);
            if (pin != nullptr && pin->IsConnected()) {
                const HRESULT result = pin->Run(start);
                if (FAILED(result)) {
                    return result;
                }
            }
        }
    }
    m_State = State_Running;
    return S_OK;
}

HRESULT CBaseFilter::EnumPins(IEnumPins** pins) {
    if (pins == nullptr) {
        return E_POINTER;
    }
    return CEnumPins::Create(this, pins);
}

HRESULT CBaseFilter::FindPin(const wchar_t* id, IPin** pin) {
    if (id == nullptr || pin == nullptr) {
        return E_POINTER;
    }
    CAutoLock lock(m_pLock);
    for (int i = 0; i < GetPinCount(); ++i) {
        CBasePin* candidate = GetPin(i);
        if (candidate != nullptr && candidate->Name() == id) {
            return GetInterface(static_cast<IPin*>(candidate), reinterpret_cast<void**>(pin));
        }
    }
    *pin = nullptr;
    return VFW_E_NOT_FOUND;
}

HRESULT CBaseFilter::QueryFilterInfo(FILTER_INFO* info) {
    if (info == nullptr) {
        return E_POINTER;
    }
    qrn::CScopedLock link(m_linkLock);
    const std::size_t length = std::min(m_name.size(), MAX_FILTER_NAME - 1);
    std::wmemcpy(info->achName, m_name.data(), length);
    info->achName[length] = L'\0';
    info->pGraph = m_graph;
    if (m_graph != nullptr) {
        m_graph->AddRef();
    }
    return S_OK;
}

HRESULT CBaseFilter::JoinFilterGraph(IFilterGraph* graph, const wchar_t* name) {
    std::wstring copy;
    const HRESULT copied = qrn::AnswerFor([&copy, name] {
        copy = name != nullptr ? name : L"";
        return S_OK;
    });
    if (FAILED(copied)) {
        return copied;
    }
    CAutoLock lock(m_pLock);
    IMediaEventSink* sink = nullptr;
    if (graph != nullptr &&
        SUCCEEDED(graph->QueryInterface(IID_Of<IMediaEventSink>, reinterpret_cast<void**>(&sink))) && sink != nullptr) {
        // The graph outlives the membership, and a count held here would keep it for ever.
        sink->Release();
    }
    qrn::CScopedLock link(m_linkLock);
    m_graph = graph;
    m_sink = sink;
    m_name.swap(copy);
    return S_OK;
}

HRESULT CBaseFilter::QueryVendorInfo(wchar_t** /*info*/) {
    return E_NOTIMPL;
}

HRESULT CBaseFilter::Register() {
    return E_NOTIMPL;
}

HRESULT CBaseFilter::Unregister() {
    return E_NOTIMPL;
}

HRESULT CBaseFilter::StreamTime(REFERENCE_TIME& time) {
    const qrn::ComPtr<IReferenceClock> clock = Clock();
    if (!clock) {
        return VFW_E_NO_CLOCK;
    }
    REFERENCE_TIME now = 0;
    const HRESULT result = clock->GetTime(&now);
    if (FAILED(result)) {
        return result;
    }
    time = now - m_tStart;
    return S_OK;
}

HRESULT CBaseFilter::NotifyEvent(LONG code, LONG_PTR param1, LONG_PTR param2) {
    qrn::ComPtr<IMediaEventSink> sink;
    {
        qrn::CScopedLock link(m_linkLock);
        sink = qrn::ComPtr<IMediaEventSink>::Share(m_sink);
    }
    if (!sink) {
        return E_NOTIMPL;
    }
    if (code == EC_COMPLETE) {
        // The graph counts the renderers that have completed.
        param2 = reinterpret_cast<LONG_PTR>(static_cast<IBaseFilter*>(this));
    }
    return sink->Notify(code, param1, param2);
}

IFilterGraph* CBaseFilter::GetFilterGraph() const {
    qrn::CScopedLock link(m_linkLock);
    return m_graph;
}

void CBaseFilter::FinalRelease() {
    // While the whole object is there: later the streaming threads would run into parts that are gone.
    if (m_State != State_Stopped) {
        Stop();
    }
}

qrn::ComPtr<IReferenceClock> CBaseFilter::Clock() const {
    qrn::CScopedLock link(m_linkLock);
    return m_pClock;
}
