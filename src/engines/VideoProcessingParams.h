#pragma once

#include "engines/BaseCodecParams.h"

namespace UMC {

class VideoProcessingParams : public Typed<VideoProcessingParams, BaseCodecParams> {
public:
    static const char* ClassName() { return "VideoProcessingParams"; }

    /// In pixels of the source; all 0 is the whole picture.
    struct CropRectangle {
        std::int16_t left = 0;
        std::int16_t top = 0;
        std::int16_t right = 0;
        std::int16_t bottom = 0;
    };

    std::int32_t m_resizeMethod = 1;       ///< one of the interpolations of the picture primitives
    std::int32_t m_deinterlaceMethod = 0;  ///< 0 leaves fields as they are
    CropRectangle m_crop;
    std::uint8_t m_reserved = 1;
};

}  // namespace UMC
