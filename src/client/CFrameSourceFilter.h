#pragma once
/// The beginning of a send graph of made-up frames: what a video encoder would give.

#include <atomic>

#include "client/CTimedSource.h"
#include "client/FrameOptions.h"

namespace qrn {

/// Gives each frame when its turn has come; one that is late goes out at once, so that none is left out.
class CFrameSourcePin final : public CTimedSourcePin {
public:
    CFrameSourcePin(CTimedSourceFilter* filter, const FrameTraffic& traffic, HRESULT* result);

    /// Ends the stream before the next frame. Any thread.
    void Finish() { m_isFinished = true; }
    /// Any thread.
    std::uint64_t FramesGiven() const { return m_framesGiven; }
    std::uint64_t BytesGiven() const { return m_bytesGiven; }

protected:
    HRESULT FillBuffer(IMediaSample* sample) override;
    using CSourceStream::GetMediaType;
    HRESULT GetMediaType(CMediaType* type) override;
    HRESULT DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* request) override;

private:
    LONG BytesOfFrame(std::uint64_t number) const;

    const FrameTraffic m_traffic;
    std::atomic<std::uint64_t> m_framesGiven{0};  // written by the worker
    std::atomic<std::uint64_t> m_bytesGiven{0};
    std::atomic<bool> m_isFinished{false};
};

class CFrameSourceFilter final : public CTimedSourceFilter {
public:
    static ComPtr<CFrameSourceFilter> Create(const FrameTraffic& traffic);
    CFrameSourceFilter(const FrameTraffic& traffic, HRESULT* result);

    CFrameSourcePin& Frames() const { return *m_pin; }

private:
    CFrameSourcePin* m_pin;  // owned by the filter's list of pins
};

}  // namespace qrn
