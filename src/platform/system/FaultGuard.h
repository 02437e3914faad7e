#pragma once
/// Catches processor-level faults (SIGSEGV, SIGBUS, SIGFPE, SIGILL) inside one call on one thread.

#include <cstdint>
#include <memory>
#include <optional>

namespace qrn {

/// The signal as the exception code that a debug log shows: 0xC0000005 access violation (SIGSEGV, SIGBUS),
/// 0xC000001D illegal instruction, 0xC0000094 integer division by zero, 0xC000008E floating division by zero, and for
/// the other arithmetic faults the code that the Windows NTSTATUS list has for each.
struct Fault {
    std::uint32_t code;
    /// How many locks (Lock.h) the call had taken and still held. They have been given back, so that nobody waits for
    /// them for ever, but what they guard may be half changed: do not use it on.
    std::uint32_t locksHeld;
};

/// Runs `call(context)`. A fault inside it ends the call at once: destructors between here and the fault do not run, so
/// what the call owned is lost; of its locks see Fault. Outside a guarded call the signal takes its
/// previous course; so does one that another process sends. May be nested. Any thread. Under sanitizers the guard
/// catches real faults as well. C++ exceptions pass through.
std::optional<Fault> RunGuarded(void (*call)(void*), void* context);

template <class Call>
std::optional<Fault> RunGuarded(Call&& call) {
    auto* target = std::addressof(call);
    return RunGuarded([](void* context) { (**static_cast<decltype(target)*>(context))(); },
                      static_cast<void*>(std::addressof(target)));
}

/// For a thread whose guarded calls were left by a jump to its base: forgets them all and gives back the locks that
/// they held. @return how many those were.
std::uint32_t AbandonGuards();

}  // namespace qrn
