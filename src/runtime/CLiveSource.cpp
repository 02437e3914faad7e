#include "runtime/CLiveSource.h"

#include "runtime/CLiveSourceStream.h"

CLiveSource::CLiveSource(const wchar_t* name, IUnknown* outer, REFCLSID classId, HRESULT* result)
    : CSource(name, outer, classId, result) {}

HRESULT CLiveSource::NonDelegatingQueryInterface(REFIID id, void** object) {
    if (id == IID_IAMFilterMiscFlags) {
        return GetInterface(static_cast<IAMFilterMiscFlags*>(this), object);
    }
    return CSource::NonDelegatingQueryInterface(id, object);
}

ULONG CLiveSource::GetMiscFlags() {
    return AM_FILTER_MISC_FLAGS_IS_SOURCE;
}

HRESULT CLiveSource::GetState(DWORD timeoutMs, FILTER_STATE* state) {
    const HRESULT result = CSource::GetState(timeoutMs, state);
    if (FAILED(result)) {
        return result;
    }
    return *state == State_Paused ? VFW_S_CANT_CUE : S_OK;
}

HRESULT CLiveSource::Pause() {
    CAutoLock lock(&m_cStateLock);
    const bool wasRunning = m_State == State_Running;
    const HRESULT result = CSource::Pause();
    if (FAILED(result) || !wasRunning) {
        return result;
    }
    for (int i = 0; i < GetPinCount(); ++i) {
        if (auto* stream = dynamic_cast<CLiveSourceStream*>(GetPin(i)); stream != nullptr && stream->IsConnected()) {
            stream->HoldBack();
        }
    }
    return S_OK;
}
