#include "platform/sound/CSoundDevice.h"

#include <new>
#include <utility>

#include "platform/sound/CSoundBuffer.h"
#include "platform/system/Log.h"

namespace qrn {

namespace {

constexpr DWORD kKnownFlags =
    DSBCAPS_CTRLPAN | DSBCAPS_CTRLPOSITIONNOTIFY | DSBCAPS_GLOBALFOCUS | DSBCAPS_GETCURRENTPOSITION2;
// The range of secondary buffers.
constexpr DWORD kLowestRate = 100;
constexpr DWORD kHighestRate = 200000;

HRESULT CheckDesc(const DSBUFFERDESC& desc) {
    const bool wellFormed = desc.dwSize == kDirectSoundDescBytes && desc.dwReserved == 0 &&
                            (desc.dwFlags & ~kKnownFlags) == 0 && desc.lpwfxFormat != nullptr &&
                            desc.dwBufferBytes >= DSBSIZE_MIN && desc.dwBufferBytes <= DSBSIZE_MAX;
    return wellFormed ? DS_OK : E_INVALIDARG;
}

/// No sink has more, and a second of sound of every channel is kept.
constexpr WORD kMostChannels = 255;

HRESULT CheckFormat(const WAVEFORMATEX& format) {
    const bool playable = format.wFormatTag == WAVE_FORMAT_PCM && format.wBitsPerSample == 16 && format.nChannels > 0 &&
                          format.nChannels <= kMostChannels && format.nBlockAlign == format.nChannels * 2 &&
                          format.nSamplesPerSec >= kLowestRate && format.nSamplesPerSec <= kHighestRate;
    return playable ? DS_OK : DSERR_BADFORMAT;
}

}  // namespace

ComPtr<IDirectSound> CSoundDevice::Create(SoundSinkMaker makeSink, IClock& clock) {
    return ComPtr<IDirectSound>::Adopt(new CSoundDevice(std::move(makeSink), clock));
}

CSoundDevice::CSoundDevice(SoundSinkMaker makeSink, IClock& clock) : m_makeSink(std::move(makeSink)), m_clock(clock) {}

HRESULT CSoundDevice::QueryInterface(REFIID id, void** object) {
    if (object == nullptr) {
        return E_POINTER;
    }
    if (id != IID_IUnknown && id != IID_IDirectSound) {
        *object = nullptr;
        return E_NOINTERFACE;
    }
    *object = static_cast<IDirectSound*>(this);
    AddRef();
    return S_OK;
}

ULONG CSoundDevice::AddRef() {
    return ++m_references;
}

ULONG CSoundDevice::Release() {
    const ULONG left = --m_references;
    if (left == 0) {
        delete this;
    }
    return left;
}

HRESULT CSoundDevice::CreateSoundBuffer(const DSBUFFERDESC* desc, IDirectSoundBuffer** buffer, IUnknown* outer) {
    if (desc == nullptr || buffer == nullptr) {
        return E_INVALIDARG;
    }
    *buffer = nullptr;
    if (outer != nullptr) {
        return CLASS_E_NOAGGREGATION;
    }
    if (!m_hasLevel) {
        return DSERR_PRIOLEVELNEEDED;
    }
    HRESULT result = CheckDesc(*desc);
    if (SUCCEEDED(result)) {
        result = CheckFormat(*desc->lpwfxFormat);
    }
    if (FAILED(result)) {
        return result;
    }
    const SoundFormat format{desc->lpwfxFormat->nSamplesPerSec, desc->lpwfxFormat->nChannels};
    try {
        auto sink = m_makeSink();
        if (const auto reason = sink->Open(format)) {
            Log(LogLevel::kWarn, "sound", "the device does not open with %u Hz and %u channels: %s",
                format.samplesPerSec, unsigned{format.channels}, reason->c_str());
            return DSERR_NODRIVER;
        }
        return CSoundBuffer::Create(std::move(sink), format, *desc, m_clock, buffer);
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    } catch (const std::exception& failure) {
        Log(LogLevel::kWarn, "sound", "no buffer: %s", failure.what());
        return E_FAIL;
    }
}

HRESULT CSoundDevice::SetCooperativeLevel(DirectSoundWindow window, DWORD level) {
    if (window == 0 || level != DSSCL_PRIORITY) {
        return E_INVALIDARG;
    }
    m_hasLevel = true;
    return DS_OK;
}

}  // namespace qrn
