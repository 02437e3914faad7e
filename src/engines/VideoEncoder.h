#pragma once

#include "engines/BaseCodec.h"

namespace UMC {

class VideoEncoder : public Typed<VideoEncoder, BaseCodec> {
public:
    static const char* ClassName() { return "VideoEncoder"; }
};

}  // namespace UMC
