#include "support/PushSource.h"

#include <algorithm>

namespace qrn::test {

CPushSourcePin::CPushSourcePin(CPushSource* filter, CCritSec* lock, HRESULT* result)
    : CBaseOutputPin(L"push source pin", filter, lock, result, L"Output"),
      m_source(filter) {}

HRESULT CPushSourcePin::CheckMediaType(const CMediaType* type) {
    return *type == m_source->Type() ? S_OK : VFW_E_TYPE_NOT_ACCEPTED;
}

HRESULT CPushSourcePin::GetMediaType(int position, CMediaType* type) {
    if (position != 0) {
        return VFW_S_NO_MORE_ITEMS;
    }
    *type = m_source->Type();
    return S_OK;
}

HRESULT CPushSourcePin::DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* request) {
    request->cBuffers = 4;
    request->cbBuffer = m_source->BufferBytes();
    ALLOCATOR_PROPERTIES actual{};
    return allocator->SetProperties(request, &actual);
}

CPushSource::CPushSource(const CMediaType& type, LONG bufferBytes)
    : CBaseFilter(L"push source", nullptr, &m_filterLock, qrn::Guid("2F0D6C53-2D9F-4E4E-9D0C-6A6B6A1F0001")),
      m_type(type),
      m_bufferBytes(bufferBytes),
      m_pin(this, &m_filterLock, &m_result) {}

HRESULT CPushSource::Push(std::span<const std::uint8_t> data, REFERENCE_TIME start, REFERENCE_TIME stop) {
    ComPtr<IMediaSample> sample;
    HRESULT result = m_pin.GetDeliveryBuffer(sample.Put(), nullptr, nullptr, 0);
    if (FAILED(result)) {
        return result;
    }
    BYTE* buffer = nullptr;
    result = sample->GetPointer(&buffer);
    if (FAILED(result) || static_cast<std::size_t>(sample->GetSize()) < data.size()) {
        return E_INVALIDARG;
    }
    std::copy(data.begin(), data.end(), buffer);
    sample->SetActualDataLength(static_cast<LONG>(data.size()));
    sample->SetTime(start < 0 ? nullptr : &start, stop < 0 ? nullptr : &stop);
    sample->SetSyncPoint(TRUE);
    return m_pin.Deliver(sample.Get());
}

CMediaType PcmType(unsigned samplesPerSec, unsigned channels) {
    WAVEFORMATEX format{};
    format.wFormatTag = WAVE_FORMAT_PCM;
    format.nChannels = static_cast<WORD>(channels);
    format.nSamplesPerSec = samplesPerSec;
    format.wBitsPerSample = 16;
    format.nBlockAlign = static_cast<WORD>(channels * 2);
    format.nAvgBytesPerSec = samplesPerSec * format.nBlockAlign;
    CMediaType type;
    CreateAudioMediaType(format, &type, true);
    return type;
}

}  // namespace qrn::test
