#pragma once
/// The pin of a live source.

#include "framework/CSourceStream.h"

class CLiveSource;

/// Presents itself as a capture pin. Its worker exists from Pause on and makes samples only while the graph runs.
/// A derived pin supplies FillBuffer, GetMediaType and DecideBufferSize.
class CLiveSourceStream : public CSourceStream, public IAMPushSource, public IKsPropertySet {
public:
    DECLARE_IUNKNOWN

    CLiveSourceStream(const wchar_t* objectName, HRESULT* result, CLiveSource* filter, const wchar_t* pinName);

    HRESULT NonDelegatingQueryInterface(REFIID id, void** object) override;

    /// Lets the worker into its buffer loop.
    using CSourceStream::Run;
    HRESULT Run(REFERENCE_TIME start) override;
    /// Makes the worker leave its buffer loop at its next look for a command. Does not wait.
    void HoldBack();

    // IAMPushSource: no offsets. E_NOTIMPL but for the flags, which are 0.
    HRESULT GetLatency(REFERENCE_TIME* latency) override;
    HRESULT GetPushSourceFlags(ULONG* flags) override;
    HRESULT SetPushSourceFlags(ULONG flags) override;
    HRESULT SetStreamOffset(REFERENCE_TIME offset) override;
    HRESULT GetStreamOffset(REFERENCE_TIME* offset) override;
    HRESULT GetMaxStreamOffset(REFERENCE_TIME* offset) override;
    HRESULT SetMaxStreamOffset(REFERENCE_TIME offset) override;

    // IKsPropertySet: the pin's category, to be read. E_PROP_SET_UNSUPPORTED, E_PROP_ID_UNSUPPORTED.
    HRESULT Set(REFGUID set, DWORD id, const void* instance, DWORD instanceBytes, const void* data,
                DWORD dataBytes) override;
    /// With null `data` only the size. E_POINTER for neither of the two, E_UNEXPECTED for less than 16 bytes.
    HRESULT Get(REFGUID set, DWORD id, const void* instance, DWORD instanceBytes, void* data, DWORD dataBytes,
                DWORD* returned) override;
    HRESULT QuerySupported(REFGUID set, DWORD id, DWORD* support) override;

protected:
    bool StreamsWhilePaused() const override { return false; }
};
