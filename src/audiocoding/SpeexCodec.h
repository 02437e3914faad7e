#pragma once
/// Codec ids 2 and 3: Speex (RFC 5574) through libspeex at a constant bit rate, frames of 20 ms back to back without
/// anything between them: narrowband, 160 samples at 8 kHz, and ultra-wideband, 640 samples at 32 kHz.

#include "audiocoding/IAudioPacketCodec.h"

namespace qrn {

std::unique_ptr<IAudioPacketEncoder> MakeSpeexEncoder(const AudioCodecRequest& request);
std::unique_ptr<IAudioPacketDecoder> MakeSpeexDecoder(const AudioCodecRequest& request);

std::unique_ptr<IAudioPacketEncoder> MakeSpeexHqEncoder(const AudioCodecRequest& request);
std::unique_ptr<IAudioPacketDecoder> MakeSpeexHqDecoder(const AudioCodecRequest& request);

}  // namespace qrn
