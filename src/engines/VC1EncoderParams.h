#pragma once

#include "engines/VideoEncoderParams.h"

namespace UMC {

/// The fields are named after the keys of the parameter text.
class VC1EncoderParams : public Typed<VC1EncoderParams, VideoEncoderParams> {
public:
    static const char* ClassName() { return "VC1EncoderParams"; }
    static constexpr std::int32_t kSimple = 0;
    static constexpr std::int32_t kMain = 4;
    static constexpr std::int32_t kAdvanced = 12;

    /// A line that holds a key and a colon sets the key's field; other lines are remarks.
    Status ReadParams(const std::filesystem::path& file) override;

    std::int32_t m_profile = kSimple;
    std::int32_t m_level = 0;
    std::int32_t m_GOPLength = 15;
    std::int32_t m_BFramesLength = 0;
    std::int32_t m_VSTtransform = 0;
    std::int32_t m_Deblocking = 0;
    std::int32_t m_ConstQuantization = 0;  ///< 0 keeps to the bit rate
    std::int32_t m_NumberOfFrames = 0;
    std::int32_t m_MESearchSpeed = 66;
    std::int32_t m_HRDBufferSize = 0;
    std::int32_t m_HRDInitFullness = 0;
    std::int32_t m_FrameRecoding = 0;
    std::int32_t m_MixedMV = 0;
    std::int32_t m_OriginalPredictedFrame = 0;
    std::int32_t m_InterlaceField = 0;
    std::int32_t m_RefField = 0;
    std::int32_t m_SceneAnalyzer = 0;
    std::int32_t m_QuantType = 3;
    std::int32_t m_SelectVLCTables = 0;
    std::int32_t m_ChangeInterpPixelType = 0;
    std::int32_t m_UseTreillisQuantization = 0;
};

}  // namespace UMC
