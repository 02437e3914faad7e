#pragma once

#include <array>

#include "engines/VideoEncoderParams.h"

namespace UMC {

class H264EncoderParams : public Typed<H264EncoderParams, VideoEncoderParams> {
public:
    static const char* ClassName() { return "H264EncoderParams"; }

    /// One number a line, in this order: width, height, frame rate, bits per second, profile, level, key-frame method,
    /// key-frame interval, IDR interval, rate control, B frames, reference frames, slices, and the three quantisers.
    /// What follows the number on its line is a remark; every line must be there.
    Status ReadParams(const std::filesystem::path& file) override;

    std::int32_t m_profileIdc = 77;
    std::int32_t m_levelIdc = 0;        ///< 0 has the encoder choose
    std::int32_t m_keyFrameMethod = 1;  ///< 0 is the first picture only, 1 each m_keyFrameInterval pictures
    std::int32_t m_keyFrameInterval = 250;
    std::int32_t m_idrInterval = 0;        ///< each I picture is an IDR picture, whatever stands here
    std::int32_t m_rateControlMethod = 2;  ///< 0 keeps to m_quantizers[1], every other value to the bit rate
    std::int32_t m_bFrames = 0;            ///< at most; the encoder makes none
    std::int32_t m_referenceFrames = 1;
    std::array<std::int32_t, 3> m_quantizers{20, 20, 20};  ///< of I, P and B pictures
    std::int16_t m_numSlices = 0;                          ///< of a picture; 0 and 1 are one
    std::uint8_t m_deblockingFlag1 = 1;                    ///< kept; the loop filter always runs
    std::uint8_t m_deblockingFlag3 = 0;
    std::int32_t m_chromaFormat = 1;  ///< 1 is 4:2:0
    std::int32_t m_lumaBitDepth = 8;
    std::int32_t m_chromaBitDepth = 8;
    std::int32_t m_auxFormat = 0;  ///< 0 is no auxiliary picture
    std::int32_t m_auxBitDepth = 8;
    std::int32_t m_reserved264 = 0;
};

}  // namespace UMC
