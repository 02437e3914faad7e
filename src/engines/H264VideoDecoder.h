#pragma once

#include "engines/AvVideoDecoder.h"

namespace UMC {

/// H.264 as an Annex B byte stream, one access unit a frame. Pictures come from the first I picture on.
class H264VideoDecoder : public Typed<H264VideoDecoder, AvVideoDecoder> {
public:
    static const char* ClassName() { return "H264VideoDecoder"; }
    /// 36864 macroblocks, the largest picture of level 5.1 (ITU-T H.264, table A-1), to which the callers open it.
    static constexpr std::int64_t kMaxPixels = 36864LL * 16 * 16;

    /// @param maxPixels  of a picture; headers that tell of more are damage, so it bounds the memory that a peer can
    /// claim
    explicit H264VideoDecoder(std::int64_t maxPixels = kMaxPixels);

protected:
    /// With parameter sets and an IDR slice.
    bool StandsAlone(std::span<const std::uint8_t> frame) const override;
};

}  // namespace UMC
