#pragma once

#include <array>

#include "engines/ColorSpaceConversion.h"
#include "engines/Deinterlacing.h"
#include "engines/VideoProcessingParams.h"
#include "engines/VideoResizing.h"

namespace UMC {

/// The chain behind a decoder: deinterlaces a picture, changes its colour format and then its size, each only when
/// source and destination ask for it, and copies it when nothing does.
class VideoProcessing : public Typed<VideoProcessing, BaseCodec> {
public:
    static const char* ClassName() { return "VideoProcessing"; }

    Status Init(BaseCodecParams* params) override { return params == nullptr ? kOk : SetParams(params); }
    /// Both are VideoData, else kBadArgument; kNoPlane for a source without its first plane. kNotImplemented when
    /// neither one conversion nor one through an intermediate format leads from format to format.
    Status GetFrame(MediaData* in, MediaData* out) override;
    Status GetInfo(BaseCodecParams* params) override;
    Status Close() override { return kOk; }
    Status Reset() override { return kOk; }
    Status SetParams(BaseCodecParams* params) override;

private:
    enum Step { kDeinterlace, kFirstConvert, kConvert, kResize, kStepCount };
    using Steps = std::array<bool, kStepCount>;

    Steps StepsFor(const VideoData& source, const VideoData& destination) const;
    Status RunSteps(VideoData& source, VideoData& destination, Steps steps);
    Status RunStep(int step, VideoData& source, VideoData& destination);
    Status ConvertTwice(VideoData& source, VideoData& destination);

    VideoProcessingParams m_params;
    bool m_isCropped = false;
    Deinterlacing m_deinterlacing;
    ColorSpaceConversion m_conversion;
    VideoResizing m_resizing;
    std::array<VideoData, kStepCount> m_between;  ///< what the steps before the last one make
};

}  // namespace UMC
