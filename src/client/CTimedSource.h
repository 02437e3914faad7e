#pragma once
/// What the program's own sources have in common: they give each sample at its time, as a device does.

#include "framework/CSource.h"
#include "framework/CSourceStream.h"

namespace qrn {

/// Nothing comes while the graph is paused.
class CTimedSourceFilter : public CSource, public IAMFilterMiscFlags {
public:
    DECLARE_IUNKNOWN

    using CSource::CSource;

    HRESULT NonDelegatingQueryInterface(REFIID id, void** object) override;
    HRESULT GetState(DWORD timeoutMs, FILTER_STATE* state) override;
    ULONG GetMiscFlags() override { return AM_FILTER_MISC_FLAGS_IS_SOURCE; }
};

class CTimedSourcePin : public CSourceStream {
public:
    CTimedSourcePin(const wchar_t* objectName, HRESULT* result, CTimedSourceFilter* filter)
        : CSourceStream(objectName, result, filter, L"Output"),
          m_timedSource(*filter) {}

    HRESULT Run(REFERENCE_TIME /*start*/) override { return CSourceStream::Run(); }

protected:
    bool StreamsWhilePaused() const override { return false; }
    /// Buffers of that size, or E_FAIL.
    static HRESULT AskForBuffers(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* request, LONG bytes);
    /// On the worker; ends with any command to it. @return false when a command came first.
    bool WaitUntil(REFERENCE_TIME streamTime);

private:
    CTimedSourceFilter& m_timedSource;
};

}  // namespace qrn
