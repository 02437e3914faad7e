#include "client/CPcmSourceFilter.h"

#include <algorithm>
#include <chrono>
#include <exception>

#include "client/AudioTypes.h"

namespace qrn {
namespace {

constexpr int kBlockMs = 20;
constexpr LONG kBuffers = 4;
constexpr REFERENCE_TIME kUnitsPerSecond = 10'000'000;
constexpr REFERENCE_TIME kUnitsPerMs = 10'000;
// A stream clock that stands still must not make a tight loop of the wait.
constexpr std::chrono::milliseconds kShortestWait{1};
constexpr std::chrono::milliseconds kLongestWait{kBlockMs};

}  // namespace

CPcmSourcePin::CPcmSourcePin(CPcmSourceFilter* filter, std::unique_ptr<IPcmSource> source, HRESULT* result)
    : CSourceStream(L"PCM source pin", result, filter, L"Output"),
      m_source(*filter),
      m_pcm(std::move(source)),
      m_format(m_pcm->Format()) {}

HRESULT CPcmSourcePin::Run(REFERENCE_TIME /*start*/) {
    return CSourceStream::Run();
}

HRESULT CPcmSourcePin::GetMediaType(CMediaType* type) {
    return MakePcmType(m_format, *type);
}

HRESULT CPcmSourcePin::DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* request) {
    request->cBuffers = kBuffers;
    request->cbBuffer = static_cast<LONG>(m_format.SamplesPerBlock(kBlockMs)) * m_format.channels * 2;
    ALLOCATOR_PROPERTIES actual{};
    const HRESULT result = allocator->SetProperties(request, &actual);
    if (FAILED(result)) {
        return result;
    }
    return actual.cbBuffer < request->cbBuffer || actual.cBuffers < 1 ? E_FAIL : S_OK;
}

HRESULT CPcmSourcePin::OnThreadStartPlay() {
    m_samplesGiven = 0;
    return S_OK;
}

bool CPcmSourcePin::WaitUntil(REFERENCE_TIME streamTime) {
    while (true) {
        DWORD command = 0;
        if (CheckRequest(&command)) {
            return false;
        }
        REFERENCE_TIME now = 0;
        if (m_source.StreamTime(now) != S_OK || now >= streamTime) {
            return true;
        }
        const auto left = std::chrono::milliseconds((streamTime - now + kUnitsPerMs - 1) / kUnitsPerMs);
        WaitForRequest(std::clamp(left, kShortestWait, kLongestWait));
    }
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
    : CSource(L"PCM source", nullptr, GUID_NULL, result) {
    // It puts itself into the filter's list of pins, which owns it.
    [[maybe_unused]] const auto* pin = new CPcmSourcePin(this, std::move(source), result);
}

HRESULT CPcmSourceFilter::NonDelegatingQueryInterface(REFIID id, void** object) {
    if (id == IID_IAMFilterMiscFlags) {
        return GetInterface(static_cast<IAMFilterMiscFlags*>(this), object);
    }
    return CSource::NonDelegatingQueryInterface(id, object);
}

HRESULT CPcmSourceFilter::GetState(DWORD timeoutMs, FILTER_STATE* state) {
    const HRESULT result = CSource::GetState(timeoutMs, state);
    return SUCCEEDED(result) && *state == State_Paused ? VFW_S_CANT_CUE : result;
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
