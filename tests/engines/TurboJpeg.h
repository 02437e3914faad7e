#pragma once

#include "engines/Clip.h"

namespace qrn::test {

enum class Sampling { k420, k422, k444, kGrey };

/// JPEG by libjpeg-turbo, which shares nothing with the decoder under test.
std::vector<std::uint8_t> CompressJpeg(int width, int height, Sampling sampling, bool isProgressive);

/// The planes as they are coded, those of a 4:2:0 picture made of 4:4:4 (means of 2 by 2) and grey (chroma 128).
Picture DecompressJpeg(const std::vector<std::uint8_t>& jpeg);

}  // namespace qrn::test
