#include "platform/imaging/IppBgrToYuv.h"

#include <libyuv/convert_argb.h>
#include <libyuv/planar_functions.h>

#include "platform/imaging/Bands.h"
#include "platform/imaging/CArguments.h"
#include "platform/imaging/IppHdtv.h"
#include "platform/imaging/RowKernels.h"

using qrn::CArguments;
using qrn::RowAt;

namespace {

/// Pixels of 16 bits to 32.
using Widen = int (*)(const uint8_t*, int, uint8_t*, int, int, int);
/// Three planes of 4:2:2 to one.
using Pack = int (*)(const uint8_t*, int, const uint8_t*, int, const uint8_t*, int, uint8_t*, int, int, int);

/// The picture that is read. Pixels of 16 bits come with what makes them wider.
struct Source {
    const Ipp8u* pixels;
    int step;
    int pixelBytes;
    Widen widen = nullptr;

    Source(const Ipp8u* from, int fromStep, int bytes) : pixels(from), step(fromStep), pixelBytes(bytes) {}
    Source(const Ipp16u* from, int fromStep, Widen by)
        : pixels(reinterpret_cast<const Ipp8u*>(from)),
          step(fromStep),
          pixelBytes(2),
          widen(by) {}

    [[nodiscard]] auto Kernel() const {
        return pixelBytes == 3 ? qrn::BestRowKernels().fromBgr24 : qrn::BestRowKernels().fromBgr32;
    }
    [[nodiscard]] int WideBytes(int width) const { return widen == nullptr ? 0 : 4 * width; }

    /// Calls `use(bytes, step)` with pixels as the kernel takes them.
    template <class Use>
    int WithWide(int row, int rows, int width, Ipp8u* scratch, Use use) const {
        const Ipp8u* from = RowAt(pixels, step, row);
        if (widen == nullptr) {
            use(from, step);
            return 0;
        }
        const int result = widen(from, step, scratch, WideBytes(width), width, rows);
        use(static_cast<const Ipp8u*>(scratch), WideBytes(width));
        return result;
    }
};

/// @param cb  which of the destination's planes takes Cb, 1 or 2.
IppStatus ToPlanes(const Source& from, int cb, Ipp8u* const destination[3], const int destinationStep[3], IppiSize size,
                   const qrn::FromBgrFactors& factors = qrn::kBgrToBt601) {
    const IppStatus status =
        CArguments(size).Pixels(from.pixels, from.step, from.pixelBytes).Planes(destination, destinationStep).Status();
    if (status != ippStsNoErr) {
        return status;
    }
    const int cr = 3 - cb;
    const auto kernel = from.Kernel();
    const auto band = [&](int first, int rows, Ipp8u* scratch) {
        return from.WithWide(first, rows, size.width, scratch, [&](const Ipp8u* pixels, int step) {
            for (int row = 0; row < rows; row += 2) {
                const int last = std::min(row + 1, rows - 1);
                kernel(RowAt(pixels, step, row), RowAt(pixels, step, last),
                       {RowAt(destination[0], destinationStep[0], first + row),
                        RowAt(destination[0], destinationStep[0], first + last),
                        RowAt(destination[cb], destinationStep[cb], (first + row) / 2),
                        RowAt(destination[cr], destinationStep[cr], (first + row) / 2)},
                       size.width, factors);
            }
        });
    };
    return qrn::ThroughScratch(size, from.WideBytes(size.width), band);
}

IppStatus ToPacked(const Source& from, Pack pack, Ipp8u* destination, int destinationStep, IppiSize size) {
    const IppStatus status = CArguments(size)
                                 .Pixels(from.pixels, from.step, from.pixelBytes)
                                 .Packed422(destination, destinationStep)
                                 .Status();
    if (status != ippStsNoErr) {
        return status;
    }
    const auto kernel = from.Kernel();
    const qrn::Rows422 planes(size.width);
    const int rowBytes = planes.rowBytes + from.WideBytes(size.width);
    return qrn::ThroughScratch(size, rowBytes, [&](int first, int rows, Ipp8u* scratch) {
        Ipp8u* wide = scratch + static_cast<std::ptrdiff_t>(planes.rowBytes) * rows;
        const int result = from.WithWide(first, rows, size.width, wide, [&](const Ipp8u* pixels, int step) {
            for (int row = 0; row < rows; ++row) {
                Ipp8u* to = RowAt(scratch, planes.rowBytes, row);
                kernel(RowAt(pixels, step, row), RowAt(pixels, step, row),
                       {planes.Luma(to), planes.Luma(to), planes.Cb(to), planes.Cr(to)}, size.width, qrn::kBgrToBt601);
            }
        });
        return result | pack(planes.Luma(scratch), planes.rowBytes, planes.Cb(scratch), planes.rowBytes,
                             planes.Cr(scratch), planes.rowBytes, RowAt(destination, destinationStep, first),
                             destinationStep, size.width, rows);
    });
}

}  // namespace

