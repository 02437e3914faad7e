#pragma once
/// Codec id 4: MP3 (ISO/IEC 11172-3 layer III) through FFmpeg, 32 kHz mono at 64 kbit/s, whole MP3 frames of 1152
/// samples back to back; the frames say their lengths themselves.

#include "audiocoding/IAudioPacketCodec.h"

namespace qrn {

/// Null without an MP3 encoder in FFmpeg.
std::unique_ptr<IAudioPacketEncoder> MakeMp3Encoder(const AudioCodecRequest& request);
std::unique_ptr<IAudioPacketDecoder> MakeMp3Decoder(const AudioCodecRequest& request);

}  // namespace qrn
