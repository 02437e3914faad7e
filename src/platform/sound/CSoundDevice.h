#pragma once
/// A device that plays looping buffers by the clock.

#include <atomic>
#include <string>

#include "platform/sound/DirectSound.h"
#include "platform/sound/ISoundSink.h"
#include "platform/system/Clock.h"

namespace qrn {

/// Makes buffers, each with a sink of its own, so that any number of them play at once. A buffer may outlive it.
class CSoundDevice final : public IDirectSound {
public:
    /// @param clock  outlives the device and its buffers. @return with one reference, for the caller.
    static ComPtr<IDirectSound> Create(SoundSinkMaker makeSink, IClock& clock = SystemClock());

    HRESULT QueryInterface(REFIID id, void** object) override;
    ULONG AddRef() override;
    ULONG Release() override;

    HRESULT CreateSoundBuffer(const DSBUFFERDESC* desc, IDirectSoundBuffer** buffer, IUnknown* outer) override;
    HRESULT SetCooperativeLevel(DirectSoundWindow window, DWORD level) override;

private:
    CSoundDevice(SoundSinkMaker makeSink, IClock& clock);
    ~CSoundDevice() = default;

    const SoundSinkMaker m_makeSink;
    IClock& m_clock;
    std::atomic<ULONG> m_references = 1;
    std::atomic<bool> m_hasLevel = false;
};

}  // namespace qrn
