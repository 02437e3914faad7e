#pragma once

#include "engines/AvFrame.h"
#include "engines/VideoData.h"

namespace UMC {

/// Makes decoded pictures of FFmpeg into VideoData. 4:2:0, 4:2:2 and 4:1:1 are views of the frame; other 8-bit planes
/// of luma and chroma, and grey, are brought to 4:2:0 in memory of this object.
class AvPicture {
public:
    /// @param picture  valid until the frame goes or the next call here. kNotImplemented for what has no 8-bit luma.
    Status View(const AVFrame& frame, VideoData& picture);

private:
    Status Convert(const AVFrame& frame, VideoData& picture);

    VideoData m_converted;
};

}  // namespace UMC
