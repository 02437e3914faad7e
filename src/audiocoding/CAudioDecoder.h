#pragma once
/// The bytes of one packet of one channel into 16-bit mono PCM.

#include <cstdint>
#include <memory>

#include "audiocoding/AudioCodecTable.h"
#include "runtime/CQRN_AVCodec_MutexAutoLock.h"

/// The mirror of CAudioEncoder. Has no concealment: no packet, no call; its filter fills a gap with silence. Belongs to
/// its filter's streaming thread; no operation takes a lock.
class CAudioDecoder {
public:
    /// Opens the codec; one that cannot open leaves GetCodec() at 6, and nothing is thrown for it.
    /// @param bitrate  kilobits per second as the encoder was asked: it selects the frame size of some codecs.
    CAudioDecoder(int codec, int bitrate);
    virtual ~CAudioDecoder();
    CAudioDecoder(const CAudioDecoder&) = delete;
    CAudioDecoder& operator=(const CAudioDecoder&) = delete;

    /// @param data  any bytes; `length` need not be whole frames, what is missing counts as zero. Below 1 nothing is
    /// done, except that Opus conceals a whole `maxBytes` of PCM for a length of 0.
    /// @param maxBytes  the room at `pcm`, which is never exceeded: PCM that does not fit is left out.
    /// @return bytes written; 0 when none or the codec faulted; -1 when no codec is open; twice the library's error
    /// code for an Opus packet that it refuses.
    int Decode(const std::uint8_t* data, int length, std::int16_t* pcm, int maxBytes);

    /// Codec id, 6 when none is open.
    int GetCodec() const { return m_codec; }
    /// Kilobits per second.
    int GetBitrate() const { return m_bitrate; }
    /// PCM bytes of one packet; 0 while no codec is open.
    int GetPacketBytes() const;
    /// Hz; 0 while no codec is open.
    int GetSampleRate() const;

private:
    void Open(int codec, int bitrate);
    void Close();
    /// Leaves the codec closed when there is no memory to open it again.
    void RecoverFrom(std::uint32_t faultCode) noexcept;

    int m_codec = qrn::kNoAudioCodec;
    int m_bitrate = 0;
    const qrn::AudioCodec* m_row = nullptr;
    CQRN_AVCodec_MutexAutoLock m_avLock;
    std::unique_ptr<qrn::IAudioPacketDecoder> m_decoder;
    /// Until the first fault, which alone is logged and heals the codec.
    bool m_logFault = true;
};
