#include "host/CGraphEvents.h"

#include <algorithm>
#include <utility>

#include "platform/system/Log.h"

namespace qrn {

namespace {

std::chrono::nanoseconds FromTimeoutMs(LONG timeoutMs) {
    return timeoutMs < 0 ? std::chrono::nanoseconds(-1) : std::chrono::milliseconds(timeoutMs);
}

bool IsFrom(const EventSender& sender, LONG_PTR pointer) {
    return pointer == reinterpret_cast<LONG_PTR>(sender.filter) ||
           pointer == reinterpret_cast<LONG_PTR>(sender.identity);
}

}  // namespace

CGraphEvents::CGraphEvents(IClock& clock) : m_clock(clock), m_queue(clock) {
    m_waitIsOver.Set();
}

void CGraphEvents::BeginStreaming(const std::vector<EventSender>& renderers) {
    CScopedLock lock(m_lock);
    m_renderers.clear();
    for (const EventSender& sender : renderers) {
        m_renderers.push_back({sender});
    }
    m_completeNameless = 0;
    m_completeResult = S_OK;
    m_finishCode = 0;
}

void CGraphEvents::SetRunning(bool isRunning) {
    CScopedLock lock(m_lock);
    m_isRunning = isRunning;
    if (isRunning && m_finishCode == 0) {
        m_waitIsOver.Reset();
    } else {
        m_waitIsOver.Set();
    }
}

HRESULT CGraphEvents::Notify(LONG code, LONG_PTR param1, LONG_PTR param2) {
    if (code == EC_COMPLETE) {
        return NotifyComplete(param1, param2);
    }
    const HRESULT result = Hand({code, param1, param2});
    if (EndsTheCall(code)) {
        Finish(code);
    }
    return result;
}

HRESULT CGraphEvents::GetEvent(LONG* code, LONG_PTR* param1, LONG_PTR* param2, LONG timeoutMs) {
    if (code == nullptr || param1 == nullptr || param2 == nullptr) {
        return E_POINTER;
    }
    const std::optional<GraphEvent> event = m_queue.Pop(FromTimeoutMs(timeoutMs));
    if (!event) {
        *code = 0;
        return E_ABORT;
    }
    *code = event->code;
    *param1 = event->param1;
    *param2 = event->param2;
    return S_OK;
}

HRESULT CGraphEvents::WaitForCompletion(LONG timeoutMs, LONG* code) {
    if (code == nullptr) {
        return E_POINTER;
    }
    *code = 0;
    {
        CScopedLock lock(m_lock);
        if (!m_isRunning) {
            return VFW_E_WRONG_STATE;
        }
    }
    const bool isOver = m_waitIsOver.Wait(m_clock, FromTimeoutMs(timeoutMs));
    CScopedLock lock(m_lock);
    if (m_finishCode != 0) {
        *code = m_finishCode;
        return S_OK;
    }
    return isOver ? VFW_E_WRONG_STATE : E_ABORT;
}

HRESULT CGraphEvents::SetDefaultHandling(LONG code, bool isDefault) {
    if (code != EC_COMPLETE) {
        return S_FALSE;
    }
    CScopedLock lock(m_lock);
    m_isCompleteCollected = isDefault;
    return S_OK;
}

HRESULT CGraphEvents::NotifyComplete(LONG_PTR result, LONG_PTR sender) {
    bool isCollected = false;
    bool isLast = false;
    LONG_PTR collectedResult = S_OK;
    {
        CScopedLock lock(m_lock);
        isCollected = m_isCompleteCollected;
        isLast = CountComplete(result, sender);
        if (isLast) {
            collectedResult = std::exchange(m_completeResult, S_OK);
        }
    }
    HRESULT handed = S_OK;
    if (!isCollected) {
        handed = Hand({EC_COMPLETE, result, sender});
    } else if (isLast) {
        handed = Hand({EC_COMPLETE, collectedResult, 0});
    }
    if (isLast) {
        Finish(EC_COMPLETE);
    }
    return handed;
}

bool CGraphEvents::CountComplete(LONG_PTR result, LONG_PTR sender) {
    const auto renderer = std::find_if(m_renderers.begin(), m_renderers.end(),
                                       [&](const Renderer& each) { return IsFrom(each.sender, sender); });
    if (renderer != m_renderers.end()) {
        renderer->isComplete = true;
    } else if (sender == 0) {
        ++m_completeNameless;
    } else if (!m_renderers.empty()) {
        return false;  // a renderer to which nothing is connected completes at once; the others do not wait for it
    }
    if (FAILED(static_cast<HRESULT>(result)) && m_completeResult == S_OK) {
        m_completeResult = result;
    }
    const auto complete =
        std::count_if(m_renderers.begin(), m_renderers.end(), [](const Renderer& each) { return each.isComplete; });
    if (static_cast<std::size_t>(complete) + m_completeNameless < m_renderers.size()) {
        return false;
    }
    // The next round, for renderers that are flushed and fed again without a stop, begins anew.
    for (Renderer& each : m_renderers) {
        each.isComplete = false;
    }
    m_completeNameless = 0;
    return true;
}

HRESULT CGraphEvents::Hand(const GraphEvent& event) {
    if (m_queue.Push(event)) {
        return S_OK;
    }
    Log(LogLevel::kWarn, "host", "event 0x%x is lost: nobody reads the events", static_cast<unsigned>(event.code));
    return E_FAIL;
}

void CGraphEvents::Finish(LONG code) {
    CScopedLock lock(m_lock);
    if (m_finishCode == 0) {
        m_finishCode = code;
    }
    m_waitIsOver.Set();
}

}  // namespace qrn
