#pragma once
/// The edge between the host's own code, which may throw, and interface methods, which must not.

#include <new>
#include <system_error>
#include <utility>

#include "qrn/com.h"

namespace qrn {

/// Runs `call`, which answers an HRESULT. Out of memory, threads or descriptors become E_OUTOFMEMORY, everything else
/// that is thrown E_FAIL.
template <class Call>
HRESULT AtBoundary(Call&& call) noexcept {
    try {
        return std::forward<Call>(call)();
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    } catch (const std::system_error&) {
        return E_OUTOFMEMORY;
    } catch (...) {
        return E_FAIL;
    }
}

}  // namespace qrn
