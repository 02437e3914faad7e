#pragma once
/// A filter of one input pin at the end of a graph, which renders each sample at its time on the graph's clock.

#include <atomic>
#include <memory>

#include "framework/CBaseFilter.h"
#include "framework/CRendererInputPin.h"
#include "framework/CRendererPosPassThru.h"
#include "framework/CTurnLock.h"
#include "platform/system/Condition.h"
#include "platform/system/Event.h"

/// Threads: the upstream filter's streaming thread is in Receive and EndOfStream, where it waits for a sample's time
/// and then renders; the controlling thread changes states. A wait ends at once with Stop or a flush, and Stop returns
/// with the streaming thread out of Receive.
///
/// Locks, in this order: m_drawLock, m_InterfaceLock, m_RendererLock. DoRenderSample, OnReceiveFirstSample,
/// OnStartStreaming and OnStopStreaming run with m_drawLock held, hence never at the same time; the two of streaming
/// also with m_InterfaceLock. DoRenderSample may take m_InterfaceLock. It may not change the filter's state. A filter
/// whose DoRenderSample can block for long overrides Stop to wake it and then calls the base.
class CBaseRenderer : public CBaseFilter {
public:
    /// @param result  receives a failure of construction; may be null.
    CBaseRenderer(REFCLSID classId, const wchar_t* name, IUnknown* outer, HRESULT* result);
    ~CBaseRenderer() override;

    /// IMediaPosition and IMediaSeeking too.
    HRESULT NonDelegatingQueryInterface(REFIID id, void** object) override;

    // CBaseFilter. The pin is made on first request; its id is "In".
    int GetPinCount() override;
    CBasePin* GetPin(int index) override;
    HRESULT FindPin(const wchar_t* id, IPin** pin) override;
    HRESULT Stop() override;
    /// S_FALSE until the first sample or the end of the stream has come.
    HRESULT Pause() override;
    HRESULT Run(REFERENCE_TIME start) override;
    /// Waits for a change to complete; VFW_S_STATE_INTERMEDIATE after the time-out. 0xFFFFFFFF: for ever.
    HRESULT GetState(DWORD timeoutMs, FILTER_STATE* state) override;

    // What a renderer must supply
    virtual HRESULT CheckMediaType(const CMediaType* type) = 0;
    /// Renders. The result does not reach the graph: a sample that fails is lost, the stream goes on.
    virtual HRESULT DoRenderSample(IMediaSample* sample) = 0;

    // What a renderer may supply
    virtual HRESULT SetMediaType(const CMediaType* type);
    virtual HRESULT BreakConnect();
    virtual HRESULT CompleteConnect(IPin* receivePin);
    virtual HRESULT Active();
    virtual HRESULT Inactive();
    /// Paused or stopped to running; the result of the hook does not keep the filter from running.
    virtual HRESULT StartStreaming();
    virtual HRESULT StopStreaming();
    virtual HRESULT OnStartStreaming();
    virtual HRESULT OnStopStreaming();
    /// A paused renderer has its first sample, which it keeps and renders when it runs.
    virtual void OnReceiveFirstSample(IMediaSample* sample);
    /// Right before DoRenderSample, without a lock.
    virtual void PrepareRender();
    /// S_OK: the sample is rendered at once. S_FALSE: at its time. A failure drops it.
    virtual HRESULT ShouldDrawSampleNow(IMediaSample* sample, REFERENCE_TIME* start, REFERENCE_TIME* end);
    /// S_OK: to be rendered at once (no time, no clock, or ShouldDrawSampleNow says so). S_FALSE: at `start`. A failure
    /// drops the sample; VFW_E_START_TIME_AFTER_END is one.
    virtual HRESULT GetSampleTimes(IMediaSample* sample, REFERENCE_TIME* start, REFERENCE_TIME* end);

    // The stream, called by the input pin
    virtual HRESULT Receive(IMediaSample* sample);
    virtual HRESULT EndOfStream();
    virtual HRESULT BeginFlush();
    virtual HRESULT EndFlush();

    /// IMediaPosition or IMediaSeeking: what is rendered, and the rest passed upstream. E_OUTOFMEMORY.
    virtual HRESULT GetMediaPositionInterface(REFIID id, void** object);

