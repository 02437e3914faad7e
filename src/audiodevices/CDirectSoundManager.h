#pragma once
/// Plays a stream of equal PCM blocks through one looping sound buffer, and keeps its delay in a band.

#include <atomic>
#include <cstdint>
#include <memory>

#include "platform/sound/DirectSound.h"
#include "platform/system/Lock.h"
#include "qrn/com.h"

/// A base of the audio renderer, which gives it device, format, block size and window. It has no thread and no timer:
/// all of its delay control happens in Write, so the arrival of data paces it.
///
/// Write, Create, Start and Stop are called by one thread at a time (the renderer's locks see to it). Only the delay is
/// read by others.
class CDirectSoundManager {
public:
    CDirectSoundManager() = default;
    ~CDirectSoundManager();
    CDirectSoundManager(const CDirectSoundManager&) = delete;
    CDirectSoundManager& operator=(const CDirectSoundManager&) = delete;

    /// Opens the device and makes a silent buffer of six blocks. Once made it stays, whatever is set afterwards.
    /// @return 0; 1 without a window or a block size; E_INVALIDARG for a format or size nothing can be computed from;
    /// else the failure of DirectSound.
    HRESULT Create();

    /// Rewinds and plays; the first block goes two blocks ahead of the cursor. @return 0 or the failure of Play.
    HRESULT Start();

    /// Stops and silences. @return 0.
    HRESULT Stop();

    /// Puts one block where it is heard one to five blocks and at most 240 ms from now, or drops it. Allocates nothing
    /// and waits for nothing but in a restart.
    /// @return 0 when the block was dealt with, 1 when the engine was not ready or had to restart.
    HRESULT Write(const BYTE* data, DWORD length) QRN_EXCLUDES(m_lock);

protected:
    /// The distance between write offset and play cursor at the last write. Any thread.
    LONGLONG LatencyMs() QRN_EXCLUDES(m_lock);

    GUID m_device = GUID_NULL;  // all zeros: the default device
    DWORD m_channels = 1;
    DWORD m_samplesPerSec = 0;
    DWORD m_writeOffset = 0;  // where the next block goes
    DirectSoundWindow m_window = 0;
    DWORD m_blockBytes = 0;
    DWORD m_bufferBytes = 0;
    std::atomic<DWORD> m_maxLatencyMs{240};  // kept for whoever set it; Write has its own constant, and that is meant
    DWORD m_blockMs = 80;
    qrn::ComPtr<IDirectSound> m_directSound;
    qrn::ComPtr<IDirectSoundBuffer> m_buffer;
    qrn::ComPtr<IDirectSoundNotify> m_notify;  // held, and never given any positions
    std::unique_ptr<BYTE[]> m_scratch;
    bool m_created = false;
    bool m_playing = false;
    LONGLONG m_latencyMs QRN_GUARDED_BY(m_lock) = 0;
    DWORD m_bytesPerMs = 0;
    DWORD m_lastPlayCursor = 0xFFFFFFFF;
    /// Guards the delay, which others read. Resynchronising m_writeOffset happens under it too, so that both change at
    /// once.
    qrn::CMutex m_lock;

private:
    bool ComputeGeometry();
    HRESULT OpenDevice();
    HRESULT CreateBuffer();
    HRESULT Silence();
    void Restart();
    void ReviveBuffer();
    bool AdjustLatency(DWORD play, DWORD write) QRN_EXCLUDES(m_lock);
    void PlaceBlock(const BYTE* data, DWORD length);
};
