#include "client/CFrameSourceFilter.h"

#include <algorithm>
#include <chrono>
#include <cmath>

#include "client/FrameContents.h"
#include "qrn/QRN_Media2.h"

namespace qrn {
namespace {

constexpr double kUnitsPerSecond = 1e7;
constexpr double kMicrosecondsPerSecond = 1e6;

}  // namespace

CFrameSourcePin::CFrameSourcePin(CTimedSourceFilter* filter, const FrameTraffic& traffic, HRESULT* result)
    : CTimedSourcePin(L"Frame source pin", result, filter),
      m_traffic(traffic) {}

HRESULT CFrameSourcePin::GetMediaType(CMediaType* type) {
    type->SetType(&MEDIATYPE_Video);
    type->SetSubtype(&MEDIASUBTYPE_QRN1);
    type->SetVariableSize();
    return S_OK;
}

HRESULT CFrameSourcePin::DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* request) {
    return AskForBuffers(allocator, request, std::max(m_traffic.bytes, m_traffic.keyBytes));
}

LONG CFrameSourcePin::BytesOfFrame(std::uint64_t number) const {
    const bool isKey = m_traffic.keyEvery > 0 && number % static_cast<std::uint64_t>(m_traffic.keyEvery) == 0;
    return isKey ? m_traffic.keyBytes : m_traffic.bytes;
}

HRESULT CFrameSourcePin::FillBuffer(IMediaSample* sample) {
    const std::uint64_t number = m_framesGiven;
    const auto timeOf = [this](std::uint64_t frame) {
        return static_cast<REFERENCE_TIME>(
            std::llround(static_cast<double>(frame) * kUnitsPerSecond / m_traffic.perSecond));
    };
    REFERENCE_TIME start = timeOf(number);
    if (!WaitUntil(start)) {
        return E_ABORT;
    }
    if (m_isFinished) {
        return S_FALSE;
    }
    BYTE* bytes = nullptr;
    if (const HRESULT result = sample->GetPointer(&bytes); FAILED(result)) {
        return result;
    }
    const LONG size = BytesOfFrame(number);
    FrameHeader header;
    header.number = static_cast<std::uint32_t>(number);
    header.periodUs = static_cast<std::uint32_t>(kMicrosecondsPerSecond / m_traffic.perSecond);
    header.sentAt = std::chrono::system_clock::now().time_since_epoch();
    WriteFrame(header, {bytes, static_cast<std::size_t>(size)});
    REFERENCE_TIME stop = timeOf(number + 1);
    sample->SetTime(&start, &stop);
    sample->SetSyncPoint(TRUE);
    m_framesGiven = number + 1;
    m_bytesGiven += static_cast<std::uint64_t>(size);
    return sample->SetActualDataLength(size);
}

ComPtr<CFrameSourceFilter> CFrameSourceFilter::Create(const FrameTraffic& traffic) {
    HRESULT result = S_OK;
    auto filter = ComPtr<CFrameSourceFilter>::Share(new CFrameSourceFilter(traffic, &result));
    return SUCCEEDED(result) ? filter : nullptr;
}

CFrameSourceFilter::CFrameSourceFilter(const FrameTraffic& traffic, HRESULT* result)
    : CTimedSourceFilter(L"Frame source", nullptr, GUID_NULL, result),
      m_pin(new CFrameSourcePin(this, traffic, result)) {}

}  // namespace qrn
