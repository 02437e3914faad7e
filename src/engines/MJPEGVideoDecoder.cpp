#include "engines/MJPEGVideoDecoder.h"

#include "engines/AvFrame.h"

namespace UMC {

MJPEGVideoDecoder::MJPEGVideoDecoder(std::int64_t maxPixels) : Typed(AV_CODEC_ID_MJPEG, maxPixels) {}

}  // namespace UMC
