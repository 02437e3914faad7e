#include "CToneSource.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <numbers>

namespace {

constexpr DWORD kSampleRate = 48000;
constexpr LONG kBlockFrames = 960;  // 20 ms
constexpr LONG kFrameBytes = 2;
constexpr double kToneHz = 440.0;
constexpr double kAmplitude = 8000.0;
constexpr REFERENCE_TIME kUnitsPerSecond = 10'000'000;

}  // namespace

CTonePin::CTonePin(CSource* filter, int seconds, HRESULT* result)
    : CSourceStream(L"tone pin", result, filter, L"Tone"),
      m_totalFrames(LONGLONG{seconds} * kSampleRate) {}

// snippet: source pin
HRESULT CTonePin::GetMediaType(CMediaType* type) {
    WAVEFORMATEX wave{WAVE_FORMAT_PCM, 1, kSampleRate, kSampleRate * kFrameBytes, kFrameBytes, 16, 0};
    return CreateAudioMediaType(wave, type, true);
}

HRESULT CTonePin::DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* request) {
    request->cBuffers = 4;
    request->cbBuffer = kBlockFrames * kFrameBytes;
    ALLOCATOR_PROPERTIES actual{};
    const HRESULT result = allocator->SetProperties(request, &actual);
    return SUCCEEDED(result) && actual.cbBuffer < request->cbBuffer ? E_FAIL : result;
}

HRESULT CTonePin::OnThreadStartPlay() {
    m_framesGiven = 0;
    return S_OK;
}

HRESULT CTonePin::FillBuffer(IMediaSample* sample) {
    if (m_framesGiven >= m_totalFrames) {
        return S_FALSE;  // the end of the stream
    }
    BYTE* buffer = nullptr;
    if (const HRESULT result = sample->GetPointer(&buffer); FAILED(result)) {
        return result;
    }
    const auto count = std::min<LONGLONG>(kBlockFrames, m_totalFrames - m_framesGiven);
    REFERENCE_TIME start = m_framesGiven * kUnitsPerSecond / kSampleRate;
    auto* pcm = reinterpret_cast<std::int16_t*>(buffer);
    for (LONGLONG i = 0; i < count; ++i, ++m_framesGiven) {
        const double seconds = static_cast<double>(m_framesGiven) / kSampleRate;
        pcm[i] = static_cast<std::int16_t>(kAmplitude * std::sin(2 * std::numbers::pi * kToneHz * seconds));
    }
    REFERENCE_TIME end = m_framesGiven * kUnitsPerSecond / kSampleRate;
    sample->SetTime(&start, &end);
    sample->SetSyncPoint(TRUE);
    return sample->SetActualDataLength(static_cast<LONG>(count) * kFrameBytes);
}
// end of snippet

qrn::ComPtr<IBaseFilter> CToneSource::Create(int seconds) {
    HRESULT result = S_OK;
    auto filter = qrn::ComPtr<IBaseFilter>::Share(new CToneSource(seconds, &result));
    return SUCCEEDED(result) ? filter : nullptr;
}

CToneSource::CToneSource(int seconds, HRESULT* result) : CSource(L"tone source", nullptr, GUID_NULL, result) {
    // It puts itself into the filter's list of pins, which owns it.
    [[maybe_unused]] const auto* pin = new CTonePin(this, seconds, result);
}
