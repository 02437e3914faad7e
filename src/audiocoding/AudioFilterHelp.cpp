#include "audiocoding/AudioFilterHelp.h"

#include <algorithm>
#include <cstring>

namespace qrn {

namespace {

constexpr ULONG kPersistedBytes = 4;

}  // namespace

std::optional<WAVEFORMATEX> ReadWaveFormat(const CMediaType& type) {
    // Old writers leave the last field, cbSize, out of a PCM format.
    constexpr std::size_t kNeeded = offsetof(WAVEFORMATEX, cbSize);
    if (type.Format() == nullptr || type.FormatLength() < kNeeded) {
        return std::nullopt;
    }
    WAVEFORMATEX format{};
    std::memcpy(&format, type.Format(), std::min<std::size_t>(type.FormatLength(), sizeof(format)));
    return format;
}

HRESULT WriteWaveFormat(const WAVEFORMATEX& format, const GUID& subtype, CMediaType* type) {
    type->SetType(&MEDIATYPE_Audio);
    type->SetSubtype(&subtype);
    type->SetFormatType(&FORMAT_WaveFormatEx);
    BYTE* block = type->AllocFormatBuffer(sizeof(format));
    if (block == nullptr) {
        return E_OUTOFMEMORY;
    }
    std::memcpy(block, &format, sizeof(format));
    return S_OK;
}

HRESULT SetOneBuffer(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* request) {
    request->cBuffers = 1;
    ALLOCATOR_PROPERTIES actual{};
    if (const HRESULT result = allocator->SetProperties(request, &actual); FAILED(result)) {
        return result;
    }
    return actual.cBuffers < request->cBuffers || actual.cbBuffer < request->cbBuffer ? E_FAIL : S_OK;
}

std::span<const std::uint8_t> DataOf(IMediaSample& sample, const BYTE* buffer) {
    const LONG length = std::min(sample.GetActualDataLength(), sample.GetSize());
    return {buffer, static_cast<std::size_t>(std::max(length, 0))};
}

HRESULT WriteLittleEndian(IStream* stream, std::uint32_t value) {
    std::uint8_t bytes[kPersistedBytes];
    for (std::uint8_t& byte : bytes) {
        byte = static_cast<std::uint8_t>(value);
        value >>= 8;
    }
    ULONG written = 0;
    const HRESULT result = stream->Write(bytes, kPersistedBytes, &written);
    if (FAILED(result)) {
        return result;
    }
    return written == kPersistedBytes ? S_OK : E_FAIL;
}

HRESULT ReadLittleEndian(IStream* stream, std::uint32_t* value) {
    std::uint8_t bytes[kPersistedBytes] = {};
    ULONG read = 0;
    const HRESULT result = stream->Read(bytes, kPersistedBytes, &read);
    if (FAILED(result)) {
        return result;
    }
    if (read != kPersistedBytes) {
        return E_FAIL;
    }
    *value = bytes[0] | bytes[1] << 8 | bytes[2] << 16 | static_cast<std::uint32_t>(bytes[3]) << 24;
    return S_OK;
}

}  // namespace qrn
