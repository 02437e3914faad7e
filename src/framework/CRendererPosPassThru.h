#pragma once
/// A renderer's position: what it renders, and everything else passed upstream.

#include "framework/CPosPassThru.h"
#include "platform/system/Lock.h"

/// The streaming thread tells what is rendered, any other one asks.
class CRendererPosPassThru : public CPosPassThru {
public:
    CRendererPosPassThru(const wchar_t* name, IUnknown* outer, IPin* pin);

    /// The sample that is rendered, of a segment that begins at `segmentStart` and plays at `rate`. One without a time
    /// changes nothing: VFW_E_SAMPLE_TIME_NOT_SET.
    HRESULT RegisterMediaTime(IMediaSample* sample, REFERENCE_TIME segmentStart, double rate);
    /// From `start` to `end`, in units of 100 nanoseconds.
    HRESULT RegisterMediaTime(LONGLONG start, LONGLONG end);
    /// Nothing is rendered any more: the position is again the one upstream.
    HRESULT ResetMediaTime();
    /// Everything has been rendered: the position is the stop position.
    HRESULT EOS();

    HRESULT GetMediaTime(LONGLONG* start, LONGLONG* end) override;

private:
    enum class Known { kNothing, kSample, kEnd };

    qrn::CMutex m_PositionLock;
    Known m_known QRN_GUARDED_BY(m_PositionLock) = Known::kNothing;
    LONGLONG m_StartMedia QRN_GUARDED_BY(m_PositionLock) = 0;
    LONGLONG m_EndMedia QRN_GUARDED_BY(m_PositionLock) = 0;
};
