#pragma once
/// What stands behind CAudioEncoder and CAudioDecoder: one codec, one packet at a time, one channel.

#include <cstdint>
#include <memory>
#include <span>

class CQRN_AVCodec_MutexAutoLock;

namespace qrn {

/// Turns one packet's PCM into coded bytes. Belongs to one thread at a time. Its packet routine runs inside a fault
/// guard that ends it without running destructors, so it must own nothing on its stack: buffers are fields.
class IAudioPacketEncoder {
public:
    virtual ~IAudioPacketEncoder() = default;

    /// The rate in kilobits per second that the codec made of the rate it was asked for.
    virtual int BitrateKbps() const = 0;
    /// Bytes of one coded frame as the stream's media type announces them; 0 for a codec that announces none.
    virtual int FrameBytes() const = 0;
    /// The output that one whole packet needs at most.
    virtual int MaxPacketBytes() const = 0;

    /// @param pcm  at least one sample; a last frame that is not whole is filled up with silence.
    /// @param out  frames that do not fit any more are left out.
    /// @return bytes written, 0 when nothing was produced; what else is negative comes from the codec's library.
    virtual int Encode(std::span<const std::int16_t> pcm, std::span<std::uint8_t> out) = 0;

    /// Lengthens a packet that fills the first `length` bytes so that it fills all of `packet` and still decodes to the
    /// same. @return false when the codec's packets cannot be lengthened; they are all equally long then.
    virtual bool Pad(std::span<std::uint8_t> packet, int length) {
        static_cast<void>(packet);
        static_cast<void>(length);
        return false;
    }
};

/// Turns one packet's coded bytes into PCM. Threads and stack as IAudioPacketEncoder.
class IAudioPacketDecoder {
public:
    virtual ~IAudioPacketDecoder() = default;

    virtual int BitrateKbps() const = 0;

    /// @param data  one packet of any length; what a last frame lacks counts as zero bytes.
    /// @param pcm   PCM that does not fit any more is left out.
    /// @return bytes written; what is negative comes from the codec's library.
    virtual int Decode(std::span<const std::uint8_t> data, std::span<std::int16_t> pcm) = 0;
};

/// What a codec is opened with.
struct AudioCodecRequest {
    int bitrateKbps;
    /// Held by codecs of FFmpeg while they open and close; it outlives what is opened with it.
    CQRN_AVCodec_MutexAutoLock& avLock;
};

/// Null when the codec cannot open.
using AudioEncoderFactory = std::unique_ptr<IAudioPacketEncoder> (*)(const AudioCodecRequest& request);
using AudioDecoderFactory = std::unique_ptr<IAudioPacketDecoder> (*)(const AudioCodecRequest& request);

}  // namespace qrn
