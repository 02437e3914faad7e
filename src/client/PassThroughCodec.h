#pragma once
/// What a codec of the module makes of a sound, without a network.

#include <cstdint>
#include <span>
#include <vector>

#include "client/CodecTable.h"
#include "client/Pcm.h"

namespace qrn {

/// Compressor and decompressor in one graph without a clock, as fast as they can. Some 20 ms for a second of sound.
/// @return whole packets; a rest of the input that fills none is missing. @throws CClientError when the module fails.
std::vector<std::int16_t> PassThroughCodec(const CodecInfo& codec, int kbps, PcmFormat format,
                                           std::span<const std::int16_t> interleaved);

}  // namespace qrn
