#pragma once

#include <algorithm>
#include <memory>

#include "platform/imaging/IppMemory.h"
#include "platform/imaging/IppTypes.h"

namespace qrn {

/// Rows that a conversion in two steps takes at a time: few enough that they are still in the cache for the second
/// step, and an even number, so that a band holds whole rows of halved chroma.
inline constexpr int kBandRows = 16;

struct FreeBytes {
    void operator()(Ipp8u* bytes) const { ippsFree(bytes); }
};
using ScratchBytes = std::unique_ptr<Ipp8u, FreeBytes>;

/// Calls `convert(firstRow, rows)`, which answers 0 or a failure as libyuv does, for the picture from top to bottom.
template <class Convert>
IppStatus InBands(IppiSize size, Convert convert) {
    for (int row = 0; row < size.height; row += kBandRows) {
        if (convert(row, std::min(kBandRows, size.height - row)) != 0) {
            return ippStsMemAllocErr;
        }
    }
    return ippStsNoErr;
}

/// As above with `convert(firstRow, rows, scratch)`; the scratch has `scratchRowBytes` bytes for each row of a band.
template <class Convert>
IppStatus ThroughScratch(IppiSize size, int scratchRowBytes, Convert convert) {
    const ScratchBytes scratch(ippsMalloc_8u(scratchRowBytes * std::min(kBandRows, size.height)));
    if (scratch == nullptr) {
        return ippStsMemAllocErr;
    }
    return InBands(size, [&](int row, int rows) { return convert(row, rows, scratch.get()); });
}

/// The answer for what a call of libyuv gave: it refuses nothing that CArguments let through but for want of memory.
inline IppStatus FromLibyuv(int result) {
    return result == 0 ? ippStsNoErr : ippStsMemAllocErr;
}

}  // namespace qrn
