#pragma once

#include <memory>

#include "engines/H264EncoderParams.h"
#include "engines/OpenH264Core.h"
#include "engines/VideoEncoder.h"

namespace UMC {

/// H.264 of planar 4:2:0 pictures (colour formats 5 and 0), constrained baseline (ITU-T H.264, A.2.1.1), as an Annex B
/// byte stream. All operations go to the core of 8-bit samples; there is none of 16-bit samples.
class H264VideoEncoder : public Typed<H264VideoEncoder, VideoEncoder> {
public:
    static const char* ClassName() { return "H264VideoEncoder"; }

    /// Takes H264EncoderParams. kNotImplemented for more than 8 bits of a sample and for another chroma format than
    /// 4:2:0; kBadArgument for no bit rate; kFailed for what else the library refuses.
    Status Init(BaseCodecParams* params) override;
    /// `in` is a VideoData of the size and format given at Init. The output's room must hold the frame: see
    /// OpenH264Core::Encode.
    Status GetFrame(MediaData* in, MediaData* out) override;
    /// Fills H264EncoderParams, or the part of them that VideoEncoderParams have.
    Status GetInfo(BaseCodecParams* params) override;
    Status Close() override;
    /// The next picture is an IDR picture.
    Status Reset() override;
    /// Takes the bit rate of any VideoEncoderParams; the other fields stay as Init had them.
    Status SetParams(BaseCodecParams* params) override;

private:
    std::unique_ptr<OpenH264Core> m_core;
};

}  // namespace UMC
