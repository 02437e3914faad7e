#include "platform/imaging/IppPlane.h"

#include <libyuv/planar_functions.h>

#include <algorithm>
#include <array>
#include <cstring>

#include "platform/imaging/CArguments.h"

using qrn::CArguments;
using qrn::RowAt;

namespace {

/// Through a block that stays in the first-level cache: three copies of memory that memcpy does at full speed.
void SwapRows(Ipp8u* first, Ipp8u* second, std::size_t bytes) {
    std::array<Ipp8u, 4096> block;
    for (std::size_t done = 0; done < bytes; done += block.size()) {
        const std::size_t count = std::min(block.size(), bytes - done);
        std::memcpy(block.data(), first + done, count);
        std::memcpy(first + done, second + done, count);
        std::memcpy(second + done, block.data(), count);
    }
}

template <std::size_t PixelBytes>
void ReverseRow(Ipp8u* row, int width) {
    using Pixel = std::array<Ipp8u, PixelBytes>;
    static_assert(sizeof(Pixel) == PixelBytes && alignof(Pixel) == 1);
    auto* pixels = reinterpret_cast<Pixel*>(row);
    std::reverse(pixels, pixels + width);
}

template <std::size_t PixelBytes>
IppStatus Mirror(Ipp8u* picture, int step, IppiSize size, IppiAxis axis) {
    const IppStatus status = CArguments(size).Pixels(picture, step, PixelBytes).Status();
    if (status != ippStsNoErr) {
        return status;
    }
    if (axis != ippAxsHorizontal && axis != ippAxsVertical && axis != ippAxsBoth) {
        return ippStsMirrorFlipErr;
    }
    if (axis != ippAxsVertical) {
        for (int top = 0, bottom = size.height - 1; top < bottom; ++top, --bottom) {
            SwapRows(RowAt(picture, step, top), RowAt(picture, step, bottom), PixelBytes * size.width);
        }
    }
    if (axis != ippAxsHorizontal) {
        for (int row = 0; row < size.height; ++row) {
            ReverseRow<PixelBytes>(RowAt(picture, step, row), size.width);
        }
    }
    return ippStsNoErr;
}

}  // namespace

IppStatus ippiCopy_8u_C1R(const Ipp8u* source, int sourceStep, Ipp8u* destination, int destinationStep, IppiSize size) {
    const IppStatus status =
        CArguments(size).Pixels(source, sourceStep, 1).Pixels(destination, destinationStep, 1).Status();
    if (status == ippStsNoErr) {
        libyuv::CopyPlane(source, sourceStep, destination, destinationStep, size.width, size.height);
    }
    return status;
}

IppStatus ippiCopy_16s_C1R(const Ipp16s* source, int sourceStep, Ipp16s* destination, int destinationStep,
                           IppiSize size) {
    const IppStatus status =
        CArguments(size).Pixels(source, sourceStep, 2).Pixels(destination, destinationStep, 2).Status();
    if (status == ippStsNoErr) {
        // As bytes, since a step need not be a whole number of samples.
        libyuv::CopyPlane(reinterpret_cast<const Ipp8u*>(source), sourceStep, reinterpret_cast<Ipp8u*>(destination),
                          destinationStep, size.width * 2, size.height);
    }
    return status;
}

IppStatus ippiMirror_8u_C1IR(Ipp8u* picture, int step, IppiSize size, IppiAxis axis) {
    return Mirror<1>(picture, step, size, axis);
}

IppStatus ippiMirror_8u_C3IR(Ipp8u* picture, int step, IppiSize size, IppiAxis axis) {
    return Mirror<3>(picture, step, size, axis);
}

IppStatus ippiMirror_8u_C4IR(Ipp8u* picture, int step, IppiSize size, IppiAxis axis) {
    return Mirror<4>(picture, step, size, axis);
}
