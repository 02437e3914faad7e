#pragma once

#include "engines/VideoDecoder.h"

namespace UMC {

/// VC-1 is not there yet: Init answers kNotImplemented, and so nothing else can be asked of it.
class VC1VideoDecoder : public Typed<VC1VideoDecoder, VideoDecoder> {
public:
    static const char* ClassName() { return "VC1VideoDecoder"; }

    Status Init(BaseCodecParams*) override { return kNotImplemented; }
    Status GetFrame(MediaData*, MediaData*) override { return kNotInitialised; }
    Status GetInfo(BaseCodecParams*) override { return kNotInitialised; }
    Status Close() override { return kOk; }
    Status Reset() override { return kNotInitialised; }
    Status SetParams(BaseCodecParams*) override { return kNotInitialised; }
};

}  // namespace UMC
