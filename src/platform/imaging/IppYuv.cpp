#include "platform/imaging/IppYuv.h"

#include <libyuv/convert.h>
#include <libyuv/convert_from.h>
#include <libyuv/planar_functions.h>

#include <algorithm>
#include <array>

#include "platform/imaging/Bands.h"
#include "platform/imaging/CArguments.h"

using qrn::CArguments;
using qrn::FromLibyuv;
using qrn::HalfUp;
using qrn::QuarterUp;
using qrn::RowAt;

namespace {

using ToThreePlanes = int (*)(const uint8_t*, int, uint8_t*, int, uint8_t*, int, uint8_t*, int, int, int);
using ThreePlanesToPacked = int (*)(const uint8_t*, int, const uint8_t*, int, const uint8_t*, int, uint8_t*, int, int,
                                    int);

/// Where a conversion finds Cb and Cr among three planes.
enum class Order { kYCbCr, kYCrCb };

constexpr int CbPlane(Order order) {
    return order == Order::kYCbCr ? 1 : 2;
}

IppStatus PackedToPlanes(ToThreePlanes convert, Order order, const Ipp8u* source, int sourceStep,
                         Ipp8u* const destination[3], const int destinationStep[3], IppiSize size) {
    const IppStatus status =
        CArguments(size).Packed422(source, sourceStep).Planes(destination, destinationStep).Status();
    if (status != ippStsNoErr) {
        return status;
    }
    const int cb = CbPlane(order);
    const int cr = 3 - cb;
    return FromLibyuv(convert(source, sourceStep, destination[0], destinationStep[0], destination[cb],
                              destinationStep[cb], destination[cr], destinationStep[cr], size.width, size.height));
}

/// By way of three planes, since libyuv's own YUY2ToNV12 spoils the chroma of widths that are no multiple of its block.
IppStatus PackedToTwoPlanes(ToThreePlanes convert, const Ipp8u* source, int sourceStep, Ipp8u* const destination[2],
                            const int destinationStep[2], IppiSize size) {
    const IppStatus status =
        CArguments(size).Packed422(source, sourceStep).TwoPlanes(destination, destinationStep).Status();
    if (status != ippStsNoErr) {
        return status;
    }
    const int half = HalfUp(size.width);
    return qrn::ThroughScratch(size, 2 * half, [&](int row, int rows, Ipp8u* cb) {
        const int chromaRows = HalfUp(rows);
        Ipp8u* cr = cb + half * chromaRows;
        const int result =
            convert(RowAt(source, sourceStep, row), sourceStep, RowAt(destination[0], destinationStep[0], row),
                    destinationStep[0], cb, half, cr, half, size.width, rows);
        libyuv::MergeUVPlane(cb, half, cr, half, RowAt(destination[1], destinationStep[1], row / 2), destinationStep[1],
                             half, chromaRows);
        return result;
    });
}

IppStatus PlanesToPacked(ThreePlanesToPacked convert, Order order, const Ipp8u* const source[3],
                         const int sourceStep[3], Ipp8u* destination, int destinationStep, IppiSize size) {
    const IppStatus status =
        CArguments(size).Planes(source, sourceStep).Packed422(destination, destinationStep).Status();
    if (status != ippStsNoErr) {
        return status;
    }
    const int cb = CbPlane(order);
    const int cr = 3 - cb;
    return FromLibyuv(convert(source[0], sourceStep[0], source[cb], sourceStep[cb], source[cr], sourceStep[cr],
                              destination, destinationStep, size.width, size.height));
}

/// Splits the chroma of a band into planes and packs it from there.
IppStatus TwoPlanesToPacked(ThreePlanesToPacked convert, const Ipp8u* const source[2], const int sourceStep[2],
                            Ipp8u* destination, int destinationStep, IppiSize size) {
    const IppStatus status =
        CArguments(size).TwoPlanes(source, sourceStep).Packed422(destination, destinationStep).Status();
    if (status != ippStsNoErr) {
        return status;
    }
    const int half = HalfUp(size.width);
    return qrn::ThroughScratch(size, 2 * half, [&](int row, int rows, Ipp8u* cb) {
        const int chromaRows = HalfUp(rows);
        Ipp8u* cr = cb + half * chromaRows;
        libyuv::SplitUVPlane(RowAt(source[1], sourceStep[1], row / 2), sourceStep[1], cb, half, cr, half, half,
                             chromaRows);
        return convert(RowAt(source[0], sourceStep[0], row), sourceStep[0], cb, half, cr, half,
                       RowAt(destination, destinationStep, row), destinationStep, size.width, rows);
    });
}

/// Exchanges the two bytes of every pair, which leads from either packed order to the other.
IppStatus ExchangeBytes(const Ipp8u* source, int sourceStep, Ipp8u* destination, int destinationStep, IppiSize size) {
    const IppStatus status =
        CArguments(size).Packed422(source, sourceStep).Packed422(destination, destinationStep).Status();
    if (status != ippStsNoErr) {
        return status;
    }
    static constexpr std::array<uint8_t, 16> kPairs = {1, 0, 3, 2, 5, 4, 7, 6, 9, 8, 11, 10, 13, 12, 15, 14};
    return FromLibyuv(libyuv::ARGBShuffle(source, sourceStep, destination, destinationStep, kPairs.data(),
                                          HalfUp(size.width), size.height));
}

IppStatus CheckThreeToThree(const Ipp8u* const source[3], const int sourceStep[3], Ipp8u* const destination[3],
                            const int destinationStep[3], IppiSize size) {
    return CArguments(size).Planes(source, sourceStep).Planes(destination, destinationStep).Status();
}

void HalveRow(const Ipp8u* source, Ipp8u* destination, int sourceWidth) {
    for (int column = 0; column < sourceWidth / 2; ++column) {
        destination[column] = static_cast<Ipp8u>((source[2 * column] + source[2 * column + 1] + 1) >> 1);
    }
    if (sourceWidth % 2 != 0) {
        destination[sourceWidth / 2] = source[sourceWidth - 1];
    }
}

}  // namespace

