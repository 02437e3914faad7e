#pragma once

#include "framework/CUnknown.h"
#include "host/CGraphEvents.h"
#include "platform/system/Clock.h"
#include "qrn/filters.h"

namespace qrn {

/// Where the filters of a graph send their events. An object of its own, with an identity of its own: a streaming
/// thread may hold it for the length of a call, and were it the graph itself, the graph's last release could fall to
/// that thread, which cannot wait for its own end. It outlives the graph as long as somebody holds it; events then go
/// nowhere. Any thread.
class CEventSink final : public CUnknown, public IMediaEventSink {
public:
    /// @throws std::system_error when the process has no descriptor left.
    explicit CEventSink(IClock& clock);

    DECLARE_IUNKNOWN
    HRESULT NonDelegatingQueryInterface(REFIID id, void** object) override;

    // IMediaEventSink
    HRESULT Notify(LONG code, LONG_PTR param1, LONG_PTR param2) override;

    CGraphEvents& Events() { return m_events; }

private:
    CGraphEvents m_events;
};

}  // namespace qrn
