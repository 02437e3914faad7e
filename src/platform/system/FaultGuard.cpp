#include "platform/system/FaultGuard.h"

#include <sys/mman.h>
#include <unistd.h>

#include <array>
#include <cfenv>
#include <csetjmp>
#include <csignal>

#include "platform/system/HeldLocks.h"

namespace qrn {
namespace {

constexpr std::array kFaultSignals = {SIGSEGV, SIGBUS, SIGFPE, SIGILL};

struct GuardFrame {
    sigjmp_buf base;
    volatile std::uint32_t code;
    std::fenv_t arithmetic;
};

/// The innermost guarded call of the thread.
thread_local GuardFrame* volatile t_innermost = nullptr;

std::array<struct sigaction, kFaultSignals.size()> g_previous;

std::uint32_t CodeOfArithmeticFault(int reason) {
    switch (reason) {
        case FPE_INTOVF:
            return 0xC0000095;
        case FPE_FLTDIV:
            return 0xC000008E;
        case FPE_FLTRES:
            return 0xC000008F;
        case FPE_FLTINV:
            return 0xC0000090;
        case FPE_FLTOVF:
            return 0xC0000091;
        case FPE_FLTUND:
            return 0xC0000093;
        default:
            return 0xC0000094;
    }
}

std::uint32_t CodeOf(int signal, int reason) {
    switch (signal) {
        case SIGFPE:
            return CodeOfArithmeticFault(reason);
        case SIGILL:
            return 0xC000001D;
        default:
            return 0xC0000005;
    }
}

/// The kernel's own report, or raise() inside the call; not a signal that somebody sends from outside.
bool IsOfThisThread(const siginfo_t& info) {
    return info.si_code > 0 || (info.si_code == SI_TKILL && info.si_pid == getpid());
}

/// Without a handler the faulting instruction runs again when the handler returns and ends the process as it would have
/// without us; a signal that was sent has to be sent again.
void TakeDefaultCourse(int signal, const siginfo_t& info) {
    struct sigaction byDefault {};
    byDefault.sa_handler = SIG_DFL;
    sigaction(signal, &byDefault, nullptr);
    if (info.si_code <= 0) {
        raise(signal);
    }
}

void TakePreviousCourse(int signal, siginfo_t* info, void* context) {
    for (std::size_t i = 0; i < kFaultSignals.size(); ++i) {
        if (kFaultSignals[i] != signal) {
            continue;
        }
        const struct sigaction& previous = g_previous[i];
        if ((previous.sa_flags & SA_SIGINFO) != 0) {
            previous.sa_sigaction(signal, info, context);
        } else if (previous.sa_handler == SIG_DFL || (previous.sa_handler == SIG_IGN && info->si_code > 0)) {
            TakeDefaultCourse(signal, *info);  // the kernel lets nobody ignore a fault either
        } else if (previous.sa_handler != SIG_IGN) {
            previous.sa_handler(signal);
        }
    }
}

void OnFault(int signal, siginfo_t* info, void* context) {
    GuardFrame* const frame = t_innermost;
    if (frame == nullptr || !IsOfThisThread(*info)) {
        TakePreviousCourse(signal, info, context);
        return;
    }
    frame->code = CodeOf(signal, info->si_code);
    siglongjmp(frame->base, 1);
}

/// The handlers, from the first guarded call until the library is unloaded: a handler that stayed behind would stand in
/// memory that is gone.
class CHandlers {
public:
    CHandlers() {
        struct sigaction ours {};
        ours.sa_sigaction = OnFault;
        ours.sa_flags = SA_SIGINFO | SA_ONSTACK;
        sigemptyset(&ours.sa_mask);
        for (std::size_t i = 0; i < kFaultSignals.size(); ++i) {
            sigaction(kFaultSignals[i], nullptr, &g_previous[i]);
            sigaction(kFaultSignals[i], &ours, nullptr);
        }
    }

    ~CHandlers() {
        for (std::size_t i = 0; i < kFaultSignals.size(); ++i) {
            struct sigaction present {};
            // Somebody who came later may have put a handler over ours; then that one stays.
            if (sigaction(kFaultSignals[i], nullptr, &present) == 0 && (present.sa_flags & SA_SIGINFO) != 0 &&
                present.sa_sigaction == OnFault) {
                sigaction(kFaultSignals[i], &g_previous[i], nullptr);
            }
        }
    }

    CHandlers(const CHandlers&) = delete;
    CHandlers& operator=(const CHandlers&) = delete;
};

/// A stack of its own for the handler, because a fault may mean that the thread's stack is used up. A thread that has
/// one already, from its program or a sanitizer, keeps it.
class CHandlerStack {
public:
    CHandlerStack() {
        stack_t present{};
        if (sigaltstack(nullptr, &present) != 0 || (present.ss_flags & SS_DISABLE) == 0) {
            return;
        }
        void* memory = mmap(nullptr, kBytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (memory == MAP_FAILED) {
            return;  // then only the faults that leave room on the thread's stack are caught
        }
        stack_t ours{};
        ours.ss_sp = memory;
        ours.ss_size = kBytes;
        if (sigaltstack(&ours, nullptr) == 0) {
            m_memory = memory;
        } else {
            munmap(memory, kBytes);
        }
    }

    ~CHandlerStack() {
        if (m_memory == nullptr) {
            return;
        }
        stack_t present{};
        if (sigaltstack(nullptr, &present) == 0 && present.ss_sp == m_memory) {
            stack_t none{};
            none.ss_flags = SS_DISABLE;
            sigaltstack(&none, nullptr);
        }
        munmap(m_memory, kBytes);
    }

    CHandlerStack(const CHandlerStack&) = delete;
    CHandlerStack& operator=(const CHandlerStack&) = delete;

private:
    static constexpr std::size_t kBytes = 64 * 1024;

    void* m_memory = nullptr;
};

void Prepare() {
    static const CHandlers handlers;
    static_cast<void>(&handlers);
    static thread_local CHandlerStack stack;
    static_cast<void>(&stack);  // makes it, where it is the thread's first guarded call
}

/// Makes a frame the innermost one for its scope, which an exception may leave too.
class CFrameScope {
public:
    explicit CFrameScope(GuardFrame& frame) : m_outer(t_innermost), m_number(++t_heldLocks.guards) {
        t_innermost = &frame;
    }
    ~CFrameScope() {
        t_innermost = m_outer;
        LeaveGuard(m_number);
    }
    CFrameScope(const CFrameScope&) = delete;
    CFrameScope& operator=(const CFrameScope&) = delete;

    /// 1 for the outermost guarded call of the thread.
    std::uint32_t Number() const { return m_number; }

private:
    GuardFrame* const m_outer;
    const std::uint32_t m_number;
};

}  // namespace

std::optional<Fault> RunGuarded(void (*call)(void*), void* context) {
    Prepare();
    GuardFrame frame;
    frame.code = 0;
    std::fegetenv(&frame.arithmetic);
    const CFrameScope scope(frame);
    if (sigsetjmp(frame.base, 1) == 0) {
        call(context);
        return std::nullopt;
    }
    // A handler starts with all arithmetic exceptions masked, and the jump out of it does not bring the mask back.
    std::fesetenv(&frame.arithmetic);
    return Fault{frame.code, GiveBackLocks(scope.Number(), &frame)};
}

std::uint32_t AbandonGuards() {
    t_innermost = nullptr;
    t_heldLocks.guards = 0;
    return GiveBackLocks(1, __builtin_frame_address(0));
}

}  // namespace qrn
