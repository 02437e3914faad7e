#pragma once
/// The audio codecs by their id, which is the number that interfaces, property page and media types share.

#include <span>

#include "audiocoding/IAudioPacketCodec.h"
#include "qrn/QRN_Media2.h"

namespace qrn {

/// One codec. A further codec is a pair of files with its two factories, and its row.
struct AudioCodec {
    int id;
    int sampleRateHz;
    int packetSamples;
    int frameSamples;
    GUID subtype;                     ///< of its media type; the wave format tag is kFirstAudioFormatTag + id
    const wchar_t* name;              ///< on the property page
    AudioEncoderFactory makeEncoder;  ///< null: not built in
    AudioDecoderFactory makeDecoder;  ///< null: not built in
};

/// The value of a codec id that says: none is open.
inline constexpr int kNoAudioCodec = kQrnAudioCodecCount;
inline constexpr int kFirstAudioFormatTag = kQrnAudioFormatTag;
inline constexpr int kLastAudioFormatTag = kFirstAudioFormatTag + kQrnAudioCodecCount - 1;

/// All rows, in the order of their ids.
std::span<const AudioCodec> AudioCodecs();
/// @return null for an id that is none of a codec.
const AudioCodec* FindAudioCodec(int id);

}  // namespace qrn
