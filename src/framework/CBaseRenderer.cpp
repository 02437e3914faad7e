#include "framework/CBaseRenderer.h"

#include <poll.h>

#include <array>
#include <new>
#include <string_view>
#include <utility>

#include "framework/Boundary.h"

namespace {

constexpr std::chrono::nanoseconds kForEver(-1);
constexpr DWORD kInfiniteMs = 0xFFFFFFFF;

}  // namespace

/// Counts the streaming thread in for as long as it waits or renders; HRESULTs and exceptions alike count it out.
class CBaseRenderer::CReceiveScope {
public:
    explicit CReceiveScope(CBaseRenderer& renderer) : m_renderer(renderer) {}
    ~CReceiveScope() { m_renderer.LeaveReceive(); }
    CReceiveScope(const CReceiveScope&) = delete;
    CReceiveScope& operator=(const CReceiveScope&) = delete;

private:
    CBaseRenderer& m_renderer;
};

CBaseRenderer::CBaseRenderer(REFCLSID classId, const wchar_t* name, IUnknown* outer, HRESULT* /*result*/)
    : CBaseFilter(name, outer, &m_InterfaceLock, classId),
      m_lastEnd(0) {
    m_stateComplete.Set();
}

CBaseRenderer::~CBaseRenderer() = default;

HRESULT CBaseRenderer::NonDelegatingQueryInterface(REFIID id, void** object) {
    if (id == IID_IMediaPosition || id == IID_IMediaSeeking) {
        return GetMediaPositionInterface(id, object);
    }
    return CBaseFilter::NonDelegatingQueryInterface(id, object);
}

HRESULT CBaseRenderer::GetMediaPositionInterface(REFIID id, void** object) {
    if (object == nullptr) {
        return E_POINTER;
    }
    *object = nullptr;
    CBasePin* pin = GetPin(0);
    if (pin == nullptr) {
        return E_OUTOFMEMORY;
    }
    qrn::CScopedLock lock(m_positionLock);
    if (!m_madePosition) {
        m_madePosition.reset(new (std::nothrow) CRendererPosPassThru(L"renderer position", GetOwner(), pin));
        m_pPosition = m_madePosition.get();
    }
    return m_madePosition ? m_madePosition->NonDelegatingQueryInterface(id, object) : E_OUTOFMEMORY;
}

// ---------------------------------------------------------------------------------------------------------------------
// Pin and state

int CBaseRenderer::GetPinCount() {
    return 1;
}

void CBaseRenderer::MakePin() {
    m_pInputPin = std::make_unique<CRendererInputPin>(this, nullptr, L"In");
}

CBasePin* CBaseRenderer::GetPin(int index) {
    if (index != 0) {
        return nullptr;
    }
    // Without the filter's lock, for a streaming thread may ask.
    qrn::CScopedLock lock(m_pinLock);
    if (!m_pInputPin) {
        qrn::AnswerFor([this] {
            MakePin();
            return S_OK;
        });
    }
    return m_pInputPin.get();
}

HRESULT CBaseRenderer::FindPin(const wchar_t* id, IPin** pin) {
    if (id == nullptr || pin == nullptr) {
        return E_POINTER;
    }
    if (std::wstring_view(id) != L"In") {
        *pin = nullptr;
        return VFW_E_NOT_FOUND;
    }
    *pin = GetPin(0);
    if (*pin == nullptr) {
        return E_OUTOFMEMORY;
    }
    (*pin)->AddRef();
    return S_OK;
}

HRESULT CBaseRenderer::Stop() {
    if (m_State == State_Stopped) {
        return S_OK;
    }
    // First the streaming thread's waits, before any lock: it may be waiting for a sample's time.
    {
        CAutoLock lock(&m_RendererLock);
        m_bAbort = true;
    }
    m_threadSignal.Set();
    HRESULT result = S_OK;
    {
        qrn::CScopedLock draw(m_drawLock);
        CAutoLock lock(&m_InterfaceLock);
        result = CBaseFilter::Stop();
        StopStreaming();
        ForgetStream();
        m_stateComplete.Set();
    }
    WaitForReceiveToComplete();
    return result;
}