IppStatus ippiYCbCr422ToCbYCr422_8u_C2R(const Ipp8u* source, int sourceStep, Ipp8u* destination, int destinationStep,
                                        IppiSize size) {
    return ExchangeBytes(source, sourceStep, destination, destinationStep, size);
}

IppStatus ippiCbYCr422ToYCbCr422_8u_C2R(const Ipp8u* source, int sourceStep, Ipp8u* destination, int destinationStep,
                                        IppiSize size) {
    return ExchangeBytes(source, sourceStep, destination, destinationStep, size);
}

IppStatus ippiYCbCr422ToYCbCr420_8u_C2P3R(const Ipp8u* source, int sourceStep, Ipp8u* const destination[3],
                                          const int destinationStep[3], IppiSize size) {
    return PackedToPlanes(libyuv::YUY2ToI420, Order::kYCbCr, source, sourceStep, destination, destinationStep, size);
}

IppStatus ippiYCbCr422ToYCrCb420_8u_C2P3R(const Ipp8u* source, int sourceStep, Ipp8u* const destination[3],
                                          const int destinationStep[3], IppiSize size) {
    return PackedToPlanes(libyuv::YUY2ToI420, Order::kYCrCb, source, sourceStep, destination, destinationStep, size);
}

IppStatus ippiYCrCb422ToYCbCr420_8u_C2P3R(const Ipp8u* source, int sourceStep, Ipp8u* const destination[3],
                                          const int destinationStep[3], IppiSize size) {
    return PackedToPlanes(libyuv::UYVYToI420, Order::kYCbCr, source, sourceStep, destination, destinationStep, size);
}

