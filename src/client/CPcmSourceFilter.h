#pragma once
/// The beginning of a send graph: sound as a microphone would give it.

#include <memory>
#include <string>

#include "client/CTimedSource.h"
#include "client/Pcm.h"
#include "platform/system/Lock.h"

namespace qrn {

class CPcmSourceFilter;

/// Gives blocks of 20 ms, each when the stream time has reached its beginning, stamped with that time; a block that is
/// late goes out at once, so that no time is lost. The wait ends with any command to the worker.
class CPcmSourcePin final : public CTimedSourcePin {
public:
    CPcmSourcePin(CPcmSourceFilter* filter, std::unique_ptr<IPcmSource> source, HRESULT* result);

protected:
    HRESULT FillBuffer(IMediaSample* sample) override;
    using CSourceStream::GetMediaType;
    HRESULT GetMediaType(CMediaType* type) override;
    HRESULT DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* request) override;
    HRESULT OnThreadStartPlay() override;

private:
    HRESULT Fill(IMediaSample* sample);

    CPcmSourceFilter& m_source;
    const std::unique_ptr<IPcmSource> m_pcm;
    const PcmFormat m_format;
    std::uint64_t m_samplesGiven = 0;  // per channel, since the graph runs; worker thread
};

class CPcmSourceFilter final : public CTimedSourceFilter {
public:
    static ComPtr<CPcmSourceFilter> Create(std::unique_ptr<IPcmSource> source);
    CPcmSourceFilter(std::unique_ptr<IPcmSource> source, HRESULT* result);

    /// Why the sound could not be read any further; empty when nothing went wrong. Any thread.
    std::string Failure() const;

private:
    friend class CPcmSourcePin;
    void SetFailure(const std::string& sentence);

    mutable CMutex m_failureLock;
    std::string m_failure QRN_GUARDED_BY(m_failureLock);
};

}  // namespace qrn
