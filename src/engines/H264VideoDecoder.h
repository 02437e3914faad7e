#pragma once

#include "engines/AvVideoDecoder.h"

namespace UMC {

/// H.264 as an Annex B byte stream, one access unit a frame. Pictures come from the first I picture on.
class H264VideoDecoder : public Typed<H264VideoDecoder, AvVideoDecoder> {
public:
    static const char* ClassName() { return "H264VideoDecoder"; }
    H264VideoDecoder();

protected:
    /// With parameter sets and an IDR slice.
    bool StandsAlone(std::span<const std::uint8_t> frame) const override;
};

}  // namespace UMC