HRESULT CBaseRenderer::Pause() {
    qrn::CScopedLock draw(m_drawLock);
    CAutoLock lock(&m_InterfaceLock);
    const FILTER_STATE oldState = m_State;
    if (!m_pInputPin || !m_pInputPin->IsConnected()) {
        m_State = State_Paused;
        return S_OK;
    }
    if (oldState == State_Paused) {
        return CompleteStateChange(oldState);
    }
    if (oldState == State_Stopped) {
        ForgetStream();
        CAutoLock rendererLock(&m_RendererLock);
        m_bAbort = false;
        m_threadSignal.Reset();
    }
    const HRESULT result = CBaseFilter::Pause();
    if (FAILED(result)) {
        return result;
    }
    StopStreaming();
    {
        CAutoLock rendererLock(&m_RendererLock);
        CancelNotification();
    }
    return CompleteStateChange(oldState);
}

HRESULT CBaseRenderer::Run(REFERENCE_TIME start) {
    if (m_State == State_Stopped) {
        const HRESULT result = Pause();
        if (FAILED(result)) {
            return result;
        }
    }
    qrn::CScopedLock draw(m_drawLock);
    CAutoLock lock(&m_InterfaceLock);
    if (m_State == State_Running) {
        return S_OK;
    }
    if (m_State == State_Stopped) {
        return VFW_E_WRONG_STATE;  // stopped by another thread meanwhile
    }
    if (!m_pInputPin || !m_pInputPin->IsConnected()) {
        // Nothing will ever come, and the graph counts this renderer among those that have to complete.
        m_tStart = start;
        m_State = State_Running;
        NotifyEvent(EC_COMPLETE, S_OK, 0);
        return S_OK;
    }
    m_stateComplete.Set();
    const HRESULT result = CBaseFilter::Run(start);
    return FAILED(result) ? result : StartStreaming();
}

HRESULT CBaseRenderer::GetState(DWORD timeoutMs, FILTER_STATE* state) {
    if (state == nullptr) {
        return E_POINTER;
    }
    const auto timeout = timeoutMs == kInfiniteMs ? kForEver : std::chrono::milliseconds(timeoutMs);
    const bool complete = m_stateComplete.Wait(qrn::SystemClock(), timeout);
    *state = m_State;
    return complete ? S_OK : VFW_S_STATE_INTERMEDIATE;
}

HRESULT CBaseRenderer::CompleteStateChange(FILTER_STATE oldState) {
    const bool waits = !IsEndOfStream() && !(HaveCurrentSample() && oldState != State_Stopped);
    if (!waits) {
        m_stateComplete.Set();
        return S_OK;
    }
    m_stateComplete.Reset();
    return S_FALSE;
}

HRESULT CBaseRenderer::StartStreaming() {
    bool ended = false;
    {
        CAutoLock lock(&m_RendererLock);
        if (m_bStreaming) {
            return S_OK;
        }
        m_bStreaming = true;
        ended = m_bEOS && !HasPending();
    }
    OnStartStreaming();
    if (ended) {
        return NotifyEndOfStream();
    }
    ScheduleHeldSample();
    return S_OK;
}

HRESULT CBaseRenderer::StopStreaming() {
    {
        CAutoLock lock(&m_RendererLock);
        m_bEOSDelivered = false;
        if (!m_bStreaming) {
            return S_OK;
        }
        m_bStreaming = false;
    }
    OnStopStreaming();
    return S_OK;
}

// ---------------------------------------------------------------------------------------------------------------------
// Hooks

HRESULT CBaseRenderer::SetMediaType(const CMediaType* /*type*/) {
    return S_OK;
}

HRESULT CBaseRenderer::BreakConnect() {
    return S_OK;
}

HRESULT CBaseRenderer::CompleteConnect(IPin* /*receivePin*/) {
    return S_OK;
}

HRESULT CBaseRenderer::Active() {
    return S_OK;
}

HRESULT CBaseRenderer::Inactive() {
    return S_OK;
}

