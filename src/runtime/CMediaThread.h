#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <string>

#include "platform/system/Clock.h"
#include "platform/system/Event.h"
#include "platform/system/Thread.h"

/// The one way the module runs a loop of its own: a derived class supplies one step of work.
///
/// Start and Stop are called by one controlling thread at a time. A fault in a step ends the thread and leaves one line
/// in the debug log; one that came with locks held breaks the object (IsBroken). A derived class stops the thread in
/// its own destructor, while its data still stands.
class CMediaThread {
public:
    /// What Run returns to end the loop.
    static constexpr int kStopCode = 240;

    /// One step of work, on the thread. @return kStopCode to end the loop; any other code means go on.
    virtual int Run() = 0;

    virtual ~CMediaThread();

    /// @return whether there is a thread: the one that runs already or a new one. One that ended by itself starts anew.
    /// Refused, with false, once the object is broken.
    virtual bool Start();

    /// Ends the thread: it is given 5 seconds and then killed. A step that waits is woken by its owner before, or waits
    /// for StopEvent as well.
    /// @return whether it ended by itself, also when there was none; false on the thread itself, which only stops
    /// looping.
    virtual bool Stop();

    /// A step ended by a fault, or by being killed, while it held locks. Nobody waits for them any more, but what they
    /// guard may be half changed. The owner uses nothing of the object on, except to stop and destroy it, and makes a
    /// new one. Any thread.
    bool IsBroken() const { return m_broken; }

    CMediaThread(const CMediaThread&) = delete;
    CMediaThread& operator=(const CMediaThread&) = delete;

protected:
    static constexpr std::chrono::milliseconds kStopPatience{5000};

    /// @param clock        paces the steps
    /// @param name         of the thread, for debuggers; at most 15 characters show
    /// @param stopPatience how long Stop waits, by the machine's clock, before it kills the thread
    /// @throws std::system_error when the process has no descriptor left.
    explicit CMediaThread(qrn::IClock& clock = qrn::SystemClock(), std::string name = "qrn-worker",
                          std::chrono::milliseconds stopPatience = kStopPatience);

    bool IsRunning() const { return m_running; }

    /// Set from a Stop until the next Start, for steps that wait.
    qrn::CEvent& StopEvent() { return m_stopEvent; }

    qrn::IClock& Clock() const { return m_clock; }

    std::atomic<bool> m_running{false};  ///< the loop may go on
    std::uint32_t m_nextTick = 0;        ///< time of the next step in the clock's milliseconds; 0: not yet started
    std::uint32_t m_period = 0;          ///< pacing period in milliseconds; 0: no pacing; set before Start
    qrn::CThread m_thread;

private:
    void Work();
    void Loop();
    void Pace();

    std::atomic<bool> m_broken{false};
    qrn::IClock& m_clock;
    const std::string m_name;
    const std::chrono::milliseconds m_stopPatience;
    qrn::CEvent m_stopEvent{qrn::EventReset::kManual};
};
