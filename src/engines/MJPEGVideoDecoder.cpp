#include "engines/MJPEGVideoDecoder.h"

#include "engines/AvFrame.h"

namespace UMC {

namespace {

/// More than any camera of a call sends.
constexpr std::int64_t kMaxPixels = 8192LL * 4320;

}  // namespace

MJPEGVideoDecoder::MJPEGVideoDecoder() : Typed(AV_CODEC_ID_MJPEG, kMaxPixels) {}

}  // namespace UMC