HRESULT CBaseRenderer::OnStartStreaming() {
    return S_OK;
}

HRESULT CBaseRenderer::OnStopStreaming() {
    return S_OK;
}

void CBaseRenderer::OnReceiveFirstSample(IMediaSample* /*sample*/) {}

void CBaseRenderer::PrepareRender() {}

HRESULT CBaseRenderer::ShouldDrawSampleNow(IMediaSample* /*sample*/, REFERENCE_TIME* /*start*/,
                                           REFERENCE_TIME* /*end*/) {
    return S_FALSE;
}

HRESULT CBaseRenderer::GetSampleTimes(IMediaSample* sample, REFERENCE_TIME* start, REFERENCE_TIME* end) {
    if (FAILED(sample->GetTime(start, end))) {
        return S_OK;
    }
    if (*end < *start) {
        return VFW_E_START_TIME_AFTER_END;
    }
    if (!Clock()) {
        return S_OK;
    }
    return ShouldDrawSampleNow(sample, start, end);
}

// ---------------------------------------------------------------------------------------------------------------------
// The stream

HRESULT CBaseRenderer::Receive(IMediaSample* sample) {
    HRESULT result = S_OK;
    {
        CAutoLock lock(&m_InterfaceLock);
        result = m_pInputPin->CheckSample(sample);
        if (result == S_OK) {
            result = ChangeTypeIfNew();
        }
        if (result == S_OK) {
            result = TakeSample(sample);
        }
        if (result == S_OK) {
            EnterReceive();
        }
    }
    if (result != S_OK) {
        if (result != VFW_E_SAMPLE_REJECTED) {
            return result;
        }
        m_pInputPin->Counters().CountDropped();
        return S_OK;
    }
    const CReceiveScope scope(*this);
    if (m_State == State_Paused) {
        FirstSampleWhilePaused(sample);
    }
    unsigned schedule = 0;
    while (WaitUntilDue(schedule)) {
        PrepareRender();
        if (RenderHeldSample(sample, schedule)) {
            break;
        }
    }
    return FinishEndOfStream();
}

HRESULT CBaseRenderer::ChangeTypeIfNew() {
    const AM_SAMPLE2_PROPERTIES& properties = *m_pInputPin->SampleProps();
    if ((properties.dwSampleFlags & AM_SAMPLE_TYPECHANGED) == 0 || properties.pMediaType == nullptr) {
        return S_OK;
    }
    const CMediaType type(*properties.pMediaType);
    const HRESULT result = m_pInputPin->SetMediaType(&type);
    return FAILED(result) ? result : S_OK;
}

HRESULT CBaseRenderer::TakeSample(IMediaSample* sample) {
    // Asked before the inner lock is taken, since it goes through hooks. State changes are kept out by the outer one.
    const bool schedules = m_bStreaming;
    const Plan plan = schedules ? PlanSample(sample) : Plan{Due::kNow, 0, 0};
    CAutoLock lock(&m_RendererLock);
    if (m_bAbort) {
        return VFW_E_WRONG_STATE;
    }
    if (m_pMediaSample || m_bEOS) {
        return E_UNEXPECTED;  // a second thread, or one that goes on after the end
    }
    if (schedules) {
        if (plan.due == Due::kNever) {
            return VFW_E_SAMPLE_REJECTED;
        }
        Schedule(plan);
    }
    m_pMediaSample = qrn::ComPtr<IMediaSample>::Share(sample);
    return S_OK;
}

CBaseRenderer::Plan CBaseRenderer::PlanSample(IMediaSample* sample) {
    Plan plan{Due::kNow, 0, 0};
    const HRESULT result = GetSampleTimes(sample, &plan.start, &plan.end);
    if (FAILED(result)) {
        plan.due = Due::kNever;
    } else if (result != S_OK) {
        plan.due = Due::kAtTime;
    }
    return plan;
}

