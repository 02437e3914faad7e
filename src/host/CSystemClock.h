#pragma once

#include <atomic>

#include "framework/CUnknown.h"
#include "host/CAdviseList.h"
#include "platform/system/Clock.h"
#include "platform/system/Event.h"
#include "platform/system/Lock.h"
#include "platform/system/Thread.h"
#include "qrn/filters.h"

namespace qrn {

/// The reference clock of a graph, on the machine's monotonic clock. Any thread.
///
/// One thread of the clock's own, started by the first advice and ended with the clock, signals all advices. The
/// descriptors of advices stay the caller's: one may be closed once its advice has been signalled (a single one) or
/// Unadvise has returned, after which the clock does not touch it again.
class CSystemClock final : public CUnknown, public IReferenceClock {
public:
    /// @throws std::system_error when the process has no descriptor left.
    CSystemClock(IUnknown* outer, IClock& clock);
    ~CSystemClock() override;

    DECLARE_IUNKNOWN
    HRESULT NonDelegatingQueryInterface(REFIID id, void** object) override;

    // IReferenceClock
    /// S_FALSE when the time is that of the last call.
    HRESULT GetTime(REFERENCE_TIME* time) override;
    HRESULT AdviseTime(REFERENCE_TIME base, REFERENCE_TIME stream, HEVENT event, DWORD_PTR* cookie) override;
    /// E_INVALIDARG for a start below 0 or a period that is not above 0.
    HRESULT AdvisePeriodic(REFERENCE_TIME start, REFERENCE_TIME period, HSEMAPHORE semaphore,
                           DWORD_PTR* cookie) override;
    HRESULT Unadvise(DWORD_PTR cookie) override;

private:
    HRESULT Advise(REFERENCE_TIME first, REFERENCE_TIME period, int descriptor, DWORD_PTR* cookie) QRN_EXCLUDES(m_lock);
    bool StartDispatcher() QRN_REQUIRES(m_lock);
    /// The dispatcher's thread.
    void Dispatch() QRN_EXCLUDES(m_lock);
    /// Signals what is due. @return how long there is nothing to do; negative: until the list changes.
    std::chrono::nanoseconds SignalDue() QRN_REQUIRES(m_lock);

    IClock& m_clock;
    std::atomic<REFERENCE_TIME> m_lastTime{0};

    CMutex m_lock;  // held while descriptors are signalled, so that Unadvise may promise what it does
    CAdviseList m_advices QRN_GUARDED_BY(m_lock);
    bool m_isEnding QRN_GUARDED_BY(m_lock) = false;
    CEvent m_listChanged;
    CThread m_dispatcher;  // started under m_lock, joined by the destructor
};

}  // namespace qrn
