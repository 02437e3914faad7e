#pragma once
/// A source filter of a client's own: a sine tone as 16-bit PCM.

#include "framework/CSource.h"
#include "framework/CSourceStream.h"

/// The pin and its worker thread. It makes samples as fast as they are taken and stamps each with its place in the
/// stream; the renderer at the end of the graph holds them back until that time.
class CTonePin final : public CSourceStream {
public:
    CTonePin(CSource* filter, int seconds, HRESULT* result);

protected:
    using CSourceStream::GetMediaType;
    HRESULT GetMediaType(CMediaType* type) override;
    HRESULT DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* request) override;
    HRESULT OnThreadStartPlay() override;
    HRESULT FillBuffer(IMediaSample* sample) override;

private:
    const LONGLONG m_totalFrames;
    LONGLONG m_framesGiven = 0;  // worker thread
};

/// 48000 Hz, one channel, 440 Hz, and then the end of the stream.
class CToneSource final : public CSource {
public:
    /// @return null when there is no memory for it.
    static qrn::ComPtr<IBaseFilter> Create(int seconds);

private:
    CToneSource(int seconds, HRESULT* result);
};
