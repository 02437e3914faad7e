#pragma once

#include <chrono>
#include <optional>
#include <vector>

#include "host/CFilterList.h"
#include "host/CGraphEvents.h"
#include "platform/system/Clock.h"
#include "platform/system/Event.h"
#include "platform/system/Lock.h"
#include "qrn/filters.h"

namespace qrn {

/// The state of a graph and its clock: moves all filters through stop, pause and run.
///
/// Every change goes from the renderers upstream. A renderer that is stopped first lets go of the streaming thread that
/// it holds back, so that the sources behind it can end theirs: Stop returns with every streaming thread parked.
///
/// Any thread but a streaming one. A filter that asks for a change from within one is answered VFW_E_WRONG_STATE.
/// Changes are made one at a time under the graph's change lock; GetState does not take it, and Stop ends a Run that
/// waits for the renderers' first samples.
class CGraphState {
public:
    /// From the moment in which the filters are told to run to the stream's time 0. It is longer than telling a graph
    /// of filters takes, so that no filter is late at its start, and shorter than one packet of speech. It delays the
    /// first sample only: live sources stamp what they make by the running time, whose distance from the clock plays no
    /// part.
    static constexpr REFERENCE_TIME kStartDelay = 100'000;  // 10 ms
    /// How long Run waits for renderers that have no sample yet, before it lets them start without.
    static constexpr std::chrono::milliseconds kLongestCue{500};

    /// All of them outlive this.
    CGraphState(IClock& clock, CRecursiveMutex& changeLock, CFilterList& filters, CGraphEvents& events);

    /// @param start  the clock's time of the stream's time 0; nothing: shortly after now, less what ran before a pause.
    /// @return S_FALSE when a filter is still on its way; E_ABORT when Stop came while this waited; a filter's failure:
    /// the graph is stopped then.
    HRESULT Run(std::optional<REFERENCE_TIME> start) QRN_EXCLUDES(m_lock);
    /// VFW_S_CANT_CUE with a live source, S_FALSE while renderers wait for their first sample; a filter's failure: the
    /// graph is stopped then.
    HRESULT Pause() QRN_EXCLUDES(m_lock);
    /// Stops every filter, also behind one that fails. @return the first failure.
    HRESULT Stop() QRN_EXCLUDES(m_lock);
    /// Pauses, waits as Run does for the renderers' first samples, stops.
    HRESULT StopWhenReady() QRN_EXCLUDES(m_lock);

    /// As IMediaControl has it.
    HRESULT GetState(LONG timeoutMs, FILTER_STATE* state) QRN_EXCLUDES(m_lock);
    bool IsStopped() const QRN_EXCLUDES(m_lock);

    /// Null: the graph has no clock, and renderers do not wait for time. VFW_E_NOT_STOPPED while it is not stopped; a
    /// filter's failure: the old clock stays.
    HRESULT SetClock(ComPtr<IReferenceClock> clock) QRN_EXCLUDES(m_lock);
    HRESULT SetDefaultClock() QRN_EXCLUDES(m_lock);
    ComPtr<IReferenceClock> Clock() const QRN_EXCLUDES(m_lock);

private:
    using Filters = std::vector<CFilterList::Entry>;
    enum class Cue { kReady, kLate, kStopWanted };

    HRESULT PauseFilters(FILTER_STATE from) QRN_REQUIRES(m_changeLock) QRN_EXCLUDES(m_lock);
    HRESULT RunFilters(REFERENCE_TIME start) QRN_REQUIRES(m_changeLock) QRN_EXCLUDES(m_lock);
    HRESULT StopFilters(const Filters& filters) QRN_REQUIRES(m_changeLock) QRN_EXCLUDES(m_lock);
    HRESULT ChooseClock() QRN_REQUIRES(m_changeLock) QRN_EXCLUDES(m_lock);
    REFERENCE_TIME StartTime() QRN_REQUIRES(m_changeLock) QRN_EXCLUDES(m_lock);
    REFERENCE_TIME ClockTime() const QRN_EXCLUDES(m_lock);
    Cue WaitUntilCued() QRN_REQUIRES(m_changeLock) QRN_EXCLUDES(m_lock);
    /// VFW_S_STATE_INTERMEDIATE when a filter is on its way, else S_OK or a filter's failure.
    HRESULT LookAtFilters() const;

    void BeginChange(FILTER_STATE to) QRN_EXCLUDES(m_lock);
    void EndChange(FILTER_STATE reached, bool isLive) QRN_EXCLUDES(m_lock);
    /// With the change lock held this can only mean that a filter calls the graph from within a change.
    bool IsChanging() const QRN_EXCLUDES(m_lock);
    FILTER_STATE State() const QRN_EXCLUDES(m_lock);
    bool IsLive() const QRN_EXCLUDES(m_lock);

    IClock& m_systemClock;
    CRecursiveMutex& m_changeLock;  // before m_lock; filters are called with it held
    CFilterList& m_filters;
    CGraphEvents& m_events;

    REFERENCE_TIME m_start QRN_GUARDED_BY(m_changeLock) = 0;
    REFERENCE_TIME m_ranBefore QRN_GUARDED_BY(m_changeLock) = 0;  // the stream's time when the graph was paused
    bool m_isClockChosen QRN_GUARDED_BY(m_changeLock) = false;

    mutable CMutex m_lock;                                        // for single looks; nothing is called with it held
    FILTER_STATE m_state QRN_GUARDED_BY(m_lock) = State_Stopped;  // the one aimed at while changing
    bool m_isChanging QRN_GUARDED_BY(m_lock) = false;
    bool m_isLive QRN_GUARDED_BY(m_lock) = false;
    int m_stopsWaiting QRN_GUARDED_BY(m_lock) = 0;
    CEvent m_stopWanted{EventReset::kManual};  // set while m_stopsWaiting is above 0
    ComPtr<IReferenceClock> m_clock QRN_GUARDED_BY(m_lock);
};

}  // namespace qrn