void CBaseRenderer::Schedule(const Plan& plan) {
    CancelNotification();
    m_lastEnd = plan.due == Due::kAtTime ? plan.end : 0;
    const qrn::ComPtr<IReferenceClock> clock = Clock();
    REFERENCE_TIME now = 0;
    REFERENCE_TIME due = 0;
    // Late already, or no way to wait: the clock need not be troubled.
    m_isDue = plan.due != Due::kAtTime || !clock || FAILED(clock->GetTime(&now)) ||
              __builtin_add_overflow(m_tStart.load(), plan.start, &due) || now >= due;
    if (m_isDue) {
        return;
    }
    if (SUCCEEDED(clock->AdviseTime(m_tStart, plan.start, m_renderEvent.Descriptor(), &m_advise))) {
        m_advisedClock = clock;
    } else {
        m_isDue = true;
    }
}

void CBaseRenderer::CancelNotification() {
    if (m_advisedClock) {
        m_advisedClock->Unadvise(m_advise);
        m_advisedClock.Reset();
        m_advise = 0;
    }
    ++m_schedule;
    m_isDue = false;
    m_renderEvent.Reset();
}

void CBaseRenderer::ScheduleHeldSample() {
    const qrn::ComPtr<IMediaSample> sample = GetCurrentSample();
    Plan plan = sample ? PlanSample(sample.Get()) : Plan{Due::kNow, 0, 0};
    CAutoLock lock(&m_RendererLock);
    if (!HasPending()) {
        return;
    }
    if (!sample) {
        plan = Plan{Due::kAtTime, m_lastEnd, m_lastEnd};  // what waits is the end of the stream
    }
    // One that should be dropped has been kept for the pause and is rendered at once, so that its thread goes on.
    Schedule(plan);
    if (m_isDue) {
        m_renderEvent.Set();
    }
}

void CBaseRenderer::FirstSampleWhilePaused(IMediaSample* sample) {
    qrn::CScopedLock draw(m_drawLock);
    if (m_State == State_Paused && GetCurrentSample() == sample) {
        RegisterPosition(sample);
        OnReceiveFirstSample(sample);
        m_stateComplete.Set();
    }
}

/// @param schedule  receives the number of the schedule whose time has come.
/// @return false when there is nothing to wait for any more: stopped or flushed.
bool CBaseRenderer::WaitUntilDue(unsigned& schedule) {
    for (;;) {
        {
            CAutoLock lock(&m_RendererLock);
            if (m_bAbort || !HasPending()) {
                return false;
            }
            // The event is taken with the lock held: then it belongs to the notification in force.
            if (m_bStreaming && (std::exchange(m_isDue, false) || m_renderEvent.TryConsume())) {
                m_advisedClock.Reset();
                m_advise = 0;
                schedule = m_schedule;
                return true;
            }
        }
        std::array<pollfd, 2> descriptors{
            {{m_threadSignal.Descriptor(), POLLIN, 0}, {m_renderEvent.Descriptor(), POLLIN, 0}}};
        // No time-out: the graph's clock tells the time.
        qrn::SystemClock().Poll(descriptors, kForEver);
        if ((descriptors[0].revents & POLLIN) != 0) {
            return false;
        }
    }
}

/// @return false when the filter has been paused in between, and perhaps run again: the sample waits on.
bool CBaseRenderer::RenderHeldSample(IMediaSample* sample, unsigned schedule) {
    qrn::CScopedLock draw(m_drawLock);
    {
        CAutoLock lock(&m_RendererLock);
        if (m_bAbort || !(m_pMediaSample == sample)) {
            return true;
        }
        if (!m_bStreaming || m_schedule != schedule) {
            return false;
        }
    }
    struct CLettingGo {
        CBaseRenderer& renderer;
        ~CLettingGo() { renderer.LetGoOfSample(); }
    } lettingGo{*this};
    RegisterPosition(sample);
    DoRenderSample(sample);
    return true;
}

void CBaseRenderer::RegisterPosition(IMediaSample* sample) {
    if (CRendererPosPassThru* position = m_pPosition) {
        position->RegisterMediaTime(sample, m_pInputPin->CurrentStartTime(), m_pInputPin->CurrentRate());
    }
}

