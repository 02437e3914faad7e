#pragma once

#include "engines/VideoDecoderParams.h"

namespace UMC {

class VC1VideoDecoderParams : public Typed<VC1VideoDecoderParams, VideoDecoderParams> {
public:
    static const char* ClassName() { return "VC1VideoDecoderParams"; }
};

}  // namespace UMC
