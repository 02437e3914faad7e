#pragma once

#include "engines/VideoDecoderParams.h"

namespace UMC {

class H264VideoDecoderParams : public Typed<H264VideoDecoderParams, VideoDecoderParams> {
public:
    static const char* ClassName() { return "H264VideoDecoderParams"; }
};

}  // namespace UMC
