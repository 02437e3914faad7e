#pragma once
/// A filter of one input and one output pin that makes output samples from input samples.

#include <memory>

#include "framework/CBaseFilter.h"
#include "framework/CTransformInputPin.h"
#include "framework/CTransformOutputPin.h"

/// Receive runs on the upstream filter's streaming thread and holds m_csReceive. State changes hold m_csFilter and
/// then, where they touch what Receive uses, m_csReceive: never the other way round.
class CTransformFilter : public CBaseFilter {
public:
    CTransformFilter(const wchar_t* name, IUnknown* outer, REFCLSID classId);
    ~CTransformFilter() override;

    // CBaseFilter. The pins are made on first request; ids "In" and "Out".
    int GetPinCount() override;
    CBasePin* GetPin(int index) override;
    HRESULT FindPin(const wchar_t* id, IPin** pin) override;
    HRESULT Stop() override;
    HRESULT Pause() override;

    /// S_OK: `out` is to be delivered. S_FALSE: nothing this time. A failure is Receive's answer.
    virtual HRESULT Transform(IMediaSample* in, IMediaSample* out);

    // Of the negotiation
    virtual HRESULT CheckInputType(const CMediaType* in) = 0;
    virtual HRESULT CheckTransform(const CMediaType* in, const CMediaType* out) = 0;
    virtual HRESULT DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* request) = 0;
    /// The output types; asked only while the input is connected.
    virtual HRESULT GetMediaType(int position, CMediaType* type) = 0;

    /// Stopped to paused, with both pins connected; a failure keeps the filter stopped.
    virtual HRESULT StartStreaming();
    virtual HRESULT StopStreaming();
    /// S_FALSE: the message goes on upstream.
    virtual HRESULT AlterQuality(Quality quality);
    virtual HRESULT SetMediaType(PIN_DIRECTION direction, const CMediaType* type);
    virtual HRESULT CheckConnect(PIN_DIRECTION direction, IPin* pin);
    virtual HRESULT BreakConnect(PIN_DIRECTION direction);
    virtual HRESULT CompleteConnect(PIN_DIRECTION direction, IPin* receivePin);

    // Of the stream, called by the input pin
    virtual HRESULT Receive(IMediaSample* sample);
    virtual HRESULT EndOfStream();
    virtual HRESULT BeginFlush();
    virtual HRESULT EndFlush();
    virtual HRESULT NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate);

protected:
    friend class CTransformInputPin;
    friend class CTransformOutputPin;

    /// A delivery buffer with the properties of `sample`: times, sync point, discontinuity, preroll and media times.
    HRESULT InitializeOutputSample(IMediaSample* sample, IMediaSample** out);
    /// What follows Transform: delivers on S_OK; on S_FALSE marks the sample as skipped and tells the graph, once.
    HRESULT FinishSample(HRESULT result, IMediaSample* out);
    /// Sends EC_QUALITY_CHANGE, once until the filter is stopped.
    void NotifyQualityChange();

    std::unique_ptr<CTransformInputPin> m_pInput;
    std::unique_ptr<CTransformOutputPin> m_pOutput;
    /// The last sample was not delivered. Streaming thread.
    bool m_bSampleSkipped = false;
    /// EC_QUALITY_CHANGE has been sent. Streaming thread.
    bool m_bQualityChanged = false;
    bool m_bEOSDelivered = false;
    CCritSec m_csFilter;
    CCritSec m_csReceive;

private:
    void MakePins();
    bool IsWired() const;
    void CopyProperties(IMediaSample* sample, IMediaSample* out);

    qrn::CMutex m_pinsLock;  // while the pins are made
};
