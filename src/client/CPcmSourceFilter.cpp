#include "client/CPcmSourceFilter.h"

#include <algorithm>
#include <exception>

#include "client/AudioTypes.h"

namespace qrn {
namespace {

constexpr int kBlockMs = 20;
constexpr REFERENCE_TIME kUnitsPerSecond = 10'000'000;
}  // namespace

CPcmSourcePin::CPcmSourcePin(CPcmSourceFilter* filter, std::unique_ptr<IPcmSource> source, HRESULT* result)
    : CTimedSourcePin(L"PCM source pin", result, filter),
      m_source(*filter),
      m_pcm(std::move(source)),
      m_format(m_pcm->Format()) {}

HRESULT CPcmSourcePin::GetMediaType(CMediaType* type) {
    return MakePcmType(m_format, *type);
}

HRESULT CPcmSourcePin::DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* request) {
    return AskForBuffers(allocator, request,
                         static_cast<LONG>(m_format.SamplesPerBlock(kBlockMs)) * m_format.channels * 2);
}

HRESULT CPcmSourcePin::OnThreadStartPlay() {
    m_samplesGiven = 0;
    return S_OK;
}

HRESULT CPcmSourcePin::FillBuffer(IMediaSample* sample) {
    try {
        return Fill(sample);
    } catch (const std::exception& error) {
        m_source.SetFailure(error.what());
        return E_FAIL;
    }
}

HRESULT CPcmSourcePin::Fill(IMediaSample* sample) {
    const auto timeOf = [this](std::uint64_t samples) {
        return static_cast<REFERENCE_TIME>(samples) * kUnitsPerSecond / m_format.sampleRate;
    };
    REFERENCE_TIME start = timeOf(m_samplesGiven);
    if (!WaitUntil(start)) {
        return E_ABORT;
    }
    BYTE* bytes = nullptr;
    const HRESULT result = sample->GetPointer(&bytes);
    if (FAILED(result)) {
        return result;
    }
    const auto channels = static_cast<std::size_t>(m_format.channels);
    const std::size_t room = static_cast<std::size_t>(sample->GetSize()) / 2;
    const std::size_t wanted = std::min(m_format.SamplesPerBlock(kBlockMs) * channels, room);
    const std::size_t read = m_pcm->Read({reinterpret_cast<std::int16_t*>(bytes), wanted});
    if (read == 0) {
        return S_FALSE;
    }
    m_samplesGiven += read / channels;
    REFERENCE_TIME stop = timeOf(m_samplesGiven);
    sample->SetTime(&start, &stop);
    sample->SetSyncPoint(TRUE);
    return sample->SetActualDataLength(static_cast<LONG>(read * 2));
}

ComPtr<CPcmSourceFilter> CPcmSourceFilter::Create(std::unique_ptr<IPcmSource> source) {
    HRESULT result = S_OK;
    auto filter = ComPtr<CPcmSourceFilter>::Share(new CPcmSourceFilter(std::move(source), &result));
    return SUCCEEDED(result) ? filter : nullptr;
}

CPcmSourceFilter::CPcmSourceFilter(std::unique_ptr<IPcmSource> source, HRESULT* result)
    : CTimedSourceFilter(L"PCM source", nullptr, GUID_NULL, result) {
    // It puts itself into the filter's list of pins, which owns it.
    [[maybe_unused]] const auto* pin = new CPcmSourcePin(this, std::move(source), result);
}

std::string CPcmSourceFilter::Failure() const {
    CScopedLock lock(m_failureLock);
    return m_failure;
}

void CPcmSourceFilter::SetFailure(const std::string& sentence) {
    CScopedLock lock(m_failureLock);
    m_failure = sentence;
}

}  // namespace qrn
