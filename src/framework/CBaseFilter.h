#pragma once
/// The base of every filter: its state, its clock, its place in a graph.

#include <atomic>
#include <string>

#include "framework/CBasePin.h"
#include "framework/CCritSec.h"
#include "framework/CUnknown.h"
#include "platform/system/Lock.h"
#include "qrn/filters.h"

/// State changes come from one controlling thread at a time and hold the filter's lock. StreamTime, NotifyEvent and the
/// Is... questions may be asked on any thread, streaming threads included, and take no lock that a state change holds.
/// A filter that is let go of while active stops first.
class CBaseFilter : public CUnknown, public IBaseFilter, public IAMovieSetup {
public:
    DECLARE_IUNKNOWN

    /// @param lock  the filter's lock; outlives the filter's base.
    CBaseFilter(const wchar_t* name, IUnknown* outer, CCritSec* lock, REFCLSID classId);
    ~CBaseFilter() override;

    HRESULT NonDelegatingQueryInterface(REFIID id, void** object) override;

    // IPersist, IMediaFilter
    HRESULT GetClassID(CLSID* id) override;
    HRESULT GetState(DWORD timeoutMs, FILTER_STATE* state) override;
    HRESULT SetSyncSource(IReferenceClock* clock) override;
    HRESULT GetSyncSource(IReferenceClock** clock) override;
    /// Makes the connected pins inactive. Every pin is told, the first failure is the answer; the filter is stopped
    /// then.
    HRESULT Stop() override;
    /// From Stopped makes the connected pins active; a failure of one makes those before it inactive again.
    HRESULT Pause() override;
    /// Pauses a stopped filter first, then tells the connected pins.
    HRESULT Run(REFERENCE_TIME start) override;

    // IBaseFilter
    HRESULT EnumPins(IEnumPins** pins) override;
    /// By the pin's id, which is its name unless the pin says otherwise.
    HRESULT FindPin(const wchar_t* id, IPin** pin) override;
    HRESULT QueryFilterInfo(FILTER_INFO* info) override;
    HRESULT JoinFilterGraph(IFilterGraph* graph, const wchar_t* name) override;
    HRESULT QueryVendorInfo(wchar_t** info) override;

    // IAMovieSetup: registration is the module's, by its class table, so both answer E_NOTIMPL.
    HRESULT Register() override;
    HRESULT Unregister() override;

    virtual int GetPinCount() = 0;
    /// Pin 0, 1, ...; null outside. Not counted.
    virtual CBasePin* GetPin(int index) = 0;

    /// Now, relative to the graph's start. VFW_E_NO_CLOCK with no clock, `time` is then untouched.
    virtual HRESULT StreamTime(REFERENCE_TIME& time);

    /// An event to the graph; E_NOTIMPL outside a graph that takes events. The second parameter of EC_COMPLETE is
    /// always this filter.
    HRESULT NotifyEvent(LONG code, LONG_PTR param1, LONG_PTR param2);

    bool IsActive() const { return m_State != State_Stopped; }
    bool IsStopped() const { return m_State == State_Stopped; }
    /// The graph, not counted; null outside one.
    IFilterGraph* GetFilterGraph() const;
    CCritSec* FilterLock() const { return m_pLock; }

    LONG GetPinVersion() const { return m_pinVersion; }
    /// To be called when pins come or go: enumerators notice.
    void IncrementPinVersion() { ++m_pinVersion; }

protected:
    void FinalRelease() override;
    qrn::ComPtr<IReferenceClock> Clock() const;

    CCritSec* const m_pLock;
    const CLSID m_clsid;
    std::atomic<FILTER_STATE> m_State{State_Stopped};
    /// The clock's time at which stream time is 0.
    std::atomic<REFERENCE_TIME> m_tStart{0};

private:
    HRESULT PauseConnectedPins();

    std::atomic<LONG> m_pinVersion{1};
    /// Taken last and for a few instructions: streaming threads need these while a state change holds m_pLock.
    mutable qrn::CMutex m_linkLock;
    qrn::ComPtr<IReferenceClock> m_pClock QRN_GUARDED_BY(m_linkLock);
    IFilterGraph* m_graph QRN_GUARDED_BY(m_linkLock) = nullptr;    // not counted: the graph holds the filter
    IMediaEventSink* m_sink QRN_GUARDED_BY(m_linkLock) = nullptr;  // not counted
    std::wstring m_name QRN_GUARDED_BY(m_linkLock);
};
