#pragma once
/// The edge between code that may throw and interface methods, which must not.

#include <new>
#include <utility>

#include "framework/CUnknown.h"
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

/// The body of a creation function. @return null, with a failure in `result`, when `make` throws.
template <class Make>
CUnknown* CreateWithoutExceptions(HRESULT* result, Make&& make) noexcept {
    CUnknown* object = nullptr;
    const HRESULT made = AnswerFor([&] {
        object = make();
        return S_OK;
    });
    if (FAILED(made) && result != nullptr) {
        *result = made;
    }
    return object;
}

}  // namespace qrn
