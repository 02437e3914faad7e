#pragma once
/// What the two audio coding filters do alike.

#include <cstdint>
#include <optional>
#include <span>

#include "framework/CMediaType.h"
#include "qrn/filters.h"

namespace qrn {

/// The wave format of an audio type; nothing when its format block is too short to be one.
std::optional<WAVEFORMATEX> ReadWaveFormat(const CMediaType& type);
/// Makes an audio type of it. @return E_OUTOFMEMORY without memory for the format block.
HRESULT WriteWaveFormat(const WAVEFORMATEX& format, const GUID& subtype, CMediaType* type);

/// Asks the allocator for one buffer of request->cbBuffer bytes. @return E_FAIL when it gives less.
HRESULT SetOneBuffer(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* request);

/// What a sample holds; its length is never taken for more than its buffer.
std::span<const std::uint8_t> DataOf(IMediaSample& sample, const BYTE* buffer);

/// @return E_FAIL when the stream takes or gives fewer than 4 bytes.
HRESULT WriteLittleEndian(IStream* stream, std::uint32_t value);
HRESULT ReadLittleEndian(IStream* stream, std::uint32_t* value);

}  // namespace qrn
