#include "host/CGraphState.h"

#include <algorithm>
#include <utility>

#include "host/Boundary.h"
#include "host/CSystemClock.h"
#include "host/GraphWalk.h"
#include "platform/system/Log.h"

namespace qrn {

namespace {

// How often filters are asked that have no other way to tell that they got there.
constexpr std::chrono::milliseconds kLookInterval{5};

std::vector<EventSender> RenderersAmong(const std::vector<CFilterList::Entry>& filters) {
    std::vector<EventSender> renderers;
    for (const CFilterList::Entry& entry : filters) {
        if (IsRenderer(*entry.filter)) {
            renderers.push_back({entry.filter.Get(), entry.identity.Get()});
        }
    }
    return renderers;
}

}  // namespace

CGraphState::CGraphState(IClock& clock, CRecursiveMutex& changeLock, CFilterList& filters, CGraphEvents& events)
    : m_systemClock(clock),
      m_changeLock(changeLock),
      m_filters(filters),
      m_events(events) {}

HRESULT CGraphState::Run(std::optional<REFERENCE_TIME> start) {
    CScopedLock change(m_changeLock);
    if (IsChanging()) {
        return VFW_E_WRONG_STATE;
    }
    if (State() == State_Running) {
        return S_OK;
    }
    if (State() == State_Stopped) {
        const HRESULT paused = PauseFilters(State_Stopped);
        if (FAILED(paused)) {
            return paused;
        }
    }
    if (!IsLive() && WaitUntilCued() == Cue::kStopWanted) {
        return E_ABORT;
    }
    return RunFilters(start ? *start : StartTime());
}

HRESULT CGraphState::Pause() {
    CScopedLock change(m_changeLock);
    if (IsChanging()) {
        return VFW_E_WRONG_STATE;
    }
    const FILTER_STATE from = State();
    if (from == State_Paused) {
        if (IsLive()) {
            return VFW_S_CANT_CUE;
        }
        return LookAtFilters() == VFW_S_STATE_INTERMEDIATE ? S_FALSE : S_OK;
    }
    if (from == State_Running) {
        m_ranBefore = std::max<REFERENCE_TIME>(ClockTime() - m_start, 0);
    }
    return PauseFilters(from);
}

HRESULT CGraphState::Stop() {
    {
        CScopedLock lock(m_lock);
        ++m_stopsWaiting;
        m_stopWanted.Set();
    }
    CScopedLock change(m_changeLock);
    {
        CScopedLock lock(m_lock);
        if (--m_stopsWaiting == 0) {
            m_stopWanted.Reset();
        }
    }
    if (IsChanging()) {
        return VFW_E_WRONG_STATE;
    }
    if (State() == State_Stopped) {
        return S_OK;
    }
    return StopFilters(DownstreamFirst(m_filters.Entries()));
}

HRESULT CGraphState::StopWhenReady() {
    CScopedLock change(m_changeLock);
    const HRESULT paused = Pause();
    if (FAILED(paused)) {
        return paused;
    }
    if (!IsLive()) {
        WaitUntilCued();
    }
    return Stop();
}

HRESULT CGraphState::GetState(LONG timeoutMs, FILTER_STATE* state) {
    if (state == nullptr) {
        return E_POINTER;
    }
    const auto deadline = m_systemClock.Now() + std::chrono::milliseconds(timeoutMs);
    for (;;) {
        bool isChanging = false;
        bool isLive = false;
        {
            CScopedLock lock(m_lock);
            *state = m_state;
            isChanging = m_isChanging;
            isLive = m_isLive;
        }
        if (!isChanging) {
            if (*state == State_Stopped) {
                return S_OK;
            }
            if (*state == State_Paused && isLive) {
                return VFW_S_CANT_CUE;
            }
            const HRESULT reached = LookAtFilters();
            if (reached != VFW_S_STATE_INTERMEDIATE) {
                return reached;
            }
        }
        if (timeoutMs >= 0 && m_systemClock.Now() >= deadline) {
            return VFW_S_STATE_INTERMEDIATE;
        }
        m_systemClock.SleepFor(kLookInterval);
    }
}

bool CGraphState::IsStopped() const {
    CScopedLock lock(m_lock);
    return m_state == State_Stopped && !m_isChanging;
}

HRESULT CGraphState::SetClock(ComPtr<IReferenceClock> clock) {
    CScopedLock change(m_changeLock);
    if (!IsStopped()) {
        return VFW_E_NOT_STOPPED;
    }
    const ComPtr<IReferenceClock> before = Clock();
    const Filters filters = m_filters.Entries();
    for (std::size_t at = 0; at < filters.size(); ++at) {
        const HRESULT result = filters[at].filter->SetSyncSource(clock.Get());
        if (FAILED(result)) {
            for (std::size_t done = 0; done < at; ++done) {
                filters[done].filter->SetSyncSource(before.Get());
            }
            return result;
        }
    }
    m_isClockChosen = true;
    CScopedLock lock(m_lock);
    std::swap(m_clock, clock);  // the old one is released after the lock
    return S_OK;
}

HRESULT CGraphState::SetDefaultClock() {
    return SetClock(ComPtr<IReferenceClock>::Share(new CSystemClock(nullptr, m_systemClock)));
}

ComPtr<IReferenceClock> CGraphState::Clock() const {
    CScopedLock lock(m_lock);
    return m_clock;
}

HRESULT CGraphState::PauseFilters(FILTER_STATE from) {
    if (from == State_Stopped) {
        const HRESULT chosen = ChooseClock();
        if (FAILED(chosen)) {
            return chosen;
        }
        m_ranBefore = 0;
    }
    const Filters filters = DownstreamFirst(m_filters.Entries());
    if (from == State_Stopped) {
        m_events.BeginStreaming(RenderersAmong(filters));
    }
    m_events.SetRunning(false);
    BeginChange(State_Paused);
    bool isPending = false;
    for (std::size_t at = 0; at < filters.size(); ++at) {
        const HRESULT result = AtBoundary([&] { return filters[at].filter->Pause(); });
        if (FAILED(result)) {
            Log(LogLevel::kWarn, "host", "a filter cannot pause: 0x%x", static_cast<unsigned>(result));
            // Of a graph that was stopped only the filters up to the one that failed have been touched.
            const std::size_t touched = from == State_Stopped ? at + 1 : filters.size();
            StopFilters({filters.begin(), filters.begin() + static_cast<std::ptrdiff_t>(touched)});
            return result;
        }
        isPending = isPending || result == S_FALSE;
    }
    const bool isLive = std::any_of(filters.begin(), filters.end(),
                                    [](const CFilterList::Entry& entry) { return IsLiveSource(*entry.filter); });
    EndChange(State_Paused, isLive);
    if (isLive) {
        return VFW_S_CANT_CUE;
    }
    return isPending ? S_FALSE : S_OK;
}

HRESULT CGraphState::RunFilters(REFERENCE_TIME start) {
    const Filters filters = DownstreamFirst(m_filters.Entries());
    m_start = start;
    BeginChange(State_Running);
    // Before the filters: a renderer whose stream is at its end says so from within Run.
    m_events.SetRunning(true);
    for (const CFilterList::Entry& entry : filters) {
        const HRESULT result = AtBoundary([&] { return entry.filter->Run(start); });
        if (FAILED(result)) {
            Log(LogLevel::kWarn, "host", "a filter cannot run: 0x%x", static_cast<unsigned>(result));
            StopFilters(filters);
            return result;
        }
    }
    EndChange(State_Running, IsLive());
    return LookAtFilters() == VFW_S_STATE_INTERMEDIATE ? S_FALSE : S_OK;
}

HRESULT CGraphState::StopFilters(const Filters& filters) {
    BeginChange(State_Stopped);
    m_events.SetRunning(false);
    HRESULT first = S_OK;
    for (const CFilterList::Entry& entry : filters) {
        const HRESULT result = AtBoundary([&] { return entry.filter->Stop(); });
        if (FAILED(result) && SUCCEEDED(first)) {
            Log(LogLevel::kWarn, "host", "a filter cannot stop: 0x%x", static_cast<unsigned>(result));
            first = result;
        }
    }
    EndChange(State_Stopped, false);
    return first;
}

HRESULT CGraphState::ChooseClock() {
    return m_isClockChosen ? S_OK : SetDefaultClock();
}

REFERENCE_TIME CGraphState::StartTime() {
    return ClockTime() + kStartDelay - m_ranBefore;
}

REFERENCE_TIME CGraphState::ClockTime() const {
    REFERENCE_TIME now = 0;
    if (const ComPtr<IReferenceClock> clock = Clock()) {
        clock->GetTime(&now);
    }
    return now;
}

CGraphState::Cue CGraphState::WaitUntilCued() {
    const auto deadline = m_systemClock.Now() + kLongestCue;
    while (LookAtFilters() == VFW_S_STATE_INTERMEDIATE) {
        if (m_systemClock.Now() >= deadline) {
            return Cue::kLate;
        }
        if (m_stopWanted.Wait(m_systemClock, kLookInterval)) {
            return Cue::kStopWanted;
        }
    }
    return Cue::kReady;
}

HRESULT CGraphState::LookAtFilters() const {
    for (const CFilterList::Entry& entry : m_filters.Entries()) {
        FILTER_STATE ignored = State_Stopped;
        const HRESULT result = entry.filter->GetState(0, &ignored);
        if (FAILED(result) || result == VFW_S_STATE_INTERMEDIATE) {
            return result;
        }
    }
    return S_OK;
}

void CGraphState::BeginChange(FILTER_STATE to) {
    CScopedLock lock(m_lock);
    m_state = to;
    m_isChanging = true;
}

void CGraphState::EndChange(FILTER_STATE reached, bool isLive) {
    CScopedLock lock(m_lock);
    m_state = reached;
    m_isLive = isLive;
    m_isChanging = false;
}

bool CGraphState::IsChanging() const {
    CScopedLock lock(m_lock);
    return m_isChanging;
}

FILTER_STATE CGraphState::State() const {
    CScopedLock lock(m_lock);
    return m_state;
}

bool CGraphState::IsLive() const {
    CScopedLock lock(m_lock);
    return m_isLive;
}

}  // namespace qrn
