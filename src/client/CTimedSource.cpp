#include "client/CTimedSource.h"

#include <algorithm>
#include <chrono>

namespace qrn {
namespace {

constexpr LONG kBuffers = 4;
constexpr REFERENCE_TIME kUnitsPerMs = 10'000;
// A stream clock that stands still must not make a tight loop of the wait.
constexpr std::chrono::milliseconds kShortestWait{1};
constexpr std::chrono::milliseconds kLongestWait{20};

}  // namespace

HRESULT CTimedSourceFilter::NonDelegatingQueryInterface(REFIID id, void** object) {
    if (id == IID_IAMFilterMiscFlags) {
        return GetInterface(static_cast<IAMFilterMiscFlags*>(this), object);
    }
    return CSource::NonDelegatingQueryInterface(id, object);
}

HRESULT CTimedSourceFilter::GetState(DWORD timeoutMs, FILTER_STATE* state) {
    const HRESULT result = CSource::GetState(timeoutMs, state);
    return SUCCEEDED(result) && *state == State_Paused ? VFW_S_CANT_CUE : result;
}

HRESULT CTimedSourcePin::AskForBuffers(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* request, LONG bytes) {
    request->cBuffers = kBuffers;
    request->cbBuffer = bytes;
    ALLOCATOR_PROPERTIES actual{};
    const HRESULT result = allocator->SetProperties(request, &actual);
    if (FAILED(result)) {
        return result;
    }
    return actual.cbBuffer < request->cbBuffer || actual.cBuffers < 1 ? E_FAIL : S_OK;
}

bool CTimedSourcePin::WaitUntil(REFERENCE_TIME streamTime) {
    while (true) {
        DWORD command = 0;
        if (CheckRequest(&command)) {
            return false;
        }
        REFERENCE_TIME now = 0;
        if (m_timedSource.StreamTime(now) != S_OK || now >= streamTime) {
            return true;
        }
        const auto left = std::chrono::milliseconds((streamTime - now + kUnitsPerMs - 1) / kUnitsPerMs);
        WaitForRequest(std::clamp(left, kShortestWait, kLongestWait));
    }
}

}  // namespace qrn
