#include "framework/CRendererPosPassThru.h"

#include <cstdint>
#include <optional>

namespace {

/// Where in the media a time of the stream is; nothing past the ends of what can be told.
std::optional<LONGLONG> MediaTimeOf(REFERENCE_TIME time, REFERENCE_TIME segmentStart, double rate) {
    const long double media = static_cast<long double>(segmentStart) + static_cast<long double>(time) * rate;
    if (media >= static_cast<long double>(INT64_MIN) && media <= static_cast<long double>(INT64_MAX)) {
        return static_cast<LONGLONG>(media);
    }
    return std::nullopt;  // also for a rate that is no number
}

}  // namespace

CRendererPosPassThru::CRendererPosPassThru(const wchar_t* name, IUnknown* outer, IPin* pin)
    : CPosPassThru(name, outer, pin) {}

HRESULT CRendererPosPassThru::RegisterMediaTime(IMediaSample* sample, REFERENCE_TIME segmentStart, double rate) {
    REFERENCE_TIME start = 0;
    REFERENCE_TIME end = 0;
    const HRESULT result = sample->GetTime(&start, &end);
    if (FAILED(result)) {
        return result;
    }
    const auto startMedia = MediaTimeOf(start, segmentStart, rate);
    const auto endMedia = MediaTimeOf(end, segmentStart, rate);
    return startMedia && endMedia ? RegisterMediaTime(*startMedia, *endMedia) : E_INVALIDARG;
}

HRESULT CRendererPosPassThru::RegisterMediaTime(LONGLONG start, LONGLONG end) {
    qrn::CScopedLock lock(m_PositionLock);
    m_StartMedia = start;
    m_EndMedia = end;
    m_known = Known::kSample;
    return S_OK;
}

HRESULT CRendererPosPassThru::ResetMediaTime() {
    qrn::CScopedLock lock(m_PositionLock);
    m_known = Known::kNothing;
    return S_OK;
}

HRESULT CRendererPosPassThru::EOS() {
    qrn::CScopedLock lock(m_PositionLock);
    // Where that is, is asked of the source by whoever wants to know, since this is the streaming thread.
    m_known = Known::kEnd;
    return S_OK;
}

HRESULT CRendererPosPassThru::GetMediaTime(LONGLONG* start, LONGLONG* end) {
    Known known{};
    LONGLONG startMedia = 0;
    LONGLONG endMedia = 0;
    {
        qrn::CScopedLock lock(m_PositionLock);
        known = m_known;
        startMedia = m_StartMedia;
        endMedia = m_EndMedia;
    }
    if (known == Known::kNothing) {
        return E_FAIL;
    }
    if (known == Known::kEnd) {
        const HRESULT result = GetStopPosition(start);
        if (SUCCEEDED(result) && end != nullptr) {
            *end = *start;
        }
        return result;
    }
    const HRESULT result = ConvertTimeFormat(start, nullptr, startMedia, &TIME_FORMAT_MEDIA_TIME);
    if (FAILED(result) || end == nullptr) {
        return result;
    }
    return ConvertTimeFormat(end, nullptr, endMedia, &TIME_FORMAT_MEDIA_TIME);
}
