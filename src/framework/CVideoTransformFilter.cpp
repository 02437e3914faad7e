#include "framework/CVideoTransformFilter.h"

#include <algorithm>

namespace {

constexpr REFERENCE_TIME kLatenessLimit = 300'000'000;  // 30 s
constexpr int kFramesToWaitForKey = 30;
constexpr int kFirstGuessOfDecodeTime = 300'000;  // 30 ms
/// Milliseconds to 100-ns units, divided by the 16 of the running mean.
constexpr std::uint32_t kMeanShareOfOneMs = 625;
/// A Transform that takes longer than this counts as taking this long, so that the mean stays a number.
constexpr std::uint32_t kLongestTransformMs = 100'000;

}  // namespace

CVideoTransformFilter::CVideoTransformFilter(const wchar_t* name, IUnknown* outer, REFCLSID classId, qrn::IClock& clock)
    : CTransformFilter(name, outer, classId),
      m_clock(clock) {}

HRESULT CVideoTransformFilter::Receive(IMediaSample* sample) {
    if (m_pInput->SampleProps()->dwStreamId != AM_STREAM_MEDIA) {
        return m_pOutput->Deliver(sample);
    }
    HRESULT result = RestartWithNewType(sample);
    if (FAILED(result)) {
        return AbortPlayback(result);
    }
    if (ShouldSkipFrame(sample)) {
        m_bSampleSkipped = true;
        m_pOutput->Counters().CountSkipped();
        return S_OK;
    }
    qrn::ComPtr<IMediaSample> out;
    result = InitializeOutputSample(sample, out.Put());
    if (FAILED(result)) {
        return result;
    }
    AM_MEDIA_TYPE* outType = nullptr;
    if (out->GetMediaType(&outType) == S_OK && outType != nullptr) {
        DeleteMediaType(outType);
        m_nWaitForKey = kFramesToWaitForKey;
    }
    if (sample->IsDiscontinuity() == S_OK) {
        m_nWaitForKey = kFramesToWaitForKey;
    }
    result = TimedTransform(sample, out.Get());
    if (m_nWaitForKey != 0) {
        --m_nWaitForKey;
        if (sample->IsSyncPoint() == S_OK) {
            m_nWaitForKey = 0;
        }
    }
    if (m_nWaitForKey != 0 && result == S_OK) {
        result = S_FALSE;
    }
    return FinishSample(result, out.Get());
}

HRESULT CVideoTransformFilter::RestartWithNewType(IMediaSample* sample) {
    AM_MEDIA_TYPE* record = nullptr;
    if (sample->GetMediaType(&record) != S_OK || record == nullptr) {
        return S_OK;
    }
    const CMediaType type(*record);
    DeleteMediaType(record);
    StopStreaming();
    const HRESULT result = m_pInput->SetMediaType(&type);
    return FAILED(result) ? result : StartStreaming();
}

HRESULT CVideoTransformFilter::TimedTransform(IMediaSample* in, IMediaSample* out) {
    const std::uint32_t startMs = qrn::TimeMs(m_clock);
    const HRESULT result = Transform(in, out);
    const std::uint32_t takenMs = std::min(qrn::TimeMs(m_clock) - startMs, kLongestTransformMs);
    m_itrAvgDecode = static_cast<int>(takenMs * kMeanShareOfOneMs) + 15 * (m_itrAvgDecode / 16);
    return result;
}

bool CVideoTransformFilter::ShouldSkipFrame(IMediaSample* in) {
    REFERENCE_TIME start = 0;
    REFERENCE_TIME stop = 0;
    if (FAILED(in->GetTime(&start, &stop))) {
        return false;
    }
    REFERENCE_TIME frame = 0;
    if (__builtin_sub_overflow(stop, start, &frame)) {
        return false;  // no times to speak of
    }
    if (in->IsSyncPoint() == S_OK) {
        m_nKeyFramePeriod = std::max(m_nKeyFramePeriod, m_nFramesSinceKeyFrame);
        m_nFramesSinceKeyFrame = 0;
        m_bSkipping = false;
    } else if (m_nKeyFramePeriod > 0) {
        m_nKeyFramePeriod = std::max(m_nKeyFramePeriod, m_nFramesSinceKeyFrame);
    }
    const REFERENCE_TIME late = m_itrLate;
    const REFERENCE_TIME framesToKey = static_cast<REFERENCE_TIME>(m_nKeyFramePeriod) - m_nFramesSinceKeyFrame - 1;
    REFERENCE_TIME msToKey = 0;
    const bool isFar = __builtin_mul_overflow(frame / 10000, framesToKey, &msToKey);
    if (static_cast<REFERENCE_TIME>(m_itrAvgDecode) * 4 > frame && late > frame && m_nKeyFramePeriod > 0 && !isFar &&
        late / 10000 > msToKey) {
        m_bSkipping = true;
    }
    ++m_nFramesSinceKeyFrame;
    if (m_bSkipping) {
        // Each picture left out makes up for its own duration; the renderer's next message tells how late it is then.
        m_itrLate = late - frame;
        NotifyQualityChange();
    }
    return m_bSkipping;
}

HRESULT CVideoTransformFilter::AbortPlayback(HRESULT result) {
    NotifyEvent(EC_ERRORABORT, result, 0);
    m_pOutput->DeliverEndOfStream();
    return result;
}

HRESULT CVideoTransformFilter::AlterQuality(Quality quality) {
    m_itrLate = m_itrLate > kLatenessLimit ? kLatenessLimit : quality.Late;
    return E_FAIL;
}

HRESULT CVideoTransformFilter::StartStreaming() {
    ResetQuality();
    return S_OK;
}

HRESULT CVideoTransformFilter::EndFlush() {
    {
        CAutoLock lock(&m_csReceive);
        ResetQuality();
    }
    return CTransformFilter::EndFlush();
}

void CVideoTransformFilter::ResetQuality() {
    m_itrLate = 0;
    m_nKeyFramePeriod = 0;
    m_nFramesSinceKeyFrame = 0;
    m_bSkipping = false;
    m_itrAvgDecode = kFirstGuessOfDecodeTime;
    m_bQualityChanged = false;
    m_bSampleSkipped = false;
}
