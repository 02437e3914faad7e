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
};

/// Runs `call(context)`. A fault inside it ends the call at once: destructors between here and the fault do not run and
/// locks taken there stay taken, so guard only calls that own nothing. Outside a guarded call the signal takes its
/// previous course; so does one that another process sends. May be nested. Any thread. Under sanitizers the guard
/// catches real faults as well. C++ exceptions pass through.
std::optional<Fault> RunGuarded(void (*call)(void*), void* context);

template <class Call>
std::optional<Fault> RunGuarded(Call&& call) {
    auto* target = std::addressof(call);
    return RunGuarded([](void* context) { (**static_cast<decltype(target)*>(context))(); },
                      static_cast<void*>(std::addressof(target)));
}

/// For a thread whose guarded calls were left by a jump to its base: forgets them all.
void AbandonGuards();

}  // namespace qrn
