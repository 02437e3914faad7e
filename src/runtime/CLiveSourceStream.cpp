#include "runtime/CLiveSourceStream.h"

#include <cstring>

#include "runtime/CLiveSource.h"

namespace {

HRESULT CheckProperty(const GUID& set, DWORD id) {
    if (set != AMPROPSETID_Pin) {
        return E_PROP_SET_UNSUPPORTED;
    }
    return id == AMPROPERTY_PIN_CATEGORY ? S_OK : E_PROP_ID_UNSUPPORTED;
}

}  // namespace

CLiveSourceStream::CLiveSourceStream(const wchar_t* objectName, HRESULT* result, CLiveSource* filter,
                                     const wchar_t* pinName)
    : CSourceStream(objectName, result, filter, pinName) {}

HRESULT CLiveSourceStream::NonDelegatingQueryInterface(REFIID id, void** object) {
    if (id == IID_IAMPushSource || id == IID_IAMLatency) {
        return GetInterface(static_cast<IAMPushSource*>(this), object);
    }
    if (id == IID_IKsPropertySet) {
        return GetInterface(static_cast<IKsPropertySet*>(this), object);
    }
    return CSourceStream::NonDelegatingQueryInterface(id, object);
}

HRESULT CLiveSourceStream::Run(REFERENCE_TIME /*start*/) {
    if (IsLooping()) {
        // Paused a moment ago and still held up by the filters after this one, which may run only after it: waiting for
        // the answer would stop the graph from running.
        PostWorker(CMD_RUN);
        return S_OK;
    }
    return static_cast<HRESULT>(CallWorker(CMD_RUN));
}

void CLiveSourceStream::HoldBack() {
    PostWorker(CMD_PAUSE);
}

HRESULT CLiveSourceStream::GetLatency(REFERENCE_TIME* /*latency*/) {
    return E_NOTIMPL;
}

HRESULT CLiveSourceStream::GetPushSourceFlags(ULONG* flags) {
    if (flags == nullptr) {
        return E_POINTER;
    }
    *flags = 0;
    return S_OK;
}

HRESULT CLiveSourceStream::SetPushSourceFlags(ULONG /*flags*/) {
    return E_NOTIMPL;
}

HRESULT CLiveSourceStream::SetStreamOffset(REFERENCE_TIME /*offset*/) {
    return E_NOTIMPL;
}

HRESULT CLiveSourceStream::GetStreamOffset(REFERENCE_TIME* /*offset*/) {
    return E_NOTIMPL;
}

HRESULT CLiveSourceStream::GetMaxStreamOffset(REFERENCE_TIME* /*offset*/) {
    return E_NOTIMPL;
}

HRESULT CLiveSourceStream::SetMaxStreamOffset(REFERENCE_TIME /*offset*/) {
    return E_NOTIMPL;
}

HRESULT CLiveSourceStream::Set(REFGUID /*set*/, DWORD /*id*/, const void* /*instance*/, DWORD /*instanceBytes*/,
                               const void* /*data*/, DWORD /*dataBytes*/) {
    return E_NOTIMPL;
}

HRESULT CLiveSourceStream::Get(REFGUID set, DWORD id, const void* /*instance*/, DWORD /*instanceBytes*/, void* data,
                               DWORD dataBytes, DWORD* returned) {
    const HRESULT result = CheckProperty(set, id);
    if (FAILED(result)) {
        return result;
    }
    if (data == nullptr && returned == nullptr) {
        return E_POINTER;
    }
    if (returned != nullptr) {
        *returned = sizeof(GUID);
    }
    if (data == nullptr) {
        return S_OK;
    }
    if (dataBytes < sizeof(GUID)) {
        return E_UNEXPECTED;
    }
    std::memcpy(data, &PIN_CATEGORY_CAPTURE, sizeof(GUID));
    return S_OK;
}

HRESULT CLiveSourceStream::QuerySupported(REFGUID set, DWORD id, DWORD* support) {
    const HRESULT result = CheckProperty(set, id);
    if (SUCCEEDED(result) && support != nullptr) {
        *support = KSPROPERTY_SUPPORT_GET;
    }
    return result;
}
