#include "runtime/CMediaThread.h"

#include <exception>
#include <utility>

#include "platform/system/DebugOutput.h"
#include "platform/system/FaultGuard.h"
#include "platform/system/Log.h"
#include "runtime/DebugLog.h"

CMediaThread::CMediaThread(qrn::IClock& clock, std::string name, std::chrono::milliseconds stopPatience)
    : m_clock(clock),
      m_name(std::move(name)),
      m_stopPatience(stopPatience) {}

CMediaThread::~CMediaThread() {
    CMediaThread::Stop();
}

bool CMediaThread::Start() {
    if (m_running) {
        return true;
    }
    if (m_broken) {
        qrn::Log(qrn::LogLevel::kWarn, "runtime", "thread %s left its object half changed and is not started again",
                 m_name.c_str());
        return false;
    }
    if (m_thread.IsCurrent()) {
        return false;  // a step that was told to stop cannot make a successor of its own thread
    }
    m_thread.Join();  // of an earlier run, which is past its last step
    m_stopEvent.Reset();
    m_running = true;
    if (!m_thread.Start(m_name, [this] { Work(); })) {
        m_running = false;
        return false;
    }
    return true;  // also when the thread has come to its end already
}

bool CMediaThread::Stop() {
    m_running = false;
    m_stopEvent.Set();
    if (!m_thread.IsHeld()) {
        return true;
    }
    if (m_thread.IsCurrent()) {
        return false;
    }
    if (m_thread.Join(m_stopPatience)) {
        return true;
    }
    if (!m_thread.Kill()) {
        qrn::Log(qrn::LogLevel::kWarn, "runtime", "thread %s could not be killed", m_name.c_str());
    }
    if (m_thread.LeftLocks()) {
        m_broken = true;
    }
    qrn::DebugOutput(L"\nWARNING using TerminateThread.\n\n");
    return false;
}

void CMediaThread::Work() {
    if (const auto fault = qrn::RunGuarded([this] { Loop(); })) {
        if (fault->locksHeld > 0) {
            m_broken = true;
        }
        qrn::WriteDebugLog(qrn::kMediaThreadFault, fault->code);
    }
    m_running = false;
}

void CMediaThread::Loop() {
    try {
        while (m_running) {
            Pace();
            if (!m_running || Run() == kStopCode) {
                break;
            }
        }
    } catch (const std::exception& exception) {
        // No fault of the processor's, so it does not go to the debug log.
        qrn::Log(qrn::LogLevel::kWarn, "runtime", "thread %s ended by an exception: %s", m_name.c_str(),
                 exception.what());
    }
}

void CMediaThread::Pace() {
    if (m_period == 0) {
        return;
    }
    const std::uint32_t now = qrn::TimeMs(m_clock);
    if (m_nextTick == 0) {
        m_nextTick = now;
        return;
    }
    m_nextTick += m_period;
    const auto untilTick = static_cast<std::int32_t>(m_nextTick - now);
    if (untilTick > 0 && static_cast<std::uint32_t>(untilTick) <= m_period) {
        m_stopEvent.Wait(m_clock, std::chrono::milliseconds(untilTick));
    } else {
        m_nextTick = now;  // the schedule slipped or the clock jumped; missed ticks are not made up
    }
}
