#pragma once

#include "engines/VideoStage.h"

namespace UMC {

/// Makes a picture of another colour format and the same size.
class ColorSpaceConversion : public Typed<ColorSpaceConversion, VideoStage> {
public:
    static const char* ClassName() { return "ColorSpaceConversion"; }

protected:
    /// kNotImplemented for a pair of formats that it does not know, kFailed for sizes that differ or when a primitive
    /// refuses. Equal formats are copied.
    Status Run(const VideoData& source, VideoData& destination) override;
};

}  // namespace UMC
