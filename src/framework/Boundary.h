#pragma once
/// The edge between code that may throw and interface methods, which must not.

#include <new>
#include <utility>

#include "qrn/com.h"

namespace qrn {

/// Runs `call`, which answers an HRESULT. Out of memory becomes E_OUTOFMEMORY, everything else that is thrown
/// E_FAIL.
template <class Call>
HRESULT AnswerFor(Call&& call) noexcept {
    try {
        return std::forward<Call>(call)();
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    } catch (...) {
        return E_FAIL;
    }
}

}  // namespace qrn
