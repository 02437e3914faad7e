#pragma once
/// Media samples for filters that are called without a graph.

#include <algorithm>
#include <cstdint>
#include <span>
#include <stdexcept>

#include "framework/CMediaType.h"
#include "framework/CMemAllocator.h"
#include "qrn/QRN_Media2.h"

namespace qrn::test {

/// Gives single samples of 4000 bytes.
class CSampleMaker {
public:
    CSampleMaker() {
        ALLOCATOR_PROPERTIES actual{};
        const ALLOCATOR_PROPERTIES wanted{.cBuffers = 2, .cbBuffer = 4000, .cbAlign = 1, .cbPrefix = 0};
        if (FAILED(CreateMemoryAllocator(m_allocator.Put())) || FAILED(m_allocator->SetProperties(&wanted, &actual)) ||
            FAILED(m_allocator->Commit())) {
            throw std::runtime_error("no allocator");
        }
    }
    ~CSampleMaker() { m_allocator->Decommit(); }
    CSampleMaker(const CSampleMaker&) = delete;
    CSampleMaker& operator=(const CSampleMaker&) = delete;

    /// Without a time when `start` is null.
    ComPtr<IMediaSample> Make(std::span<const std::uint8_t> data, const REFERENCE_TIME* start = nullptr) {
        ComPtr<IMediaSample> sample;
        BYTE* buffer = nullptr;
        if (FAILED(m_allocator->GetBuffer(sample.Put(), nullptr, nullptr, 0)) || FAILED(sample->GetPointer(&buffer))) {
            throw std::runtime_error("no sample");
        }
        std::ranges::copy(data, buffer);
        sample->SetActualDataLength(static_cast<LONG>(data.size()));
        sample->SetTime(start, nullptr);
        sample->SetPreroll(FALSE);
        return sample;
    }

private:
    ComPtr<IMemAllocator> m_allocator;
};

/// An audio type whose format block begins with `tag`.
inline CMediaType AudioType(WORD tag) {
    WAVEFORMATEX format{};
    format.wFormatTag = tag;
    format.nChannels = 1;
    format.nBlockAlign = 1;
    CMediaType type;
    CreateAudioMediaType(format, &type, true);
    return type;
}

}  // namespace qrn::test
