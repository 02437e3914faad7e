#pragma once

#include "engines/AvVideoDecoder.h"

namespace UMC {

/// Motion JPEG, one image a frame, baseline or progressive. Tables that an image leaves out are those of ITU-T T.81,
/// annex K.3. Samples keep the full range that JPEG has.
class MJPEGVideoDecoder : public Typed<MJPEGVideoDecoder, AvVideoDecoder> {
public:
    static const char* ClassName() { return "MJPEGVideoDecoder"; }
    MJPEGVideoDecoder();
};

}  // namespace UMC
