#pragma once
/// Codec id 5: Opus (RFC 6716) through libopus, 48 kHz mono, one Opus packet made of frames of 20 ms.

#include "audiocoding/IAudioPacketCodec.h"

namespace qrn {

std::unique_ptr<IAudioPacketEncoder> MakeOpusEncoder(const AudioCodecRequest& request);
std::unique_ptr<IAudioPacketDecoder> MakeOpusDecoder(const AudioCodecRequest& request);

}  // namespace qrn
