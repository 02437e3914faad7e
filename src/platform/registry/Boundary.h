#pragma once
/// The edge between the registry's own code, which may run out of memory, and interface methods, which must not throw.

#include <new>
#include <utility>

#include "platform/registry/RegistryErrors.h"

namespace qrn {

/// Runs `call`, which answers an error code, and answers its result code.
template <class Call>
HRESULT AtRegistryBoundary(Call&& call) noexcept {
    try {
        return ResultOf(std::forward<Call>(call)());
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    } catch (...) {
        return E_FAIL;
    }
}

}  // namespace qrn
