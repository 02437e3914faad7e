#include "audiocoding/AudioCodecTable.h"

#include <iterator>

#include "audiocoding/GsmCodec.h"
#include "audiocoding/OpusCodec.h"

namespace qrn {

namespace {

constexpr AudioCodec kCodecs[] = {
    {kQrnCodecGsm, L"GSM", MEDIASUBTYPE_QRN_GSM, 8000, 640, 160, MakeGsmEncoder, MakeGsmDecoder},
    {kQrnCodecG72x, L"G72x", MEDIASUBTYPE_QRN_G72X, 8000, 640, 160, nullptr, nullptr},
    {kQrnCodecSpeex, L"SPEEX", MEDIASUBTYPE_QRN_SPEEX, 8000, 640, 160, nullptr, nullptr},
    {kQrnCodecSpeexHq, L"SPEEX_HQ", MEDIASUBTYPE_QRN_SPEEX_HQ, 32000, 2560, 640, nullptr, nullptr},
    {kQrnCodecMp3, L"MP3", MEDIASUBTYPE_QRN_MP3, 32000, 2304, 1152, nullptr, nullptr},
    {kQrnCodecOpus, L"Opus", MEDIASUBTYPE_QRN_OPUS, 48000, 1920, 960, MakeOpusEncoder, MakeOpusDecoder},
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