IppStatus ippiCbYCr422ToYCrCb420_8u_C2P3R(const Ipp8u* source, int sourceStep, Ipp8u* const destination[3],
                                          const int destinationStep[3], IppiSize size) {
    return PackedToPlanes(libyuv::UYVYToI420, Order::kYCrCb, source, sourceStep, destination, destinationStep, size);
}

IppStatus ippiYCrCb422ToYCbCr422_8u_C2P3R(const Ipp8u* source, int sourceStep, Ipp8u* const destination[3],
                                          const int destinationStep[3], IppiSize size) {
    // What libyuv takes for Cb is Cr here.
    return PackedToPlanes(libyuv::YUY2ToI422, Order::kYCrCb, source, sourceStep, destination, destinationStep, size);
}

IppStatus ippiCbYCr422ToYCbCr422_8u_C2P3R(const Ipp8u* source, int sourceStep, Ipp8u* const destination[3],
                                          const int destinationStep[3], IppiSize size) {
    return PackedToPlanes(libyuv::UYVYToI422, Order::kYCbCr, source, sourceStep, destination, destinationStep, size);
}

IppStatus ippiYCbCr422ToYCbCr420_8u_C2P2R(const Ipp8u* source, int sourceStep, Ipp8u* const destination[2],
                                          const int destinationStep[2], IppiSize size) {
    return PackedToTwoPlanes(libyuv::YUY2ToI420, source, sourceStep, destination, destinationStep, size);
}

IppStatus ippiCbYCr422ToYCbCr420_8u_C2P2R(const Ipp8u* source, int sourceStep, Ipp8u* const destination[2],
                                          const int destinationStep[2], IppiSize size) {
    return PackedToTwoPlanes(libyuv::UYVYToI420, source, sourceStep, destination, destinationStep, size);
}

IppStatus ippiYCbCr420ToYCbCr422_8u_P2C2R(const Ipp8u* const source[2], const int sourceStep[2], Ipp8u* destination,
                                          int destinationStep, IppiSize size) {
    return TwoPlanesToPacked(libyuv::I420ToYUY2, source, sourceStep, destination, destinationStep, size);
}

IppStatus ippiYCbCr420ToCbYCr422_8u_P2C2R(const Ipp8u* const source[2], const int sourceStep[2], Ipp8u* destination,
                                          int destinationStep, IppiSize size) {
    return TwoPlanesToPacked(libyuv::I420ToUYVY, source, sourceStep, destination, destinationStep, size);
}

IppStatus ippiYCbCr420_8u_P2P3R(const Ipp8u* const source[2], const int sourceStep[2], Ipp8u* const destination[3],
                                const int destinationStep[3], IppiSize size) {
    const IppStatus status =
        CArguments(size).TwoPlanes(source, sourceStep).Planes(destination, destinationStep).Status();
    if (status != ippStsNoErr) {
        return status;
    }
    return FromLibyuv(libyuv::NV12ToI420(source[0], sourceStep[0], source[1], sourceStep[1], destination[0],
                                         destinationStep[0], destination[1], destinationStep[1], destination[2],
                                         destinationStep[2], size.width, size.height));
}

IppStatus ippiYCrCb420ToYCbCr420_8u_P3P2R(const Ipp8u* const source[3], const int sourceStep[3],
                                          Ipp8u* const destination[2], const int destinationStep[2], IppiSize size) {
    const IppStatus status =
        CArguments(size).Planes(source, sourceStep).TwoPlanes(destination, destinationStep).Status();
    if (status != ippStsNoErr) {
        return status;
    }
    return FromLibyuv(libyuv::I420ToNV12(source[0], sourceStep[0], source[2], sourceStep[2], source[1], sourceStep[1],
                                         destination[0], destinationStep[0], destination[1], destinationStep[1],
                                         size.width, size.height));
}

IppStatus ippiYCrCb420ToYCbCr422_8u_P3C2R(const Ipp8u* const source[3], const int sourceStep[3], Ipp8u* destination,
                                          int destinationStep, IppiSize size) {
    return PlanesToPacked(libyuv::I420ToYUY2, Order::kYCrCb, source, sourceStep, destination, destinationStep, size);
}

