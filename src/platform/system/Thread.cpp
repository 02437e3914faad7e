#include "platform/system/Thread.h"

#include <cxxabi.h>
#include <pthread.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <csetjmp>
#include <csignal>
#include <exception>
#include <new>
#include <utility>

#include "platform/system/Clock.h"
#include "platform/system/Condition.h"
#include "platform/system/FaultGuard.h"
#include "platform/system/Lock.h"
#include "platform/system/Log.h"

namespace qrn {
namespace {

constexpr std::chrono::seconds kKillPatience(1);
constexpr std::chrono::milliseconds kKillRepeat(50);

/// Where the kill signal takes the thread; null outside the body of one of our threads.
thread_local sigjmp_buf* volatile t_base = nullptr;

/// The state of the CThread that the thread belongs to; only compared, never looked into.
thread_local const void* t_state = nullptr;

void OnKillSignal(int) {
    if (sigjmp_buf* const base = t_base) {
        t_base = nullptr;
        siglongjmp(*base, 1);
    }
}

/// The last real-time signal that nobody uses, so that several copies of the library in one process each find their
/// own. 0 when there is none.
int ClaimKillSignal() {
    for (int signal = SIGRTMAX; signal >= SIGRTMIN; --signal) {
        struct sigaction present {};
        if (sigaction(signal, nullptr, &present) != 0 || (present.sa_flags & SA_SIGINFO) != 0 ||
            present.sa_handler != SIG_DFL) {
            continue;
        }
        struct sigaction ours {};
        ours.sa_handler = OnKillSignal;
        ours.sa_flags = SA_ONSTACK;
        sigemptyset(&ours.sa_mask);
        if (sigaction(signal, &ours, nullptr) == 0) {
            return signal;
        }
    }
    return 0;
}

/// Claimed for as long as the library is loaded; a library that is loaded again and again must not use them all up.
class CKillSignal {
public:
    CKillSignal() : m_signal(ClaimKillSignal()) {}
    ~CKillSignal() {
        if (m_signal != 0) {
            struct sigaction byDefault {};
            byDefault.sa_handler = SIG_DFL;
            sigaction(m_signal, &byDefault, nullptr);
        }
    }
    CKillSignal(const CKillSignal&) = delete;
    CKillSignal& operator=(const CKillSignal&) = delete;

    int Number() const { return m_signal; }

private:
    const int m_signal;
};

int KillSignal() {
    static const CKillSignal signal;
    return signal.Number();
}

/// All signals but the ones that a thread causes itself, and the one that ends it.
sigset_t BlockedSignals() {
    sigset_t blocked;
    sigfillset(&blocked);
    for (const int signal : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGABRT, SIGPROF, KillSignal()}) {
        if (signal != 0) {
            sigdelset(&blocked, signal);
        }
    }
    return blocked;
}

}  // namespace

struct CThread::State {
    std::string name;
    std::function<void()> body;
    pthread_t thread{};
    std::atomic<bool> leftLocks{false};  // set before the end of a thread that was killed
    CMutex gate;
    CCondition ended;
    bool hasEnded QRN_GUARDED_BY(gate) = false;

    void TellEnd() QRN_EXCLUDES(gate) {
        CScopedLock lock(gate);
        hasEnded = true;
        ended.NotifyAll();
    }

    bool WaitForEnd(std::chrono::nanoseconds timeout) QRN_EXCLUDES(gate) {
        const IClock& clock = SystemClock();
        const auto start = clock.Now();
        CScopedLock lock(gate);
        while (!hasEnded) {
            const auto left = timeout - (clock.Now() - start);
            if (left <= std::chrono::nanoseconds::zero()) {
                return false;
            }
            ended.WaitFor(gate, left);
        }
        return true;
    }

    void RunBody() const;
    static void* Enter(void* argument);
};

