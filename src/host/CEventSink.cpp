#include "host/CEventSink.h"

#include "host/Boundary.h"

namespace qrn {

CEventSink::CEventSink(IClock& clock) : CUnknown(L"event sink", nullptr), m_events(clock) {}

HRESULT CEventSink::NonDelegatingQueryInterface(REFIID id, void** object) {
    if (id == IID_IMediaEventSink) {
        return GetInterface(static_cast<IMediaEventSink*>(this), object);
    }
    return CUnknown::NonDelegatingQueryInterface(id, object);
}

HRESULT CEventSink::Notify(LONG code, LONG_PTR param1, LONG_PTR param2) {
    return AtBoundary([&] { return m_events.Notify(code, param1, param2); });
}

}  // namespace qrn
