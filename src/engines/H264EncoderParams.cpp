#include "engines/H264EncoderParams.h"

#include "engines/ParamText.h"

namespace UMC {

Status H264EncoderParams::ReadParams(const std::filesystem::path& file) {
    ParamText text(file);
    if (!text.IsOpen()) {
        return kCannotOpen;
    }
    H264EncoderParams read(*this);
    std::int32_t bitrate = 0;
    std::int32_t slices = 0;
    const bool isGood = text.NextNumber(read.m_width) && text.NextNumber(read.m_height) &&
                        text.NextNumber(read.m_frameRate) && text.NextNumber(bitrate) &&
                        text.NextNumber(read.m_profileIdc) && text.NextNumber(read.m_levelIdc) &&
                        text.NextNumber(read.m_keyFrameMethod) && text.NextNumber(read.m_keyFrameInterval) &&
                        text.NextNumber(read.m_idrInterval) && text.NextNumber(read.m_rateControlMethod) &&
                        text.NextNumber(read.m_bFrames) && text.NextNumber(read.m_referenceFrames) &&
                        text.NextNumber(slices) && text.NextNumber(read.m_quantizers[0]) &&
                        text.NextNumber(read.m_quantizers[1]) && text.NextNumber(read.m_quantizers[2]);
    if (!isGood || bitrate < 0 || slices < 0 || slices > INT16_MAX) {
        return kBadText;
    }
    read.m_bitrate = static_cast<std::uint32_t>(bitrate);
    read.m_numSlices = static_cast<std::int16_t>(slices);
    *this = read;
    return kOk;
}

}  // namespace UMC
