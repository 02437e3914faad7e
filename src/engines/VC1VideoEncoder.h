#pragma once

#include "engines/VideoEncoder.h"

namespace UMC {

/// VC-1 is not there yet: Init answers kNotImplemented, and so nothing else can be asked of it.
class VC1VideoEncoder : public Typed<VC1VideoEncoder, VideoEncoder> {
public:
    static const char* ClassName() { return "VC1VideoEncoder"; }

    Status Init(BaseCodecParams*) override { return kNotImplemented; }
    Status GetFrame(MediaData*, MediaData*) override { return kNotInitialised; }
    Status GetInfo(BaseCodecParams*) override { return kNotInitialised; }
    Status Close() override { return kOk; }
    Status Reset() override { return kNotInitialised; }
    Status SetParams(BaseCodecParams*) override { return kNotInitialised; }
    /// The next I picture is to bring its sequence header again. Nothing is coding yet that would write one.
    void ForgetSequenceHeader() {}
};

}  // namespace UMC
