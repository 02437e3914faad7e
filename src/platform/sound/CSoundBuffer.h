#pragma once
/// The looping buffer as the playback engine sees it, and the thread that moves it to a sink.

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <vector>

#include "platform/sound/CByteQueue.h"
#include "platform/sound/CLoopingBuffer.h"
#include "platform/sound/DirectSound.h"
#include "platform/sound/ISoundSink.h"
#include "platform/system/Clock.h"
#include "platform/system/Event.h"
#include "platform/system/Lock.h"
#include "platform/system/Thread.h"

namespace qrn {

/// Plays by the clock: the cursor is where the time since Play says, whatever the threads do. Whoever comes in first
/// (a call or the feeder's 10 ms tick) takes what the cursor has passed out of the circle as it stood then, so a late
/// feeder changes nothing of what is heard, only when the sink gets it. A feeder that is late by more than a second
/// loses the oldest of it.
///
/// Lock gives a copy of the circle and Unlock puts the piece written into the circle itself, so the feeder never reads
/// what a caller is writing. Pieces locked at the same time must not overlap.
///
/// Stop never waits for the sink; the last Release does.
class CSoundBuffer final : public IDirectSoundBuffer, public IDirectSoundNotify {
public:
    /// @param sink  open. @param desc  checked. @param clock  outlives the buffer.
    static HRESULT Create(std::unique_ptr<ISoundSink> sink, const SoundFormat& format, const DSBUFFERDESC& desc,
                          IClock& clock, IDirectSoundBuffer** buffer);

    CSoundBuffer(const CSoundBuffer&) = delete;
    CSoundBuffer& operator=(const CSoundBuffer&) = delete;

    HRESULT QueryInterface(REFIID id, void** object) override;
    ULONG AddRef() override;
    ULONG Release() override;

    HRESULT GetCurrentPosition(DWORD* play, DWORD* write) override;
    HRESULT GetStatus(DWORD* status) override;
    HRESULT Lock(DWORD offset, DWORD bytes, void** part1, DWORD* bytes1, void** part2, DWORD* bytes2,
                 DWORD flags) override;
    HRESULT Play(DWORD reserved1, DWORD reserved2, DWORD flags) override;
    HRESULT SetCurrentPosition(DWORD play) override;
    HRESULT Stop() override;
    HRESULT Unlock(void* part1, DWORD bytes1, void* part2, DWORD bytes2) override;
    HRESULT Restore() override;

private:
    CSoundBuffer(std::unique_ptr<ISoundSink> sink, const SoundFormat& format, const DSBUFFERDESC& desc, IClock& clock);
    ~CSoundBuffer();

    void Feed();
    bool FeedSink();
    std::size_t TakePlayed() QRN_EXCLUDES(m_gate);
    void Advance() QRN_REQUIRES(m_gate);
    bool IsPlaying() QRN_EXCLUDES(m_gate);
    bool IsLost() QRN_EXCLUDES(m_gate);
    void SetLost() QRN_EXCLUDES(m_gate);
    bool IsPart(const void* part, DWORD bytes) const;

    const SoundFormat m_format;
    const DWORD m_bufferBytes;
    const bool m_hasNotify;
    const std::size_t m_aheadBytes;  // from the play to the write cursor
    IClock& m_clock;
    std::atomic<ULONG> m_references = 1;

    std::vector<BYTE> m_copy;  // what Lock points into; written by callers only

    // Held while the sink works, since a sink is used by one thread at a time: Restore waits for a write under way.
    // Taken before m_gate.
    CMutex m_sinkGate;
    const std::unique_ptr<ISoundSink> m_sink QRN_PT_GUARDED_BY(m_sinkGate);
    std::chrono::nanoseconds m_nextReopen QRN_GUARDED_BY(m_sinkGate){};

    CMutex m_gate;  // held for copies in memory only
    CLoopingBuffer m_circle QRN_GUARDED_BY(m_gate);
    CByteQueue m_played QRN_GUARDED_BY(m_gate);  // and not yet with the sink
    bool m_lost QRN_GUARDED_BY(m_gate) = false;
    std::uint64_t m_droppedBytes QRN_GUARDED_BY(m_gate) = 0;  // and not yet told of

    std::vector<BYTE> m_piece;  // the feeder's
    std::atomic<bool> m_ending = false;
    CEvent m_wake;
    CThread m_feeder;
};

}  // namespace qrn
