#pragma once
/// A source filter without a thread: the test hands it a block, and the block goes down the graph on the test's thread.

#include <cstdint>
#include <span>

#include "framework/CBaseFilter.h"
#include "framework/CBaseOutputPin.h"
#include "framework/CMediaType.h"

namespace qrn::test {

class CPushSource;

class CPushSourcePin final : public CBaseOutputPin {
public:
    CPushSourcePin(CPushSource* filter, CCritSec* lock, HRESULT* result);

    HRESULT CheckMediaType(const CMediaType* type) override;
    HRESULT GetMediaType(int position, CMediaType* type) override;
    HRESULT DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* request) override;

private:
    CPushSource* const m_source;
};

class CPushSource final : public CBaseFilter {
public:
    /// Offers one media type, in buffers of that size.
    CPushSource(const CMediaType& type, LONG bufferBytes);

    int GetPinCount() override { return 1; }
    CBasePin* GetPin(int position) override { return position == 0 ? &m_pin : nullptr; }

    /// A sample with these bytes through the graph; no times when `start` is negative.
    /// @return what the receiving pin answered.
    HRESULT Push(std::span<const std::uint8_t> data, REFERENCE_TIME start = -1, REFERENCE_TIME stop = -1);

    const CMediaType& Type() const { return m_type; }
    LONG BufferBytes() const { return m_bufferBytes; }

private:
    const CMediaType m_type;
    const LONG m_bufferBytes;
    CCritSec m_filterLock;
    HRESULT m_result = S_OK;
    CPushSourcePin m_pin;
};

/// 16-bit PCM.
CMediaType PcmType(unsigned samplesPerSec, unsigned channels);

}  // namespace qrn::test