    /// EC_COMPLETE, if it has not been sent in this run.
    HRESULT NotifyEndOfStream();

    bool IsStreaming() const { return m_bStreaming; }
    bool IsEndOfStream() const;
    /// Stop has begun: waits end and samples are refused.
    bool IsStopping() const;
    bool HaveCurrentSample() const;
    /// The sample that is held, if any.
    qrn::ComPtr<IMediaSample> GetCurrentSample() const;

protected:
    friend class CRendererInputPin;

    std::unique_ptr<CRendererInputPin> m_pInputPin;
    /// State changes and the filter's own interface.
    CCritSec m_InterfaceLock;
    /// The sample in hand and the flags of the stream; never held while a hook runs or anything waits. The clock's
    /// AdviseTime and Unadvise are called with it.
    mutable CCritSec m_RendererLock;

private:
    /// When what is in hand is to be rendered.
    enum class Due { kNow, kAtTime, kNever };
    struct Plan {
        Due due;
        REFERENCE_TIME start;
        REFERENCE_TIME end;
    };
    class CReceiveScope;

    void MakePin();
    HRESULT TakeSample(IMediaSample* sample);
    HRESULT ChangeTypeIfNew();
    Plan PlanSample(IMediaSample* sample);
    void FirstSampleWhilePaused(IMediaSample* sample);
    bool WaitUntilDue(unsigned& schedule);
    bool RenderHeldSample(IMediaSample* sample, unsigned schedule);
    void RegisterPosition(IMediaSample* sample);
    void LetGoOfSample();
    void ScheduleHeldSample();
    HRESULT FinishEndOfStream();

    bool HasPending() const QRN_REQUIRES(m_RendererLock) { return m_pMediaSample || m_bEOSWaits; }
    void Schedule(const Plan& plan) QRN_REQUIRES(m_RendererLock);
    void CancelNotification() QRN_REQUIRES(m_RendererLock);
    void ForgetStream();
    HRESULT CompleteStateChange(FILTER_STATE oldState);
    void EnterReceive();
    void LeaveReceive();
    void WaitForReceiveToComplete();

    qrn::CMutex m_pinLock;       // while the pin is made
    qrn::CMutex m_positionLock;  // while the position is made
    std::unique_ptr<CRendererPosPassThru> m_madePosition QRN_GUARDED_BY(m_positionLock);
    std::atomic<CRendererPosPassThru*> m_pPosition{
        nullptr};               // the same, for the streaming thread; null until asked for
    qrn::CTurnLock m_drawLock;  // see above
    std::atomic<bool> m_bStreaming{false};
    qrn::CEvent m_renderEvent{qrn::EventReset::kAutomatic};  // the time has come
    qrn::CEvent m_threadSignal{qrn::EventReset::kManual};    // nobody may wait
    qrn::CEvent m_stateComplete{qrn::EventReset::kManual};   // no state change is under way
    qrn::ComPtr<IMediaSample> m_pMediaSample QRN_GUARDED_BY(m_RendererLock);
    qrn::ComPtr<IReferenceClock> m_advisedClock QRN_GUARDED_BY(m_RendererLock);
    DWORD_PTR m_advise QRN_GUARDED_BY(m_RendererLock) = 0;
    unsigned m_schedule QRN_GUARDED_BY(m_RendererLock) = 0;   // number of the schedule in force
    bool m_isDue QRN_GUARDED_BY(m_RendererLock) = false;      // known without the clock's help
    REFERENCE_TIME m_lastEnd QRN_GUARDED_BY(m_RendererLock);  // stream time at which the last sample ends
    bool m_bAbort QRN_GUARDED_BY(m_RendererLock) = false;
    bool m_bEOS QRN_GUARDED_BY(m_RendererLock) = false;
    bool m_bEOSWaits QRN_GUARDED_BY(m_RendererLock) = false;  // the streaming thread waits for m_lastEnd
    bool m_bEOSDelivered QRN_GUARDED_BY(m_RendererLock) = false;

    qrn::CMutex m_receiveLock;  // taken last
    qrn::CCondition m_receiveLeft;
    int m_inReceive QRN_GUARDED_BY(m_receiveLock) = 0;
};
