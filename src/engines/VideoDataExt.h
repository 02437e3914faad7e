#pragma once

#include "engines/VideoData.h"

namespace UMC {

/// A picture under a class of its own, which type queries tell from a plain one.
class VideoDataExt : public Typed<VideoDataExt, VideoData> {
public:
    static const char* ClassName() { return "VideoDataExt"; }
};

}  // namespace UMC
