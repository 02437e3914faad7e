#pragma once

#include <cstdint>
#include <memory>
#include <span>

#include "engines/VideoDecoder.h"
#include "engines/VideoDecoderParams.h"

namespace UMC {

class AvDecoding;
class AvPicture;

/// What the decoders over FFmpeg share: one thread, each frame gives its picture at once, damage is concealed, and
/// every picture goes through the post-processing object into the caller's one.
class AvVideoDecoder : public Typed<AvVideoDecoder, VideoDecoder> {
public:
    static const char* ClassName() { return "AvVideoDecoder"; }
    ~AvVideoDecoder() override;

    /// Takes VideoDecoderParams (or a class of them) with a post-processing object; kBadArgument without one. The
    /// library is opened here and closed in Close and the destructor.
    Status Init(BaseCodecParams* params) override;
    /// `in` holds one whole frame. Its times go with the picture.
    /// @return kNoMoreData when there is no picture (yet): parameter sets only, nothing to begin with after a loss.
    /// kFailed when the library makes nothing of the bytes, which the next frame does not suffer from; kNotImplemented
    /// for samples of more than 8 bits and for RGB; else what the post-processing answers.
    Status GetFrame(MediaData* in, MediaData* out) override;
    /// Fills VideoDecoderParams with those of Init; width and height are the stream's own once a picture came.
    Status GetInfo(BaseCodecParams* params) override;
    Status Close() override;
    Status Reset() override;

protected:
    /// @param codecId  FFmpeg's number of the codec
    /// @param maxPixels  of a picture; headers that tell of more are damage
    AvVideoDecoder(int codecId, std::int64_t maxPixels);

    /// Whether a decoder that knows nothing yet makes a whole picture of this frame. After damage it is given to such a
    /// one, where the library is known to keep something wrong otherwise.
    virtual bool StandsAlone(std::span<const std::uint8_t> frame) const {
        (void)frame;
        return false;
    }

private:
    Status Decode(std::span<const std::uint8_t> frame);

    const int m_codecId;
    const std::int64_t m_maxPixels;
    VideoDecoderParams m_params;
    std::unique_ptr<AvDecoding> m_decoding;
    std::unique_ptr<AvPicture> m_picture;
};

}  // namespace UMC
