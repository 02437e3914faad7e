#pragma once
/// A source of live media: silent while the graph is paused.

#include "framework/CSource.h"

/// Its pins are CLiveSourceStreams.
class CLiveSource : public CSource, public IAMFilterMiscFlags {
public:
    DECLARE_IUNKNOWN

    CLiveSource(const wchar_t* name, IUnknown* outer, REFCLSID classId, HRESULT* result = nullptr);

    HRESULT NonDelegatingQueryInterface(REFIID id, void** object) override;

    /// AM_FILTER_MISC_FLAGS_IS_SOURCE
    ULONG GetMiscFlags() override;

    /// VFW_S_CANT_CUE while paused, else S_OK.
    HRESULT GetState(DWORD timeoutMs, FILTER_STATE* state) override;
    /// From Running it also tells the pins' workers to leave their loops, without waiting for them: they may be held up
    /// by a renderer that has been paused before.
    HRESULT Pause() override;
};
