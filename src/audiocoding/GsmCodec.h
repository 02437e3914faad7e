#pragma once
/// Codec id 0: GSM 06.10 full rate (ETSI EN 300 961) through libgsm, 160 samples in 33 bytes, frames back to back.

#include "audiocoding/IAudioPacketCodec.h"

namespace qrn {

std::unique_ptr<IAudioPacketEncoder> MakeGsmEncoder(const AudioCodecRequest& request);
std::unique_ptr<IAudioPacketDecoder> MakeGsmDecoder(const AudioCodecRequest& request);

}  // namespace qrn
