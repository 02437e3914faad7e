#include "platform/imaging/IppYuvToBgr.h"

#include <libyuv/convert.h>

#include "platform/imaging/Bands.h"
#include "platform/imaging/CArguments.h"
#include "platform/imaging/IppHdtv.h"
#include "platform/imaging/RowKernels.h"

using qrn::BgrFormat;
using qrn::CArguments;
using qrn::HalfUp;
using qrn::RowAt;
using qrn::YccRow;
using qrn::YccRowPair;

namespace {

/// Packed 4:2:2 to three planes of 4:2:2.
using Unpack = int (*)(const uint8_t*, int, uint8_t*, int, uint8_t*, int, uint8_t*, int, int, int);

/// The picture that is made.
struct Target {
    BgrFormat format;
    Ipp8u* pixels;
    int step;
    Ipp8u alpha = 0;

    Target(BgrFormat made, Ipp8u* to, int toStep, Ipp8u fourth = 0)
        : format(made),
          pixels(to),
          step(toStep),
          alpha(fourth) {}
    Target(BgrFormat made, Ipp16u* to, int toStep) : format(made), pixels(reinterpret_cast<Ipp8u*>(to)), step(toStep) {}

    [[nodiscard]] int PixelBytes() const { return format == BgrFormat::k32 ? 4 : format == BgrFormat::k24 ? 3 : 2; }
    void Convert(const YccRow& from, int row, int width, const qrn::ToBgrFactors& factors) const {
        Ipp8u* const to = RowAt(pixels, step, row);
        qrn::BestRowKernels().toBgr[static_cast<int>(format)](from, &to, width, factors, alpha);
    }
    void Convert(const YccRowPair& from, int row, int width, const qrn::ToBgrFactors& factors) const {
        Ipp8u* const to[2] = {RowAt(pixels, step, row), RowAt(pixels, step, row + 1)};
        qrn::BestRowKernels().pairToBgr[static_cast<int>(format)](from, to, width, factors, alpha);
    }
};

IppStatus PackedToBgr(Unpack unpack, const Ipp8u* source, int sourceStep, const Target& to, IppiSize size,
                      const qrn::ToBgrFactors& factors = qrn::kBt601ToBgr) {
    const IppStatus status =
        CArguments(size).Packed422(source, sourceStep).Pixels(to.pixels, to.step, to.PixelBytes()).Status();
    if (status != ippStsNoErr) {
        return status;
    }
    const qrn::Rows422 planes(size.width);
    return qrn::ThroughScratch(size, planes.rowBytes, [&](int first, int rows, Ipp8u* scratch) {
        const int result =
            unpack(RowAt(source, sourceStep, first), sourceStep, planes.Luma(scratch), planes.rowBytes,
                   planes.Cb(scratch), planes.rowBytes, planes.Cr(scratch), planes.rowBytes, size.width, rows);
        for (int row = 0; row < rows; ++row) {
            const Ipp8u* from = RowAt(scratch, planes.rowBytes, row);
            to.Convert(YccRow{{planes.Luma(from)}, planes.Cb(from), planes.Cr(from)}, first + row, size.width, factors);
        }
        return result;
    });
}

IppStatus PlanesToBgr(const Ipp8u* const source[3], const int sourceStep[3], const Target& to, IppiSize size) {
    const IppStatus status =
        CArguments(size).Planes(source, sourceStep).Pixels(to.pixels, to.step, to.PixelBytes()).Status();
    for (int row = 0; row < size.height && status == ippStsNoErr; row += 2) {
        const auto plane = [=](int index, int at) { return RowAt(source[index], sourceStep[index], at); };
        if (row + 1 < size.height) {
            to.Convert(YccRowPair{{plane(0, row), plane(0, row + 1)}, plane(1, row / 2), plane(2, row / 2)}, row,
                       size.width, qrn::kBt601ToBgr);
        } else {
            to.Convert(YccRow{{plane(0, row)}, plane(1, row / 2), plane(2, row / 2)}, row, size.width,
                       qrn::kBt601ToBgr);
        }
    }
    return status;
}

/// Chroma for each pixel of a row, from the row of chroma that is near and the one that is far (weights 9, 3, 3, 1).
/// @param sums  scratch of `columns` + 2 numbers
/// @param fine  2 * `columns` numbers, as FineYccRow has them
void Interpolate(const Ipp8u* near, const Ipp8u* far, int columns, std::uint16_t* sums, std::uint16_t* fine) {
    for (int column = 0; column < columns; ++column) {
        sums[column + 1] = static_cast<std::uint16_t>(3 * near[column] + far[column]);
    }
    sums[0] = sums[1];
    sums[columns + 1] = sums[columns];
    constexpr int kUnits = 256 / 16;
    for (int column = 0; column < columns; ++column) {
        const int own = 3 * sums[column + 1];
        fine[2 * column] = static_cast<std::uint16_t>((own + sums[column]) * kUnits);
        fine[2 * column + 1] = static_cast<std::uint16_t>((own + sums[column + 2]) * kUnits);
    }
}

}  // namespace

IppStatus ippiYCbCr422ToBGR_8u_C2C3R(const Ipp8u* source, int sourceStep, Ipp8u* destination, int destinationStep,
                                     IppiSize size) {
    return PackedToBgr(libyuv::YUY2ToI422, source, sourceStep, {BgrFormat::k24, destination, destinationStep}, size);
}

