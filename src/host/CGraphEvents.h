#pragma once

#include <chrono>
#include <cstddef>
#include <vector>

#include "host/CEventQueue.h"
#include "platform/system/Clock.h"
#include "platform/system/Event.h"
#include "platform/system/Lock.h"
#include "qrn/filters.h"

namespace qrn {

/// A filter as the sender of an event names itself: by either of these pointers. For comparing only.
struct EventSender {
    const IBaseFilter* filter;
    const IUnknown* identity;
};

/// What becomes of the events of a graph's filters. All are handed to the client, but EC_COMPLETE: the client is to see
/// one when every renderer has sent its own (or, after CancelDefaultHandling, each of them).
///
/// Notify runs on streaming threads while another thread changes the graph's state and waits for just these threads, so
/// nothing here takes the graph's locks.
class CGraphEvents {
public:
    /// @throws std::system_error when the process has no descriptor left.
    explicit CGraphEvents(IClock& clock);

    /// The graph leaves the stopped state with these renderers: no one has completed yet.
    void BeginStreaming(const std::vector<EventSender>& renderers) QRN_EXCLUDES(m_lock);
    /// Entering and leaving the running state. Leaving it ends WaitForCompletion.
    void SetRunning(bool isRunning) QRN_EXCLUDES(m_lock);

    /// E_FAIL when the queue refused the event.
    HRESULT Notify(LONG code, LONG_PTR param1, LONG_PTR param2) QRN_EXCLUDES(m_lock);

    /// As IMediaEvent has them.
    int Descriptor() const { return m_queue.Descriptor(); }
    HRESULT GetEvent(LONG* code, LONG_PTR* param1, LONG_PTR* param2, LONG timeoutMs);
    HRESULT WaitForCompletion(LONG timeoutMs, LONG* code) QRN_EXCLUDES(m_lock);
    /// S_FALSE for a code that has no default handling.
    HRESULT SetDefaultHandling(LONG code, bool isDefault) QRN_EXCLUDES(m_lock);

private:
    HRESULT NotifyComplete(LONG_PTR result, LONG_PTR sender) QRN_EXCLUDES(m_lock);
    /// @return true when this was the last one.
    bool CountComplete(LONG_PTR result, LONG_PTR sender) QRN_REQUIRES(m_lock);
    HRESULT Hand(const GraphEvent& event) QRN_EXCLUDES(m_lock);
    void Finish(LONG code) QRN_EXCLUDES(m_lock);

    struct Renderer {
        EventSender sender;
        bool isComplete = false;
    };

    IClock& m_clock;
    CEventQueue m_queue;
    CMutex m_lock;
    /// Set while there is no sense in waiting for completion: the call is over or the graph does not run.
    CEvent m_waitIsOver{EventReset::kManual};
    bool m_isRunning QRN_GUARDED_BY(m_lock) = false;
    LONG m_finishCode QRN_GUARDED_BY(m_lock) = 0;  // 0: not over
    bool m_isCompleteCollected QRN_GUARDED_BY(m_lock) = true;
    std::vector<Renderer> m_renderers QRN_GUARDED_BY(m_lock);
    std::size_t m_completeNameless QRN_GUARDED_BY(m_lock) = 0;  // from renderers that do not say who they are
    LONG_PTR m_completeResult QRN_GUARDED_BY(m_lock) = S_OK;    // the first failure among the renderers
};

}  // namespace qrn
