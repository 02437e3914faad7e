#pragma once

#include "engines/BaseCodecParams.h"

namespace UMC {

class VideoEncoderParams : public Typed<VideoEncoderParams, BaseCodecParams> {
public:
    static const char* ClassName() { return "VideoEncoderParams"; }

    ColorFormat m_colorFormat = kColorYUV420;
    int m_width = 0;
    int m_height = 0;
    double m_frameRate = 30.0;
    std::uint32_t m_bitrate = 2222222;  ///< bits per second
};

}  // namespace UMC
