#pragma once

#include <string>

#include "qrn/filters.h"

namespace qrn {

/// A media type in words: "audio PCM, 16000 Hz, 1 channel, 16 bit" or "video I420, 640x480, 25 frames/s". Identifiers
/// without a name are printed as they are; of a format block that is too short nothing is said. Plain ASCII without
/// quotes.
std::string DescribeMediaType(const AM_MEDIA_TYPE& type);

}  // namespace qrn
