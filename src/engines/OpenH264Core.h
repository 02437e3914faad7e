#pragma once

#include <cstdint>
#include <memory>

#include "engines/H264EncoderParams.h"
#include "engines/VideoData.h"

class ISVCEncoder;

namespace UMC {

/// The H.264 encoder core of 8-bit pictures, over OpenH264: constrained baseline, one thread, no B pictures, parameter
/// sets before each IDR picture. An Annex B byte stream. One thread at a time.
class OpenH264Core {
public:
    /// @return null, with the reason in `status`, when the library does not take the parameters.
    static std::unique_ptr<OpenH264Core> Open(const H264EncoderParams& params, Status& status);

    /// Appends one picture's bytes to the output's data and sets its frame type and times. kOutOfRange when the room
    /// does not suffice: the picture is lost then, and the next is an IDR picture. kNoMoreData when the encoder made
    /// nothing of it.
    Status Encode(const VideoData& picture, MediaData& out);
    /// From the next picture on, without a key frame. kFailed, and the rate as it was, for one the library refuses.
    Status SetBitrate(std::uint32_t bitsPerSecond);
    /// The next picture is an IDR picture.
    void ForceKeyFrame();
    const H264EncoderParams& Params() const { return m_params; }

private:
    struct Destroyer {
        void operator()(ISVCEncoder* encoder) const;
    };

    explicit OpenH264Core(const H264EncoderParams& params) : m_params(params) {}
    Status Start();
    std::int64_t TimeMs(const VideoData& picture) const;

    H264EncoderParams m_params;
    std::unique_ptr<ISVCEncoder, Destroyer> m_encoder;
    std::int64_t m_pictureCount = 0;
};

}  // namespace UMC
