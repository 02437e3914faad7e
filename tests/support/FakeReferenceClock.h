#pragma once
/// A graph clock that a test moves. `#include "support/FakeReferenceClock.h"`, link qrn_test_support and qrn_framework.

#include <sys/eventfd.h>

#include <vector>

#include "framework/CUnknown.h"
#include "platform/system/Condition.h"
#include "platform/system/Lock.h"
#include "qrn/filters.h"
#include "support/FakeClock.h"

namespace qrn::test {

/// Stands still until moved. Make it with `new`, hold it in a ComPtr. Any thread.
class CFakeReferenceClock final : public CUnknown, public IReferenceClock {
public:
    DECLARE_IUNKNOWN

    explicit CFakeReferenceClock(REFERENCE_TIME now = 1'000'000'000)
        : CUnknown(L"fake reference clock", nullptr),
          m_now(now) {}

    HRESULT NonDelegatingQueryInterface(REFIID id, void** object) override {
        if (id == IID_IReferenceClock) {
            return GetInterface(static_cast<IReferenceClock*>(this), object);
        }
        return CUnknown::NonDelegatingQueryInterface(id, object);
    }

    HRESULT GetTime(REFERENCE_TIME* time) override QRN_EXCLUDES(m_gate) {
        CScopedLock lock(m_gate);
        *time = m_now;
        return S_OK;
    }

    HRESULT AdviseTime(REFERENCE_TIME base, REFERENCE_TIME stream, HEVENT event, DWORD_PTR* cookie) override
        QRN_EXCLUDES(m_gate) {
        CScopedLock lock(m_gate);
        m_pending.push_back({++m_lastCookie, base + stream, event});
        *cookie = m_lastCookie;
        FireDue();
        m_changed.NotifyAll();
        return S_OK;
    }

    HRESULT AdvisePeriodic(REFERENCE_TIME, REFERENCE_TIME, HSEMAPHORE, DWORD_PTR*) override { return E_NOTIMPL; }

    HRESULT Unadvise(DWORD_PTR cookie) override QRN_EXCLUDES(m_gate) {
        CScopedLock lock(m_gate);
        return std::erase_if(m_pending, [cookie](const Advise& advise) { return advise.cookie == cookie; }) != 0
                   ? S_OK
                   : S_FALSE;
    }

    REFERENCE_TIME Now() const QRN_EXCLUDES(m_gate) {
        CScopedLock lock(m_gate);
        return m_now;
    }

    void Advance(REFERENCE_TIME time) QRN_EXCLUDES(m_gate) {
        CScopedLock lock(m_gate);
        m_now += time;
        FireDue();
    }

    /// Waits until that many notifications are pending and answers the time of the one that comes last in the list,
    /// relative to `base`; -1 when it takes longer than a test may wait.
    REFERENCE_TIME WaitForPending(std::size_t count, REFERENCE_TIME base = 0) QRN_EXCLUDES(m_gate) {
        const auto start = SystemClock().Now();
        CScopedLock lock(m_gate);
        while (m_pending.size() != count) {
            if (SystemClock().Now() - start > kTestPatience) {
                return -1;
            }
            m_changed.WaitFor(m_gate, std::chrono::milliseconds(100));
        }
        return m_pending.empty() ? 0 : m_pending.back().due - base;
    }

    std::size_t PendingCount() const QRN_EXCLUDES(m_gate) {
        CScopedLock lock(m_gate);
        return m_pending.size();
    }

private:
    struct Advise {
        DWORD_PTR cookie;
        REFERENCE_TIME due;
        HEVENT event;
    };

    void FireDue() QRN_REQUIRES(m_gate) {
        std::erase_if(m_pending, [now = m_now](const Advise& advise) {
            if (advise.due > now) {
                return false;
            }
            eventfd_write(advise.event, 1);
            return true;
        });
    }

    mutable CMutex m_gate;
    CCondition m_changed;
    REFERENCE_TIME m_now QRN_GUARDED_BY(m_gate);
    DWORD_PTR m_lastCookie QRN_GUARDED_BY(m_gate) = 0;
    std::vector<Advise> m_pending QRN_GUARDED_BY(m_gate);
};

}  // namespace qrn::test
