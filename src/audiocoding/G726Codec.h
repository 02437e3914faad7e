#pragma once
/// Codec id 1: ITU-T G.726 at 16, 24, 32 and 40 kbit/s, 160 samples in 40 to 100 bytes, frames back to back. The words
/// are packed from the least significant bit on, the first word first, as RFC 3551 section 4.5.4 has them.

#include "audiocoding/IAudioPacketCodec.h"

namespace qrn {

std::unique_ptr<IAudioPacketEncoder> MakeG726Encoder(const AudioCodecRequest& request);
std::unique_ptr<IAudioPacketDecoder> MakeG726Decoder(const AudioCodecRequest& request);

}  // namespace qrn