IppStatus ippiBGRToYCbCr420_8u_C3P3R(const Ipp8u* source, int sourceStep, Ipp8u* const destination[3],
                                     const int destinationStep[3], IppiSize size) {
    return ToPlanes({source, sourceStep, 3}, 1, destination, destinationStep, size);
}

IppStatus ippiBGRToYCbCr420_8u_AC4P3R(const Ipp8u* source, int sourceStep, Ipp8u* const destination[3],
                                      const int destinationStep[3], IppiSize size) {
    return ToPlanes({source, sourceStep, 4}, 1, destination, destinationStep, size);
}

IppStatus ippiBGRToYCrCb420_8u_C3P3R(const Ipp8u* source, int sourceStep, Ipp8u* const destination[3],
                                     const int destinationStep[3], IppiSize size) {
    return ToPlanes({source, sourceStep, 3}, 2, destination, destinationStep, size);
}

IppStatus ippiBGRToYCrCb420_8u_AC4P3R(const Ipp8u* source, int sourceStep, Ipp8u* const destination[3],
                                      const int destinationStep[3], IppiSize size) {
    return ToPlanes({source, sourceStep, 4}, 2, destination, destinationStep, size);
}

IppStatus ippiBGRToYCbCr420_709HDTV_8u_AC4P3R(const Ipp8u* source, int sourceStep, Ipp8u* const destination[3],
                                              const int destinationStep[3], IppiSize size) {
    return ToPlanes({source, sourceStep, 4}, 1, destination, destinationStep, size, qrn::kBgrToBt709);
}

IppStatus ippiBGR565ToYCrCb420_16u8u_C3P3R(const Ipp16u* source, int sourceStep, Ipp8u* const destination[3],
                                           const int destinationStep[3], IppiSize size) {
    return ToPlanes({source, sourceStep, libyuv::RGB565ToARGB}, 2, destination, destinationStep, size);
}

IppStatus ippiBGR555ToYCrCb420_16u8u_C3P3R(const Ipp16u* source, int sourceStep, Ipp8u* const destination[3],
                                           const int destinationStep[3], IppiSize size) {
    return ToPlanes({source, sourceStep, libyuv::ARGB1555ToARGB}, 2, destination, destinationStep, size);
}

IppStatus ippiBGRToYCbCr422_8u_C3C2R(const Ipp8u* source, int sourceStep, Ipp8u* destination, int destinationStep,
                                     IppiSize size) {
    return ToPacked({source, sourceStep, 3}, libyuv::I422ToYUY2, destination, destinationStep, size);
}

IppStatus ippiBGRToYCbCr422_8u_AC4C2R(const Ipp8u* source, int sourceStep, Ipp8u* destination, int destinationStep,
                                      IppiSize size) {
    return ToPacked({source, sourceStep, 4}, libyuv::I422ToYUY2, destination, destinationStep, size);
}

IppStatus ippiBGRToCbYCr422_8u_AC4C2R(const Ipp8u* source, int sourceStep, Ipp8u* destination, int destinationStep,
                                      IppiSize size) {
    return ToPacked({source, sourceStep, 4}, libyuv::I422ToUYVY, destination, destinationStep, size);
}

IppStatus ippiBGR565ToYCbCr422_16u8u_C3C2R(const Ipp16u* source, int sourceStep, Ipp8u* destination,
                                           int destinationStep, IppiSize size) {
    return ToPacked({source, sourceStep, libyuv::RGB565ToARGB}, libyuv::I422ToYUY2, destination, destinationStep, size);
}

IppStatus ippiBGR555ToYCbCr422_16u8u_C3C2R(const Ipp16u* source, int sourceStep, Ipp8u* destination,
                                           int destinationStep, IppiSize size) {
    return ToPacked({source, sourceStep, libyuv::ARGB1555ToARGB}, libyuv::I422ToYUY2, destination, destinationStep,
                    size);
}
