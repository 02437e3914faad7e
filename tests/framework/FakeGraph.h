#pragma once
/// A graph that only takes events, and counts them.

#include <algorithm>
#include <vector>

#include "framework/CUnknown.h"
#include "platform/system/Condition.h"
#include "platform/system/Lock.h"
#include "qrn/filters.h"
#include "support/FakeClock.h"

namespace qrn::test {

struct GraphEvent {
    LONG code;
    LONG_PTR param1;
    LONG_PTR param2;
};

/// Make it with `new`, hold it in a ComPtr. Filters must leave it before it goes.
class CFakeGraph final : public CUnknown, public IFilterGraph, public IMediaEventSink {
public:
    DECLARE_IUNKNOWN

    CFakeGraph() : CUnknown(L"fake graph", nullptr) {}

    HRESULT NonDelegatingQueryInterface(REFIID id, void** object) override {
        if (id == IID_IFilterGraph) {
            return GetInterface(static_cast<IFilterGraph*>(this), object);
        }
        if (id == IID_IMediaEventSink) {
            return GetInterface(static_cast<IMediaEventSink*>(this), object);
        }
        return CUnknown::NonDelegatingQueryInterface(id, object);
    }

    HRESULT Notify(LONG code, LONG_PTR param1, LONG_PTR param2) override QRN_EXCLUDES(m_gate) {
        CScopedLock lock(m_gate);
        m_events.push_back({code, param1, param2});
        m_changed.NotifyAll();
        return S_OK;
    }

    std::vector<GraphEvent> Events() const QRN_EXCLUDES(m_gate) {
        CScopedLock lock(m_gate);
        return m_events;
    }

    std::size_t Count(LONG code) const QRN_EXCLUDES(m_gate) {
        CScopedLock lock(m_gate);
        return CountLocked(code);
    }

    /// @return false when it takes longer than a test may wait.
    bool WaitFor(LONG code, std::size_t count) QRN_EXCLUDES(m_gate) {
        const auto start = SystemClock().Now();
        CScopedLock lock(m_gate);
        while (CountLocked(code) < count) {
            if (SystemClock().Now() - start > kTestPatience) {
                return false;
            }
            m_changed.WaitFor(m_gate, std::chrono::milliseconds(100));
        }
        return true;
    }

    HRESULT AddFilter(IBaseFilter*, const wchar_t*) override { return E_NOTIMPL; }
    HRESULT RemoveFilter(IBaseFilter*) override { return E_NOTIMPL; }
    HRESULT EnumFilters(IEnumFilters**) override { return E_NOTIMPL; }
    HRESULT FindFilterByName(const wchar_t*, IBaseFilter**) override { return E_NOTIMPL; }
    HRESULT ConnectDirect(IPin*, IPin*, const AM_MEDIA_TYPE*) override { return E_NOTIMPL; }
    HRESULT Reconnect(IPin*) override { return E_NOTIMPL; }
    HRESULT Disconnect(IPin*) override { return E_NOTIMPL; }
    HRESULT SetDefaultSyncSource() override { return E_NOTIMPL; }

private:
    std::size_t CountLocked(LONG code) const QRN_REQUIRES(m_gate) {
        return static_cast<std::size_t>(std::count_if(m_events.begin(), m_events.end(),
                                                      [code](const GraphEvent& event) { return event.code == code; }));
    }

    mutable CMutex m_gate;
    CCondition m_changed;
    std::vector<GraphEvent> m_events QRN_GUARDED_BY(m_gate);
};

}  // namespace qrn::test