void CBaseRenderer::LetGoOfSample() {
    qrn::ComPtr<IMediaSample> released;
    CAutoLock lock(&m_RendererLock);
    std::swap(released, m_pMediaSample);
}

HRESULT CBaseRenderer::EndOfStream() {
    {
        CAutoLock lock(&m_InterfaceLock);
        if (m_State == State_Stopped) {
            return S_OK;
        }
        {
            CAutoLock rendererLock(&m_RendererLock);
            if (m_bAbort) {
                return S_OK;
            }
            m_bEOS = true;
        }
        m_stateComplete.Set();
        EnterReceive();
    }
    const CReceiveScope scope(*this);
    return FinishEndOfStream();
}

/// Tells the end, if it has come and everything before it has been rendered, when the last sample ends.
HRESULT CBaseRenderer::FinishEndOfStream() {
    {
        CAutoLock lock(&m_RendererLock);
        if (!m_bEOS || m_bEOSDelivered || m_bAbort || !m_bStreaming || HasPending()) {
            return S_OK;
        }
        m_bEOSWaits = true;
        Schedule(Plan{Due::kAtTime, m_lastEnd, m_lastEnd});
    }
    unsigned schedule = 0;
    const bool due = WaitUntilDue(schedule);
    {
        CAutoLock lock(&m_RendererLock);
        m_bEOSWaits = false;
    }
    return due ? NotifyEndOfStream() : S_OK;
}

HRESULT CBaseRenderer::NotifyEndOfStream() {
    {
        CAutoLock lock(&m_RendererLock);
        if (!m_bStreaming || m_bEOSDelivered) {
            return S_OK;
        }
        m_bEOSDelivered = true;
    }
    if (CRendererPosPassThru* position = m_pPosition) {
        position->EOS();
    }
    NotifyEvent(EC_COMPLETE, S_OK, 0);
    return S_OK;
}

HRESULT CBaseRenderer::BeginFlush() {
    if (m_State == State_Paused) {
        m_stateComplete.Reset();
    }
    ForgetStream();
    m_threadSignal.Set();
    WaitForReceiveToComplete();
    return S_OK;
}

HRESULT CBaseRenderer::EndFlush() {
    ForgetStream();
    CAutoLock lock(&m_RendererLock);
    if (!m_bAbort) {
        m_threadSignal.Reset();
    }
    return S_OK;
}

void CBaseRenderer::ForgetStream() {
    if (CRendererPosPassThru* position = m_pPosition) {
        position->ResetMediaTime();
    }
    qrn::ComPtr<IMediaSample> released;  // let go of after the lock
    CAutoLock lock(&m_RendererLock);
    CancelNotification();
    std::swap(released, m_pMediaSample);
    m_bEOS = false;
    m_bEOSWaits = false;
    m_bEOSDelivered = false;
    m_lastEnd = 0;
}

bool CBaseRenderer::IsEndOfStream() const {
    CAutoLock lock(&m_RendererLock);
    return m_bEOS;
}

bool CBaseRenderer::HaveCurrentSample() const {
    CAutoLock lock(&m_RendererLock);
    return m_pMediaSample.Get() != nullptr;
}

bool CBaseRenderer::IsStopping() const {
    CAutoLock lock(&m_RendererLock);
    return m_bAbort;
}

qrn::ComPtr<IMediaSample> CBaseRenderer::GetCurrentSample() const {
    CAutoLock lock(&m_RendererLock);
    return m_pMediaSample;
}

// ---------------------------------------------------------------------------------------------------------------------
// The streaming thread inside Receive

void CBaseRenderer::EnterReceive() {
    qrn::CScopedLock lock(m_receiveLock);
    ++m_inReceive;
}

void CBaseRenderer::LeaveReceive() {
    qrn::CScopedLock lock(m_receiveLock);
    --m_inReceive;
    m_receiveLeft.NotifyAll();
}

void CBaseRenderer::WaitForReceiveToComplete() {
    qrn::CScopedLock lock(m_receiveLock);
    while (m_inReceive != 0) {
        m_receiveLeft.Wait(m_receiveLock);
    }
}
