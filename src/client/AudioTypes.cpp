#include "client/AudioTypes.h"

#include <cstring>

namespace qrn {

HRESULT MakePcmType(PcmFormat format, CMediaType& type) {
    WAVEFORMATEX wave{};
    wave.wFormatTag = WAVE_FORMAT_PCM;
    wave.nChannels = static_cast<WORD>(format.channels);
    wave.nSamplesPerSec = static_cast<DWORD>(format.sampleRate);
    wave.wBitsPerSample = 16;
    wave.nBlockAlign = static_cast<WORD>(format.channels * 2);
    wave.nAvgBytesPerSec = wave.nSamplesPerSec * wave.nBlockAlign;
    type.InitMediaType();
    return CreateAudioMediaType(wave, &type, true);
}

std::optional<WAVEFORMATEX> WaveFormatOf(const AM_MEDIA_TYPE& type) {
    WAVEFORMATEX wave{};
    if (type.majortype != MEDIATYPE_Audio || type.pbFormat == nullptr || type.cbFormat < sizeof(wave)) {
        return std::nullopt;
    }
    std::memcpy(&wave, type.pbFormat, sizeof(wave));
    return wave;
}

std::optional<PcmFormat> PcmFormatOf(const AM_MEDIA_TYPE& type) {
    const auto wave = WaveFormatOf(type);
    if (!wave || wave->wFormatTag != WAVE_FORMAT_PCM || wave->wBitsPerSample != 16 || wave->nChannels < 1 ||
        wave->nChannels > 2) {
        return std::nullopt;
    }
    return PcmFormat{static_cast<int>(wave->nSamplesPerSec), wave->nChannels};
}

std::span<const BYTE> BytesOf(IMediaSample& sample) {
    BYTE* bytes = nullptr;
    const LONG length = sample.GetActualDataLength();
    if (length <= 0 || FAILED(sample.GetPointer(&bytes)) || bytes == nullptr) {
        return {};
    }
    return {bytes, static_cast<std::size_t>(length)};
}

std::span<const std::int16_t> PcmOf(IMediaSample& sample) {
    const auto bytes = BytesOf(sample);
    return {reinterpret_cast<const std::int16_t*>(bytes.data()), bytes.size() / sizeof(std::int16_t)};
}

}  // namespace qrn