IppStatus ippiYCbCr422ToBGR_8u_C2C4R(const Ipp8u* source, int sourceStep, Ipp8u* destination, int destinationStep,
                                     IppiSize size, Ipp8u alpha) {
    return PackedToBgr(libyuv::YUY2ToI422, source, sourceStep, {BgrFormat::k32, destination, destinationStep, alpha},
                       size);
}

IppStatus ippiCbYCr422ToBGR_8u_C2C4R(const Ipp8u* source, int sourceStep, Ipp8u* destination, int destinationStep,
                                     IppiSize size, Ipp8u alpha) {
    return PackedToBgr(libyuv::UYVYToI422, source, sourceStep, {BgrFormat::k32, destination, destinationStep, alpha},
                       size);
}

IppStatus ippiCbYCr422ToBGR_709HDTV_8u_C2C4R(const Ipp8u* source, int sourceStep, Ipp8u* destination,
                                             int destinationStep, IppiSize size, Ipp8u alpha) {
    return PackedToBgr(libyuv::UYVYToI422, source, sourceStep, {BgrFormat::k32, destination, destinationStep, alpha},
                       size, qrn::kBt709ToBgr);
}

IppStatus ippiYCbCr422ToBGR565_8u16u_C2C3R(const Ipp8u* source, int sourceStep, Ipp16u* destination,
                                           int destinationStep, IppiSize size) {
    return PackedToBgr(libyuv::YUY2ToI422, source, sourceStep, {BgrFormat::k565, destination, destinationStep}, size);
}

IppStatus ippiYCbCr422ToBGR555_8u16u_C2C3R(const Ipp8u* source, int sourceStep, Ipp16u* destination,
                                           int destinationStep, IppiSize size) {
    return PackedToBgr(libyuv::YUY2ToI422, source, sourceStep, {BgrFormat::k555, destination, destinationStep}, size);
}

IppStatus ippiYCbCr422ToBGR444_8u16u_C2C3R(const Ipp8u* source, int sourceStep, Ipp16u* destination,
                                           int destinationStep, IppiSize size) {
    return PackedToBgr(libyuv::YUY2ToI422, source, sourceStep, {BgrFormat::k444, destination, destinationStep}, size);
}

IppStatus ippiYCbCr420ToBGR_8u_P3C3R(const Ipp8u* const source[3], const int sourceStep[3], Ipp8u* destination,
                                     int destinationStep, IppiSize size) {
    return PlanesToBgr(source, sourceStep, {BgrFormat::k24, destination, destinationStep}, size);
}

IppStatus ippiYCbCr420ToBGR_8u_P3C4R(const Ipp8u* const source[3], const int sourceStep[3], Ipp8u* destination,
                                     int destinationStep, IppiSize size, Ipp8u alpha) {
    return PlanesToBgr(source, sourceStep, {BgrFormat::k32, destination, destinationStep, alpha}, size);
}

IppStatus ippiYCbCr420ToBGR565_8u16u_P3C3R(const Ipp8u* const source[3], const int sourceStep[3], Ipp16u* destination,
                                           int destinationStep, IppiSize size) {
    return PlanesToBgr(source, sourceStep, {BgrFormat::k565, destination, destinationStep}, size);
}

IppStatus ippiYCbCr420ToBGR555_8u16u_P3C3R(const Ipp8u* const source[3], const int sourceStep[3], Ipp16u* destination,
                                           int destinationStep, IppiSize size) {
    return PlanesToBgr(source, sourceStep, {BgrFormat::k555, destination, destinationStep}, size);
}

IppStatus ippiYCbCr420ToBGR444_8u16u_P3C3R(const Ipp8u* const source[3], const int sourceStep[3], Ipp16u* destination,
                                           int destinationStep, IppiSize size) {
    return PlanesToBgr(source, sourceStep, {BgrFormat::k444, destination, destinationStep}, size);
}

IppStatus ippiYCrCb420ToBGR_Filter_8u_P3C4R(const Ipp8u* const source[3], const int sourceStep[3], Ipp8u* destination,
                                            int destinationStep, IppiSize size, Ipp8u alpha) {
    const IppStatus status =
        CArguments(size).Planes(source, sourceStep).Pixels(destination, destinationStep, 4).Status();
    if (status != ippStsNoErr) {
        return status;
    }
    const int columns = HalfUp(size.width);
    const int lastRow = HalfUp(size.height) - 1;
    const qrn::ScratchBytes scratch(ippsMalloc_8u(static_cast<int>(sizeof(std::uint16_t)) * (5 * columns + 2)));
    if (scratch == nullptr) {
        return ippStsMemAllocErr;
    }
    auto* const cr = reinterpret_cast<std::uint16_t*>(scratch.get());
    std::uint16_t* const cb = cr + 2 * columns;
    std::uint16_t* const sums = cb + 2 * columns;
    for (int row = 0; row < size.height; ++row) {
        const int near = row / 2;
        const int far = std::clamp(row % 2 == 0 ? near - 1 : near + 1, 0, lastRow);
        const auto chroma = [&](int plane, std::uint16_t* fine) {
            Interpolate(RowAt(source[plane], sourceStep[plane], near), RowAt(source[plane], sourceStep[plane], far),
                        columns, sums, fine);
        };
        chroma(1, cr);
        chroma(2, cb);
        Ipp8u* const to = RowAt(destination, destinationStep, row);
        qrn::BestRowKernels().fineToBgr32({{RowAt(source[0], sourceStep[0], row)}, cb, cr}, &to, size.width,
                                          qrn::kBt601ToBgr, alpha);
    }
    return ippStsNoErr;
}
