#pragma once
/// The renderer filter "QRN Audio Render": the loudspeaker of a receive graph.

#include "audiodevices/CDirectSoundManager.h"
#include "framework/CBaseRenderer.h"
#include "framework/CBaseWindow.h"
#include "platform/system/Lock.h"
#include "qrn/QRN_Media2.h"

/// Hands every sample, at its time, to the playback engine that it is; the engine keeps the delay. Takes 16-bit PCM of
/// 8000, 32000 or 48000 Hz. The upstream filter's buffer size is the engine's block.
///
/// The engine's calls are ordered by the framework, which renders, starts and stops streaming one at a time; GetLatency
/// may come from any thread.
class CAudioRender : public CBaseRenderer, public IQRN_AudioRender, public CBaseWindow, public CDirectSoundManager {
public:
    /// Null with E_OUTOFMEMORY in `result` when there is no memory for it.
    static CUnknown* CreateInstance(IUnknown* outer, HRESULT* result);
    ~CAudioRender() override;
    CAudioRender(const CAudioRender&) = delete;
    CAudioRender& operator=(const CAudioRender&) = delete;

    DECLARE_IUNKNOWN
    HRESULT NonDelegatingQueryInterface(REFIID id, void** object) override;

    // CBaseRenderer, whose Stop is the filter's; the engine has one, too
    using CBaseRenderer::Stop;
    /// An accepted type becomes the engine's format at once: there is no SetMediaType.
    HRESULT CheckMediaType(const CMediaType* type) override;
    /// S_FALSE when there is no allocator or no sound device: the graph goes on without sound.
    HRESULT OnStartStreaming() override;
    HRESULT OnStopStreaming() override;
    /// S_FALSE when the engine was not ready or had to restart.
    HRESULT DoRenderSample(IMediaSample* sample) override;

    // IQRN_AudioRender
    HRESULT GetLatency(LONGLONG* latencyMs) override;
    HRESULT SetMaxLatency(DWORD latencyMs) override;
    HRESULT GetMaxLatency(DWORD* latencyMs) override;
    HRESULT SetDevice(GUID device) override;
    HRESULT GetDevice(GUID* device) override;

protected:
    // CBaseWindow
    const wchar_t* GetClassWindowStyles(DWORD* classStyles, DWORD* windowStyles, DWORD* windowStylesEx) override;

private:
    CAudioRender(IUnknown* outer, HRESULT* result);

    /// The engine's device and format: types are offered and devices chosen on any thread, a run makes the device of
    /// them.
    qrn::CMutex m_setupLock;
};
