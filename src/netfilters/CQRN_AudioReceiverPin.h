#pragma once
/// The output pin of the audio receiver.

#include "platform/system/Clock.h"
#include "qrn/filters.h"
#include "runtime/CLiveSourceStream.h"

class CQRN_AudioReceiverSource;

/// Takes one packet of the filter's ring per sample and stamps it by the stream clock. An empty ring gives an empty
/// sample, so that the graph keeps its time and the renderer meets silence. The engine runs from the first run of the
/// graph until it stops.
class CQRN_AudioReceiverPin final : public CLiveSourceStream {
public:
    CQRN_AudioReceiverPin(CQRN_AudioReceiverSource* filter, HRESULT* result, qrn::IClock& clock);

protected:
    HRESULT FillBuffer(IMediaSample* sample) override;
    using CLiveSourceStream::GetMediaType;
    HRESULT GetMediaType(CMediaType* type) override;
    HRESULT DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* request) override;
    HRESULT OnThreadCreate() override;
    HRESULT OnThreadDestroy() override;
    HRESULT OnThreadStartPlay() override;

private:
    REFERENCE_TIME NextStart(bool isEmpty);

    CQRN_AudioReceiverSource* const m_receiver;
    qrn::IClock& m_clock;

    // Of the pin's thread.
    REFERENCE_TIME m_start = 0;  // stream time of the next sample
    bool m_first = true;
};
