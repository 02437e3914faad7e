#pragma once

#include "engines/AvVideoDecoder.h"

namespace UMC {

/// Motion JPEG, one image a frame, baseline or progressive. Tables that an image leaves out are those of ITU-T T.81,
/// annex K.3. Samples keep the full range that JPEG has.
class MJPEGVideoDecoder : public Typed<MJPEGVideoDecoder, AvVideoDecoder> {
public:
    static const char* ClassName() { return "MJPEGVideoDecoder"; }
    /// More than any camera of a call sends.
    static constexpr std::int64_t kMaxPixels = 8192LL * 4320;

    /// @param maxPixels  of a picture; headers that tell of more are damage, so it bounds the memory that a peer can
    /// claim
    explicit MJPEGVideoDecoder(std::int64_t maxPixels = kMaxPixels);
};

}  // namespace UMC
