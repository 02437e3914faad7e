#pragma once
/// What the pins of the two receivers do alike.

#include <cstdint>
#include <optional>

#include "qrn/filters.h"
#include "runtime/CNetworkBuffer.h"

namespace qrn {

/// What came with the bytes of a frame.
struct PoppedFrame {
    std::uint32_t length = 0;
    std::uint32_t timestamp = 0;
    std::uint32_t lost = 0;
};

/// Asks the allocator for one buffer of so many bytes. @return E_FAIL when it gives none; smaller ones are taken.
HRESULT AskForOneBuffer(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* request, LONG bytes);

/// Moves the ring's oldest frame into the sample's memory, if there is one and it fits.
std::optional<PoppedFrame> PopInto(IMediaSample& sample, BYTE* data, CNetworkBuffer& ring);

/// Everything of a sample but its bytes. @return what SetTime or SetMediaTime answers.
HRESULT FinishSample(IMediaSample& sample, REFERENCE_TIME start, REFERENCE_TIME stop, std::uint32_t length);

}  // namespace qrn
