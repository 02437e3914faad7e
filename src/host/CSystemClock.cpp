#include "host/CSystemClock.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <limits>

#include "host/Boundary.h"

namespace qrn {

namespace {

using ReferenceTime = std::chrono::duration<REFERENCE_TIME, std::ratio<1, 10'000'000>>;

// The dispatcher looks at its list at least this often; a longer wait would only risk an overflow.
constexpr std::chrono::nanoseconds kLongestWait = std::chrono::hours(1);

/// Adds `count` to an eventfd. One that is full is left alone: writing to it would wait, and its waiter is not waiting.
void AddTo(int descriptor, std::uint64_t count) {
    pollfd look{descriptor, POLLOUT, 0};
    if (poll(&look, 1, 0) == 1 && (look.revents & POLLOUT) != 0) {
        [[maybe_unused]] const ssize_t written = write(descriptor, &count, sizeof(count));
    }
}

}  // namespace

CSystemClock::CSystemClock(IUnknown* outer, IClock& clock) : CUnknown(L"system clock", outer), m_clock(clock) {}

CSystemClock::~CSystemClock() {
    {
        CScopedLock lock(m_lock);
        m_isEnding = true;
    }
    m_listChanged.Set();
    m_dispatcher.Join();
}

HRESULT CSystemClock::NonDelegatingQueryInterface(REFIID id, void** object) {
    if (id == IID_IReferenceClock) {
        return GetInterface(static_cast<IReferenceClock*>(this), object);
    }
    return CUnknown::NonDelegatingQueryInterface(id, object);
}

HRESULT CSystemClock::GetTime(REFERENCE_TIME* time) {
    if (time == nullptr) {
        return E_POINTER;
    }
    const REFERENCE_TIME now = std::chrono::floor<ReferenceTime>(m_clock.Now()).count();
    REFERENCE_TIME last = m_lastTime.load();
    while (now > last) {
        if (m_lastTime.compare_exchange_weak(last, now)) {
            *time = now;
            return S_OK;
        }
    }
    // Another thread was here in between, or no time has passed.
    *time = last;
    return S_FALSE;
}

HRESULT CSystemClock::AdviseTime(REFERENCE_TIME base, REFERENCE_TIME stream, HEVENT event, DWORD_PTR* cookie) {
    if (cookie == nullptr) {
        return E_POINTER;
    }
    REFERENCE_TIME due = 0;
    if (__builtin_add_overflow(base, stream, &due) || due < 0 || event < 0) {
        return E_INVALIDARG;
    }
    return Advise(due, 0, event, cookie);
}

HRESULT CSystemClock::AdvisePeriodic(REFERENCE_TIME start, REFERENCE_TIME period, HSEMAPHORE semaphore,
                                     DWORD_PTR* cookie) {
    if (cookie == nullptr) {
        return E_POINTER;
    }
    if (start < 0 || period <= 0 || semaphore < 0) {
        return E_INVALIDARG;
    }
    return Advise(start, period, semaphore, cookie);
}

HRESULT CSystemClock::Unadvise(DWORD_PTR cookie) {
    CScopedLock lock(m_lock);
    return m_advices.Remove(cookie) ? S_OK : S_FALSE;
}

HRESULT CSystemClock::Advise(REFERENCE_TIME first, REFERENCE_TIME period, int descriptor, DWORD_PTR* cookie) {
    return AtBoundary([&] {
        {
            CScopedLock lock(m_lock);
            if (!m_dispatcher.IsHeld() && !StartDispatcher()) {
                return E_OUTOFMEMORY;
            }
            *cookie = m_advices.Add(first, period, descriptor);
        }
        m_listChanged.Set();
        return S_OK;
    });
}

bool CSystemClock::StartDispatcher() {
    return m_dispatcher.Start("qrn clock", [this] { Dispatch(); });
}

void CSystemClock::Dispatch() {
    for (;;) {
        std::chrono::nanoseconds idle{};
        {
            CScopedLock lock(m_lock);
            if (m_isEnding) {
                return;
            }
            idle = SignalDue();
        }
        if (idle.count() != 0) {
            m_listChanged.Wait(m_clock, idle);
        }
    }
}

std::chrono::nanoseconds CSystemClock::SignalDue() {
    const std::chrono::nanoseconds now = m_clock.Now();
    for (const CAdviseList::Signal& signal : m_advices.TakeDue(std::chrono::floor<ReferenceTime>(now).count())) {
        AddTo(signal.descriptor, signal.count);
    }
    const std::optional<REFERENCE_TIME> next = m_advices.NextWake();
    if (!next) {
        return std::chrono::nanoseconds(-1);
    }
    constexpr REFERENCE_TIME kLastInNanoseconds = std::numeric_limits<std::int64_t>::max() / 100;
    const std::chrono::nanoseconds due = ReferenceTime(std::min(*next, kLastInNanoseconds));
    return std::clamp(due - now, std::chrono::nanoseconds(0), kLongestWait);
}

}  // namespace qrn
