#pragma once

#include "engines/VideoStage.h"

namespace UMC {

/// Makes a picture of another size and the same format, plane by plane.
class VideoResizing : public Typed<VideoResizing, VideoStage> {
public:
    static const char* ClassName() { return "VideoResizing"; }
    /// A pixel of other samples than can be resized: 1, 3 or 4, of 8 or 16 bits.
    static constexpr Status kUnknownSamples = -879;

    /// @param interpolation  one of IPPI_INTER_...
    void SetMethod(int interpolation) { m_interpolation = interpolation; }

protected:
    /// kFailed for formats that differ or when a primitive refuses.
    Status Run(const VideoData& source, VideoData& destination) override;

private:
    int m_interpolation = 1;
};

}  // namespace UMC
