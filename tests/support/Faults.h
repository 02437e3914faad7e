#pragma once
/// Real processor faults for tests of what catches them. The checks of the undefined-behaviour sanitizer are off here,
/// because they would end the process before the processor sees the fault.

#include <cstdint>

namespace qrn::test {

__attribute__((noinline, no_sanitize("undefined", "address", "thread"))) inline void WriteToNowhere() {
    volatile std::uintptr_t nowhere = 16;
    *reinterpret_cast<volatile int*>(nowhere) = 1;
}

/// Raises SIGFPE on processors whose integer division traps, as the x86 ones do.
__attribute__((noinline, no_sanitize("undefined"))) inline void DivideByZero() {
    volatile int zero = 0;
    volatile int one = 1;
    volatile int result = one / zero;
    static_cast<void>(result);
}

}  // namespace qrn::test