void CThread::State::RunBody() const {
    try {
        body();
    } catch (abi::__forced_unwind&) {
        throw;  // pthread_exit on its way to the end of the thread
    } catch (const std::exception& exception) {
        Log(LogLevel::kWarn, "system", "thread %s ended by an exception: %s", name.c_str(), exception.what());
    } catch (...) {
        Log(LogLevel::kWarn, "system", "thread %s ended by an exception", name.c_str());
    }
}

void* CThread::State::Enter(void* argument) {
    // Everything that needs an end of its own stands before the jump target, so that the jump leaves it whole.
    const std::unique_ptr<std::shared_ptr<State>> held(static_cast<std::shared_ptr<State>*>(argument));
    State& state = **held;
    t_state = &state;
    SetCurrentThreadName(state.name);
    sigjmp_buf base;
    if (sigsetjmp(base, 1) == 0) {
        t_base = &base;
        state.RunBody();
    } else {
        state.leftLocks = AbandonGuards() != 0;
    }
    t_base = nullptr;
    state.TellEnd();
    return nullptr;
}

CThread::CThread() = default;

CThread::~CThread() {
    Join();
}

bool CThread::Start(const std::string& name, std::function<void()> body) {
    if (m_state) {
        return false;
    }
    std::shared_ptr<State> state;
    std::unique_ptr<std::shared_ptr<State>> argument;
    try {
        state = std::make_shared<State>();
        state->name = name;
        state->body = std::move(body);
        argument = std::make_unique<std::shared_ptr<State>>(state);
    } catch (const std::bad_alloc&) {
        return false;
    }

    const sigset_t blocked = BlockedSignals();
    sigset_t callers;
    pthread_sigmask(SIG_SETMASK, &blocked, &callers);
    m_state = std::move(state);  // before the thread runs, which may ask IsCurrent
    const bool started = pthread_create(&m_state->thread, nullptr, State::Enter, argument.get()) == 0;
    pthread_sigmask(SIG_SETMASK, &callers, nullptr);
    if (started) {
        static_cast<void>(argument.release());  // the thread's own from here on
    } else {
        m_state.reset();
    }
    return started;
}

bool CThread::IsHeld() const {
    return m_state != nullptr;
}

bool CThread::IsCurrent() const {
    return m_state && t_state == m_state.get();
}

bool CThread::Join(std::chrono::milliseconds timeout) {
    if (!m_state) {
        return true;
    }
    if (IsCurrent() || !m_state->WaitForEnd(timeout)) {
        return false;
    }
    pthread_join(m_state->thread, nullptr);
    m_state.reset();
    return true;
}

void CThread::Join() {
    constexpr auto kForEver = std::chrono::hours(24 * 365);
    Join(kForEver);
}

bool CThread::Kill() {
    if (!m_state) {
        return true;
    }
    const IClock& clock = SystemClock();
    const auto start = clock.Now();
    const int signal = KillSignal();
    while (signal != 0 && clock.Now() - start < kKillPatience) {
        // Again and again: a signal that comes before the thread has set its base, or while it blocks it, is lost.
        pthread_kill(m_state->thread, signal);
        const std::shared_ptr<const State> state = m_state;
        if (Join(kKillRepeat)) {
            m_leftLocks = state->leftLocks;
            return true;
        }
    }
    pthread_detach(m_state->thread);
    m_state.reset();
    m_leftLocks = true;
    return false;
}

void SetCurrentThreadName(const std::string& name) {
    constexpr std::size_t kShownCharacters = 15;
    pthread_setname_np(pthread_self(), name.substr(0, kShownCharacters).c_str());
}

void SetCurrentThreadPriority(ThreadPriority priority) {
    constexpr int kNiceAboveNormal = -5;
    // On Linux the nice value belongs to the thread, not to the process as POSIX has it.
    setpriority(PRIO_PROCESS, static_cast<id_t>(gettid()),
                priority == ThreadPriority::kAboveNormal ? kNiceAboveNormal : 0);
}

}  // namespace qrn
