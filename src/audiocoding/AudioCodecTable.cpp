#include "audiocoding/AudioCodecTable.h"

#include <iterator>

#include "audiocoding/G726Codec.h"
#include "audiocoding/GsmCodec.h"
#include "audiocoding/Mp3Codec.h"
#include "audiocoding/OpusCodec.h"
#include "audiocoding/SpeexCodec.h"

namespace qrn {

namespace {

constexpr AudioCodec kCodecs[] = {
    {kQrnCodecGsm, 8000, 640, 160, MEDIASUBTYPE_QRN_GSM, L"GSM", MakeGsmEncoder, MakeGsmDecoder},
    {kQrnCodecG72x, 8000, 640, 160, MEDIASUBTYPE_QRN_G72X, L"G72x", MakeG726Encoder, MakeG726Decoder},
    {kQrnCodecSpeex, 8000, 640, 160, MEDIASUBTYPE_QRN_SPEEX, L"SPEEX", MakeSpeexEncoder, MakeSpeexDecoder},
    {kQrnCodecSpeexHq, 32000, 2560, 640, MEDIASUBTYPE_QRN_SPEEX_HQ, L"SPEEX_HQ", MakeSpeexHqEncoder,
     MakeSpeexHqDecoder},
    {kQrnCodecMp3, 32000, 2304, 1152, MEDIASUBTYPE_QRN_MP3, L"MP3", MakeMp3Encoder, MakeMp3Decoder},
    {kQrnCodecOpus, 48000, 1920, 960, MEDIASUBTYPE_QRN_OPUS, L"Opus", MakeOpusEncoder, MakeOpusDecoder},
};
static_assert(std::size(kCodecs) == kQrnAudioCodecCount);

}  // namespace

std::span<const AudioCodec> AudioCodecs() {
    return kCodecs;
}

const AudioCodec* FindAudioCodec(int id) {
    for (const AudioCodec& codec : kCodecs) {
        if (codec.id == id) {
            return &codec;
        }
    }
    return nullptr;
}

}  // namespace qrn
