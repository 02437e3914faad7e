#pragma once
/// Threads that carry a name, can be joined with a time-out and, as the last resort, ended from outside.

#include <chrono>
#include <functional>
#include <memory>
#include <string>

namespace qrn {

enum class ThreadPriority { kNormal, kAboveNormal };

/// One thread. Start, Join and Kill are called by one controlling thread at a time.
class CThread {
public:
    CThread();
    /// Joins a thread that still runs: whoever owns one makes it end first.
    ~CThread();
    CThread(const CThread&) = delete;
    CThread& operator=(const CThread&) = delete;

    /// The thread takes no signals of the process but those of its own faults, so that the client's handlers run on the
    /// client's threads. An exception that leaves `body` is logged and ends the thread.
    /// @param name  at most 15 characters are shown by debuggers.
    /// @return false when the system has no thread or no memory to give, or one is still held.
    bool Start(const std::string& name, std::function<void()> body);

    bool IsHeld() const;

    /// Whether the caller is the thread that is held.
    bool IsCurrent() const;

    /// Waits for the end and lets the thread go, by the machine's clock. True when none is held.
    /// @return false when the time-out passed first, or at once on the thread itself; the thread is still held.
    bool Join(std::chrono::milliseconds timeout);
    void Join();

    /// Ends a thread that does not end by itself: a real-time signal whose handler jumps to the base of that thread.
    /// Nothing on its stack is destroyed, so this is for threads given up on. The locks (Lock.h) that it took in
    /// guarded calls are given back, others stay locked. Lets the thread go.
    /// @return false when even that did not end it within a second (it is detached then).
    bool Kill();

    /// Whether the last Kill met the thread with locks held, or could not end it: what the locks guard may be half
    /// changed.
    bool LeftLocks() const { return m_leftLocks; }

private:
    struct State;
    bool m_leftLocks = false;
    std::shared_ptr<State> m_state;  // shared with the thread, which outlives this object when a kill fails
};

/// Of the calling thread. A priority that the system does not grant is left as it is.
void SetCurrentThreadName(const std::string& name);
void SetCurrentThreadPriority(ThreadPriority priority);

}  // namespace qrn
