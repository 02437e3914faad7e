#include "platform/imaging/IppBgrToYuv.h"

#include <libyuv/convert.h>
#include <libyuv/convert_argb.h>
#include <libyuv/convert_from_argb.h>

#include "platform/imaging/Bands.h"
#include "platform/imaging/CArguments.h"

using qrn::CArguments;
using qrn::FromLibyuv;
using qrn::RowAt;

namespace {

using Convert = int (*)(const uint8_t*, int, uint8_t*, int, int, int);
using ConvertToPlanes = int (*)(const uint8_t*, int, uint8_t*, int, uint8_t*, int, uint8_t*, int, int, int);

/// @param cb  which of the destination's planes takes Cb, 1 or 2.
IppStatus ToPlanes(ConvertToPlanes convert, int pixelBytes, int cb, const Ipp8u* source, int sourceStep,
                   Ipp8u* const destination[3], const int destinationStep[3], IppiSize size) {
    const IppStatus status =
        CArguments(size).Pixels(source, sourceStep, pixelBytes).Planes(destination, destinationStep).Status();
    if (status != ippStsNoErr) {
        return status;
    }
    const int cr = 3 - cb;
    return FromLibyuv(convert(source, sourceStep, destination[0], destinationStep[0], destination[cb],
                              destinationStep[cb], destination[cr], destinationStep[cr], size.width, size.height));
}

IppStatus Bgr32ToPacked(Convert convert, const Ipp8u* source, int sourceStep, Ipp8u* destination, int destinationStep,
                        IppiSize size) {
    const IppStatus status =
        CArguments(size).Pixels(source, sourceStep, 4).Packed422(destination, destinationStep).Status();
    if (status != ippStsNoErr) {
        return status;
    }
    return FromLibyuv(convert(source, sourceStep, destination, destinationStep, size.width, size.height));
}

/// To 32-bit pixels in a scratch, and from there to packed 4:2:2.
IppStatus ThroughBgr32(Convert widen, int pixelBytes, const Ipp8u* source, int sourceStep, Ipp8u* destination,
                       int destinationStep, IppiSize size) {
    const IppStatus status =
        CArguments(size).Pixels(source, sourceStep, pixelBytes).Packed422(destination, destinationStep).Status();
    if (status != ippStsNoErr) {
        return status;
    }
    const int scratchStep = 4 * size.width;
    return qrn::ThroughScratch(size, scratchStep, [&](int row, int rows, Ipp8u* scratch) {
        const int first = widen(RowAt(source, sourceStep, row), sourceStep, scratch, scratchStep, size.width, rows);
        const int second = libyuv::ARGBToYUY2(scratch, scratchStep, RowAt(destination, destinationStep, row),
                                              destinationStep, size.width, rows);
        return first | second;
    });
}

}  // namespace

IppStatus ippiBGRToYCbCr420_8u_C3P3R(const Ipp8u* source, int sourceStep, Ipp8u* const destination[3],
                                     const int destinationStep[3], IppiSize size) {
    return ToPlanes(libyuv::RGB24ToI420, 3, 1, source, sourceStep, destination, destinationStep, size);
}

IppStatus ippiBGRToYCbCr420_8u_AC4P3R(const Ipp8u* source, int sourceStep, Ipp8u* const destination[3],
                                      const int destinationStep[3], IppiSize size) {
    return ToPlanes(libyuv::ARGBToI420, 4, 1, source, sourceStep, destination, destinationStep, size);
}

IppStatus ippiBGRToYCrCb420_8u_C3P3R(const Ipp8u* source, int sourceStep, Ipp8u* const destination[3],
                                     const int destinationStep[3], IppiSize size) {
    return ToPlanes(libyuv::RGB24ToI420, 3, 2, source, sourceStep, destination, destinationStep, size);
}

IppStatus ippiBGRToYCrCb420_8u_AC4P3R(const Ipp8u* source, int sourceStep, Ipp8u* const destination[3],
                                      const int destinationStep[3], IppiSize size) {
    return ToPlanes(libyuv::ARGBToI420, 4, 2, source, sourceStep, destination, destinationStep, size);
}

IppStatus ippiBGR565ToYCrCb420_16u8u_C3P3R(const Ipp16u* source, int sourceStep, Ipp8u* const destination[3],
                                           const int destinationStep[3], IppiSize size) {
    return ToPlanes(libyuv::RGB565ToI420, 2, 2, reinterpret_cast<const Ipp8u*>(source), sourceStep, destination,
                    destinationStep, size);
}

IppStatus ippiBGR555ToYCrCb420_16u8u_C3P3R(const Ipp16u* source, int sourceStep, Ipp8u* const destination[3],
                                           const int destinationStep[3], IppiSize size) {
    return ToPlanes(libyuv::ARGB1555ToI420, 2, 2, reinterpret_cast<const Ipp8u*>(source), sourceStep, destination,
                    destinationStep, size);
}

IppStatus ippiBGRToYCbCr422_8u_C3C2R(const Ipp8u* source, int sourceStep, Ipp8u* destination, int destinationStep,
                                     IppiSize size) {
    return ThroughBgr32(libyuv::RGB24ToARGB, 3, source, sourceStep, destination, destinationStep, size);
}

IppStatus ippiBGRToYCbCr422_8u_AC4C2R(const Ipp8u* source, int sourceStep, Ipp8u* destination, int destinationStep,
                                      IppiSize size) {
    return Bgr32ToPacked(libyuv::ARGBToYUY2, source, sourceStep, destination, destinationStep, size);
}

IppStatus ippiBGRToCbYCr422_8u_AC4C2R(const Ipp8u* source, int sourceStep, Ipp8u* destination, int destinationStep,
                                      IppiSize size) {
    return Bgr32ToPacked(libyuv::ARGBToUYVY, source, sourceStep, destination, destinationStep, size);
}

IppStatus ippiBGR565ToYCbCr422_16u8u_C3C2R(const Ipp16u* source, int sourceStep, Ipp8u* destination,
                                           int destinationStep, IppiSize size) {
    return ThroughBgr32(libyuv::RGB565ToARGB, 2, reinterpret_cast<const Ipp8u*>(source), sourceStep, destination,
                        destinationStep, size);
}

IppStatus ippiBGR555ToYCbCr422_16u8u_C3C2R(const Ipp16u* source, int sourceStep, Ipp8u* destination,
                                           int destinationStep, IppiSize size) {
    return ThroughBgr32(libyuv::ARGB1555ToARGB, 2, reinterpret_cast<const Ipp8u*>(source), sourceStep, destination,
                        destinationStep, size);
}
