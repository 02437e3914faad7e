// CAudioDeCompressor on any wave format and a few samples, with the channel mode changed in between.
//
// Input: a channel mode, a wave format (18 bytes), then for each sample its length (16 bits, little-endian), a channel
// mode and its bytes.

#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "FuzzInput.h"
#include "audiocoding/CAudioDeCompressor.h"
#include "framework/CMemAllocator.h"

namespace {

using qrn::ComPtr;

/// What one sample does to the decoders shows in the next one; more of them only cost runs.
constexpr int kMostSamples = 3;

/// One sample in a buffer of that many bytes; null when the allocator refuses.
ComPtr<IMediaSample> SampleOf(IMemAllocator& allocator) {
    ComPtr<IMediaSample> sample;
    if (FAILED(allocator.Commit())) {
        return nullptr;
    }
    allocator.GetBuffer(sample.Put(), nullptr, nullptr, AM_GBF_NOWAIT);
    return sample;
}

ComPtr<IMediaSample> SampleWith(std::span<const std::uint8_t> bytes) {
    ComPtr<IMemAllocator> allocator;
    CreateMemoryAllocator(allocator.Put());
    const ALLOCATOR_PROPERTIES request{1, static_cast<LONG>(std::max<std::size_t>(bytes.size(), 1)), 1, 0};
    ALLOCATOR_PROPERTIES actual{};
    if (FAILED(allocator->SetProperties(&request, &actual))) {
        return nullptr;
    }
    ComPtr<IMediaSample> sample = SampleOf(*allocator);
    BYTE* buffer = nullptr;
    if (sample && SUCCEEDED(sample->GetPointer(&buffer))) {
        std::copy(bytes.begin(), bytes.end(), buffer);
        sample->SetActualDataLength(static_cast<LONG>(bytes.size()));
    }
    return sample;
}

CMediaType TypeOf(std::span<const std::uint8_t> format) {
    CMediaType type;
    type.SetType(&MEDIATYPE_Audio);
    type.SetFormatType(&FORMAT_WaveFormatEx);
    type.SetFormat(format.data(), static_cast<ULONG>(format.size()));
    return type;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    qrn::fuzz::CInput input({data, size});
    HRESULT result = S_OK;
    auto* filter = static_cast<CAudioDeCompressor*>(CAudioDeCompressor::CreateInstance(nullptr, &result));
    const auto owner = ComPtr<IUnknown>::Share(filter->GetOwner());
    const std::uint8_t mode = input.Byte();
    const CMediaType in = TypeOf(input.Bytes(sizeof(WAVEFORMATEX)));
    if (filter->CheckInputType(&in) != S_OK || filter->SetMediaType(PINDIR_INPUT, &in) != S_OK) {
        return 0;
    }
    filter->SetChannelMode(mode % 4);
    CMediaType out;
    ComPtr<IMemAllocator> allocator;
    CreateMemoryAllocator(allocator.Put());
    ALLOCATOR_PROPERTIES request{0, 0, 1, 0};
    if (FAILED(filter->GetMediaType(0, &out)) || FAILED(filter->DecideBufferSize(allocator.Get(), &request))) {
        return 0;
    }
    const ComPtr<IMediaSample> outSample = SampleOf(*allocator);
    for (int i = 0; i < kMostSamples && outSample && !input.IsEmpty(); ++i) {
        const std::size_t length = input.Word();
        filter->SetChannelMode(input.Byte() % 4);
        const ComPtr<IMediaSample> sample = SampleWith(input.Bytes(length));
        if (!sample || filter->Transform(sample.Get(), outSample.Get()) != S_OK) {
            std::abort();
        }
        if (outSample->GetActualDataLength() > outSample->GetSize()) {
            std::abort();
        }
    }
    return 0;
}
