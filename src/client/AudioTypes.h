#pragma once
/// Between media types, media samples and the program's own view of sound.

#include <optional>
#include <span>

#include "client/Pcm.h"
#include "framework/CMediaType.h"
#include "qrn/filters.h"

namespace qrn {

/// @return E_OUTOFMEMORY or S_OK.
HRESULT MakePcmType(PcmFormat format, CMediaType& type);

/// The wave format of an audio type; nothing for any other type.
std::optional<WAVEFORMATEX> WaveFormatOf(const AM_MEDIA_TYPE& type);

/// The format of a linear 16-bit type of one or two channels; nothing for any other type.
std::optional<PcmFormat> PcmFormatOf(const AM_MEDIA_TYPE& type);

/// What a sample holds; empty when it holds nothing. Valid as long as the sample.
std::span<const BYTE> BytesOf(IMediaSample& sample);
std::span<const std::int16_t> PcmOf(IMediaSample& sample);

}  // namespace qrn
