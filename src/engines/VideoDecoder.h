#pragma once

#include "engines/BaseCodec.h"

namespace UMC {

class VideoDecoder : public Typed<VideoDecoder, BaseCodec> {
public:
    static const char* ClassName() { return "VideoDecoder"; }
};

}  // namespace UMC
