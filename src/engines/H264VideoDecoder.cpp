#include "engines/H264VideoDecoder.h"

#include "engines/AvFrame.h"

namespace UMC {

namespace {

/// nal_unit_type (ITU-T H.264, table 7-1)
constexpr int kIdrSlice = 5;
constexpr int kSequenceParameters = 7;
constexpr int kPictureParameters = 8;

}  // namespace

H264VideoDecoder::H264VideoDecoder(std::int64_t maxPixels) : Typed(AV_CODEC_ID_H264, maxPixels) {}

// A slice that breaks off leaves coefficients behind in FFmpeg's decoder (5.1), which it adds to the next picture, IDR
// or not: up to 20 dB off, until the next IDR picture.
bool H264VideoDecoder::StandsAlone(std::span<const std::uint8_t> frame) const {
    std::uint32_t seen = 0;
    for (std::size_t at = 3; at < frame.size(); ++at) {
        if (frame[at - 3] == 0 && frame[at - 2] == 0 && frame[at - 1] == 1) {
            seen |= 1U << (frame[at] & 31);
        }
    }
    constexpr std::uint32_t kNeeded = 1U << kIdrSlice | 1U << kSequenceParameters | 1U << kPictureParameters;
    return (seen & kNeeded) == kNeeded;
}

}  // namespace UMC
