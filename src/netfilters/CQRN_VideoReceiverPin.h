#pragma once
/// The output pin of the video receiver.

#include "netfilters/CLipSync.h"
#include "netfilters/ReceiverPinHelp.h"
#include "platform/system/Clock.h"
#include "qrn/filters.h"
#include "runtime/CLiveSourceStream.h"

class CQRN_VideoReceiverSource;
struct VideoReceiverLinks;

/// Takes one frame of the filter's ring per sample and stamps it, by the audio stream when the filter is linked with
/// one, else at the frame period; wire times then do not count. An empty ring gives an empty sample, with which the
/// decompressor repeats its picture. The engine runs from the first run of the graph until it stops.
class CQRN_VideoReceiverPin final : public CLiveSourceStream {
public:
    CQRN_VideoReceiverPin(CQRN_VideoReceiverSource* filter, HRESULT* result, qrn::IClock& clock);

    /// Looks whether the filter at the other end is a video decompressor.
    HRESULT CompleteConnect(IPin* receivePin) override;
    HRESULT BreakConnect() override;

protected:
    HRESULT FillBuffer(IMediaSample* sample) override;
    using CLiveSourceStream::GetMediaType;
    HRESULT GetMediaType(CMediaType* type) override;
    HRESULT DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* request) override;
    HRESULT OnThreadDestroy() override;
    HRESULT OnThreadStartPlay() override;

private:
    void FollowAudio(const qrn::PoppedFrame& frame, const VideoReceiverLinks& links);
    REFERENCE_TIME NextStart(bool isEmpty, bool hasPeriod);

    CQRN_VideoReceiverSource* const m_receiver;
    qrn::IClock& m_clock;

    // Of the pin's thread, but for the size, which is agreed before it runs.
    qrn::CLipSync m_lipSync;
    REFERENCE_TIME m_start = 0;  // stream time of the next sample
    bool m_first = true;
    LONG m_sampleSize = 0;
};