IppStatus ippiYCrCb420ToCbYCr422_8u_P3C2R(const Ipp8u* const source[3], const int sourceStep[3], Ipp8u* destination,
                                          int destinationStep, IppiSize size) {
    return PlanesToPacked(libyuv::I420ToUYVY, Order::kYCrCb, source, sourceStep, destination, destinationStep, size);
}

IppStatus ippiYCbCr422_8u_P3C2R(const Ipp8u* const source[3], const int sourceStep[3], Ipp8u* destination,
                                int destinationStep, IppiSize size) {
    return PlanesToPacked(libyuv::I422ToYUY2, Order::kYCbCr, source, sourceStep, destination, destinationStep, size);
}

IppStatus ippiYCbCr420ToYCbCr422_8u_P3R(const Ipp8u* const source[3], const int sourceStep[3],
                                        Ipp8u* const destination[3], const int destinationStep[3], IppiSize size) {
    const IppStatus status = CheckThreeToThree(source, sourceStep, destination, destinationStep, size);
    if (status != ippStsNoErr) {
        return status;
    }
    libyuv::CopyPlane(source[0], sourceStep[0], destination[0], destinationStep[0], size.width, size.height);
    const int half = HalfUp(size.width);
    for (int plane = 1; plane < 3; ++plane) {
        // Each source row is written twice; plain copies, so that the values stay what they were.
        for (int row = 0; row < size.height; ++row) {
            libyuv::CopyPlane(RowAt(source[plane], sourceStep[plane], row / 2), half,
                              RowAt(destination[plane], destinationStep[plane], row), half, half, 1);
        }
    }
    return ippStsNoErr;
}

IppStatus ippiYCbCr422ToYCbCr420_8u_P3R(const Ipp8u* const source[3], const int sourceStep[3],
                                        Ipp8u* const destination[3], const int destinationStep[3], IppiSize size) {
    const IppStatus status = CheckThreeToThree(source, sourceStep, destination, destinationStep, size);
    if (status != ippStsNoErr) {
        return status;
    }
    libyuv::CopyPlane(source[0], sourceStep[0], destination[0], destinationStep[0], size.width, size.height);
    constexpr int kHalf = 128;
    for (int plane = 1; plane < 3; ++plane) {
        for (int row = 0; row < size.height; row += 2) {
            const Ipp8u* upper = RowAt(source[plane], sourceStep[plane], row);
            const Ipp8u* lower = row + 1 < size.height ? upper + sourceStep[plane] : upper;
            Ipp8u* mean = RowAt(destination[plane], destinationStep[plane], row / 2);
            libyuv::InterpolatePlane(upper, 0, lower, 0, mean, 0, HalfUp(size.width), 1, kHalf);
        }
    }
    return ippStsNoErr;
}

IppStatus ippiYCbCr420To411_8u_P3R(const Ipp8u* const source[3], const int sourceStep[3], Ipp8u* const destination[3],
                                   const int destinationStep[3], IppiSize size) {
    const IppStatus status =
        CArguments(size).Planes(source, sourceStep).Planes411(destination, destinationStep).Status();
    if (status != ippStsNoErr) {
        return status;
    }
    libyuv::CopyPlane(source[0], sourceStep[0], destination[0], destinationStep[0], size.width, size.height);
    for (int plane = 1; plane < 3; ++plane) {
        for (int row = 0; row < size.height; ++row) {
            Ipp8u* quartered = RowAt(destination[plane], destinationStep[plane], row);
            if (row % 2 == 0) {
                HalveRow(RowAt(source[plane], sourceStep[plane], row / 2), quartered, HalfUp(size.width));
            } else {
                std::copy_n(quartered - destinationStep[plane], QuarterUp(size.width), quartered);
            }
        }
    }
    return ippStsNoErr;
}
