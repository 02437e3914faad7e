#pragma once
/// One packet's worth of 16-bit mono PCM into a codec's bytes.

#include <cstdint>
#include <memory>
#include <span>

#include "audiocoding/AudioCodecTable.h"
#include "runtime/CQRN_AVCodec_MutexAutoLock.h"

/// Hides the audio codecs behind one call. Knows nothing of filters, times or channels: a stereo stream uses two.
/// Belongs to its filter's streaming thread; no operation takes a lock.
class CAudioEncoder {
public:
    /// Opens the codec; one that cannot open leaves GetCodec() at 6, and nothing is thrown for it.
    /// @param bitrate  kilobits per second; GetBitrate() tells what the codec made of it.
    CAudioEncoder(int codec, int bitrate);
    virtual ~CAudioEncoder();
    CAudioEncoder(const CAudioEncoder&) = delete;
    CAudioEncoder& operator=(const CAudioEncoder&) = delete;

    /// @param samples  a multiple of the codec's frame; a last frame that is not whole is filled up with silence.
    /// @param outSize  GetMaxPacketSize() suffices for GetPacketSamples() samples.
    /// @return bytes written; 0 when nothing was produced or the codec faulted; -1 when no codec is open, and also when
    /// Opus found nothing to transmit in the whole packet.
    int Encode(const std::int16_t* pcm, int samples, std::uint8_t* out, int outSize);

    /// Lengthens what Encode gave so that it fills all of `packet` and still decodes to the same.
    /// @param length  of the packet as it is, above 0.
    /// @return false, and nothing is done, when the codec cannot.
    bool Pad(std::span<std::uint8_t> packet, int length);

    /// Codec id, 6 when none is open.
    int GetCodec() const { return m_codec; }
    /// Kilobits per second.
    int GetBitrate() const { return m_bitrate; }
    /// Hz; 8000 while no codec is open.
    int GetSampleRate() const { return m_sampleRate; }
    /// The output buffer that Encode needs for one packet, in bytes; 0 while no codec is open, as the next three.
    int GetMaxPacketSize() const;
    /// Coded bytes per second as the stream's media type announces them; 0 for Opus.
    int GetByteRate() const;
    int GetPacketSamples() const;
    /// Milliseconds.
    int GetPacketDuration() const;

    /// The level of a block in 32768ths of the range from -30 dB to 0 dB, where 0 dB lies 3.5 dB below full scale: a
    /// full-scale sine reads as 0 dB. Any thread, no codec needed.
    static int GetLevel(const std::int16_t* pcm, int count);

private:
    void Open(int codec, int bitrate);
    void Close();
    /// Leaves the codec closed when there is no memory to open it again.
    void RecoverFrom(std::uint32_t faultCode) noexcept;

    int m_codec = qrn::kNoAudioCodec;
    int m_bitrate = 0;
    int m_sampleRate;
    const qrn::AudioCodec* m_row = nullptr;
    CQRN_AVCodec_MutexAutoLock m_avLock;
    std::unique_ptr<qrn::IAudioPacketEncoder> m_encoder;
    /// Until the first fault, which alone is logged and heals the codec.
    bool m_logFault = true;
};
