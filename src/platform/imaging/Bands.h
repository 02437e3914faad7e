#pragma once

#include <algorithm>
#include <memory>

#include "platform/imaging/IppMemory.h"
#include "platform/imaging/IppTypes.h"

namespace qrn {

/// Rows that a conversion in two steps takes at a time: few enough that they are still in the cache for the second
/// step, and an even number, so that a band holds whole rows of halved chroma.
inline constexpr int kBandRows = 4;

struct FreeBytes {
    void operator()(Ipp8u* bytes) const { ippsFree(bytes); }
};
using ScratchBytes = std::unique_ptr<Ipp8u, FreeBytes>;

/// Calls `convert(firstRow, rows, scratch)`, which answers 0 or a failure as libyuv does, for the picture from top to
/// bottom. The scratch has `scratchRowBytes` bytes for each row of a band; with none it is null.
template <class Convert>
IppStatus ThroughScratch(IppiSize size, int scratchRowBytes, Convert convert) {
    const ScratchBytes scratch(ippsMalloc_8u(scratchRowBytes * std::min(kBandRows, size.height)));
    if (scratch == nullptr && scratchRowBytes > 0) {
        return ippStsMemAllocErr;
    }
    for (int row = 0; row < size.height; row += kBandRows) {
        if (convert(row, std::min(kBandRows, size.height - row), scratch.get()) != 0) {
            return ippStsMemAllocErr;
        }
    }
    return ippStsNoErr;
}

/// A row of 4:2:2 as three planes in `rowBytes` bytes.
struct Rows422 {
    explicit Rows422(int width) : chroma((width + 1) / 2), rowBytes(4 * chroma) {}

    template <class Byte>
    Byte* Luma(Byte* row) const {
        return row;
    }
    template <class Byte>
    Byte* Cb(Byte* row) const {
        return row + 2 * chroma;
    }
    template <class Byte>
    Byte* Cr(Byte* row) const {
        return row + 3 * chroma;
    }

    int chroma;
    int rowBytes;
};

/// The answer for what a call of libyuv gave: it refuses nothing that CArguments let through but for want of memory.
inline IppStatus FromLibyuv(int result) {
    return result == 0 ? ippStsNoErr : ippStsMemAllocErr;
}

}  // namespace qrn
