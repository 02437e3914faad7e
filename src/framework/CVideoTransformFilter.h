#pragma once
/// A transform filter that skips pictures when it falls behind and waits for a key picture after a break.

#include <atomic>

#include "framework/CTransformFilter.h"
#include "platform/system/Clock.h"

class CVideoTransformFilter : public CTransformFilter {
public:
    /// @param clock  times Transform.
    CVideoTransformFilter(const wchar_t* name, IUnknown* outer, REFCLSID classId,
                          qrn::IClock& clock = qrn::SystemClock());

    HRESULT Receive(IMediaSample* sample) override;
    /// Takes the lateness; E_FAIL, so that the sender of the message acts as well.
    HRESULT AlterQuality(Quality quality) override;
    /// Both start the quality logic anew. A filter that overrides StartStreaming may leave the base out.
    HRESULT StartStreaming() override;
    HRESULT EndFlush() override;

protected:
    /// Whether the picture is to be left undecoded.
    bool ShouldSkipFrame(IMediaSample* in);
    /// Ends the stream: EC_ERRORABORT with `result`, end of stream downstream. Answers `result`.
    HRESULT AbortPlayback(HRESULT result);

    // Streaming thread, but for m_itrLate.
    /// The longest distance between key pictures seen; 0: not known yet.
    int m_nKeyFramePeriod = 0;
    int m_nFramesSinceKeyFrame = 0;
    bool m_bSkipping = false;
    /// The lateness that the renderer told last, in 100-ns units.
    std::atomic<REFERENCE_TIME> m_itrLate{0};
    /// Pictures left to wait for a key picture before delivering again.
    int m_nWaitForKey = 0;
    /// Running mean of the time in Transform, in 100-ns units.
    int m_itrAvgDecode = 300000;

private:
    HRESULT RestartWithNewType(IMediaSample* sample);
    HRESULT TimedTransform(IMediaSample* in, IMediaSample* out);
    void ResetQuality();

    qrn::IClock& m_clock;
};
