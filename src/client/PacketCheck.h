#pragma once
/// Whether a frame can be of the codec that it is taken for: payload types do not tell four of the codecs apart.

#include <optional>
#include <span>
#include <string>

#include "client/CodecTable.h"
#include "qrn/filters.h"

namespace qrn {

/// The length that every frame of a codec at a constant rate has, from the coded type of the stream; nothing for the
/// codecs whose type does not announce one.
std::optional<std::size_t> ExpectedFrameBytes(const CodecInfo& codec, const WAVEFORMATEX& codedType);

/// @return a sentence's end, such as "of 320 bytes instead of 132", or nothing when all looks right.
std::optional<std::string> FindFrameFault(const CodecInfo& codec, int channels,
                                          std::optional<std::size_t> expectedBytes, std::span<const BYTE> frame);

}  // namespace qrn
