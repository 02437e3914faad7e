#include "platform/imaging/IppYuvToBgr.h"

#include <libyuv/convert_argb.h>
#include <libyuv/convert_from.h>
#include <libyuv/convert_from_argb.h>

#include <array>
#include <cstring>

#include "platform/imaging/Bands.h"
#include "platform/imaging/CArguments.h"

using qrn::CArguments;
using qrn::FromLibyuv;
using qrn::RowAt;

namespace {

constexpr Ipp8u kOpaque = 255;
constexpr Ipp16u kAllBits = 0xFFFF;
constexpr Ipp16u k555Bits = 0x7FFF;
constexpr Ipp16u k444Bits = 0x0FFF;

using Convert = int (*)(const uint8_t*, int, uint8_t*, int, int, int);
using ConvertPlanes = int (*)(const uint8_t*, int, const uint8_t*, int, const uint8_t*, int, uint8_t*, int, int, int);

/// libyuv writes 255 into the fourth byte.
void SetAlpha(Ipp8u* pixels, int step, int width, int rows, Ipp8u alpha) {
    constexpr std::uint32_t kColours = 0x00FFFFFF;
    const std::uint32_t shifted = static_cast<std::uint32_t>(alpha) << 24;
    for (int row = 0; row < rows; ++row) {
        Ipp8u* bytes = RowAt(pixels, step, row);
        for (int column = 0; column < width; ++column) {
            std::uint32_t pixel;
            std::memcpy(&pixel, bytes + 4 * column, sizeof(pixel));
            pixel = (pixel & kColours) | shifted;
            std::memcpy(bytes + 4 * column, &pixel, sizeof(pixel));
        }
    }
}

/// Clears the bits above the colours, which libyuv sets as alpha.
void KeepBits(Ipp8u* pixels, int step, int width, int rows, Ipp16u bits) {
    for (int row = 0; row < rows && bits != kAllBits; ++row) {
        Ipp8u* bytes = RowAt(pixels, step, row);
        for (int column = 0; column < width; ++column) {
            Ipp16u pixel;
            std::memcpy(&pixel, bytes + 2 * column, sizeof(pixel));
            pixel &= bits;
            std::memcpy(bytes + 2 * column, &pixel, sizeof(pixel));
        }
    }
}

IppStatus PackedToBgr32(Convert convert, const Ipp8u* source, int sourceStep, Ipp8u* destination, int destinationStep,
                        IppiSize size, Ipp8u alpha) {
    const IppStatus status =
        CArguments(size).Packed422(source, sourceStep).Pixels(destination, destinationStep, 4).Status();
    if (status != ippStsNoErr) {
        return status;
    }
    return qrn::InBands(size, [&](int row, int rows) {
        Ipp8u* band = RowAt(destination, destinationStep, row);
        const int result = convert(RowAt(source, sourceStep, row), sourceStep, band, destinationStep, size.width, rows);
        if (alpha != kOpaque) {
            SetAlpha(band, destinationStep, size.width, rows, alpha);
        }
        return result;
    });
}

/// Packed 4:2:2 to 32-bit pixels in a scratch, and from there to the smaller ones.
IppStatus PackedThroughBgr32(Convert convert, int pixelBytes, Ipp16u bits, const Ipp8u* source, int sourceStep,
                             Ipp8u* destination, int destinationStep, IppiSize size) {
    const IppStatus status =
        CArguments(size).Packed422(source, sourceStep).Pixels(destination, destinationStep, pixelBytes).Status();
    if (status != ippStsNoErr) {
        return status;
    }
    const int scratchStep = 4 * size.width;
    return qrn::ThroughScratch(size, scratchStep, [&](int row, int rows, Ipp8u* scratch) {
        Ipp8u* band = RowAt(destination, destinationStep, row);
        const int first =
            libyuv::YUY2ToARGB(RowAt(source, sourceStep, row), sourceStep, scratch, scratchStep, size.width, rows);
        const int second = convert(scratch, scratchStep, band, destinationStep, size.width, rows);
        if (pixelBytes == 2) {
            KeepBits(band, destinationStep, size.width, rows, bits);
        }
        return first | second;
    });
}

IppStatus PlanesToBgr16(ConvertPlanes convert, Ipp16u bits, const Ipp8u* const source[3], const int sourceStep[3],
                        Ipp16u* destination, int destinationStep, IppiSize size) {
    const IppStatus status =
        CArguments(size).Planes(source, sourceStep).Pixels(destination, destinationStep, 2).Status();
    if (status != ippStsNoErr) {
        return status;
    }
    auto* bytes = reinterpret_cast<Ipp8u*>(destination);
    return qrn::InBands(size, [&](int row, int rows) {
        Ipp8u* band = RowAt(bytes, destinationStep, row);
        const int result =
            convert(RowAt(source[0], sourceStep[0], row), sourceStep[0], RowAt(source[1], sourceStep[1], row / 2),
                    sourceStep[1], RowAt(source[2], sourceStep[2], row / 2), sourceStep[2], band, destinationStep,
                    size.width, rows);
        KeepBits(band, destinationStep, size.width, rows, bits);
        return result;
    });
}

/// One row that stands for a whole plane of constant alpha: libyuv is given it with a step of 0.
class CAlphaRow {
public:
    CAlphaRow(Ipp8u alpha, int width) { std::memset(m_bytes.data(), alpha, static_cast<std::size_t>(width)); }
    [[nodiscard]] const Ipp8u* Data() const { return m_bytes.data(); }

private:
    std::array<Ipp8u, kIppMaxSide> m_bytes;
};

}  // namespace

IppStatus ippiYCbCr422ToBGR_8u_C2C3R(const Ipp8u* source, int sourceStep, Ipp8u* destination, int destinationStep,
                                     IppiSize size) {
    return PackedThroughBgr32(libyuv::ARGBToRGB24, 3, kAllBits, source, sourceStep, destination, destinationStep, size);
}

IppStatus ippiYCbCr422ToBGR_8u_C2C4R(const Ipp8u* source, int sourceStep, Ipp8u* destination, int destinationStep,
                                     IppiSize size, Ipp8u alpha) {
    return PackedToBgr32(libyuv::YUY2ToARGB, source, sourceStep, destination, destinationStep, size, alpha);
}

IppStatus ippiCbYCr422ToBGR_8u_C2C4R(const Ipp8u* source, int sourceStep, Ipp8u* destination, int destinationStep,
                                     IppiSize size, Ipp8u alpha) {
    return PackedToBgr32(libyuv::UYVYToARGB, source, sourceStep, destination, destinationStep, size, alpha);
}

IppStatus ippiYCbCr422ToBGR565_8u16u_C2C3R(const Ipp8u* source, int sourceStep, Ipp16u* destination,
                                           int destinationStep, IppiSize size) {
    return PackedThroughBgr32(libyuv::ARGBToRGB565, 2, kAllBits, source, sourceStep,
                              reinterpret_cast<Ipp8u*>(destination), destinationStep, size);
}

IppStatus ippiYCbCr422ToBGR555_8u16u_C2C3R(const Ipp8u* source, int sourceStep, Ipp16u* destination,
                                           int destinationStep, IppiSize size) {
    return PackedThroughBgr32(libyuv::ARGBToARGB1555, 2, k555Bits, source, sourceStep,
                              reinterpret_cast<Ipp8u*>(destination), destinationStep, size);
}

IppStatus ippiYCbCr422ToBGR444_8u16u_C2C3R(const Ipp8u* source, int sourceStep, Ipp16u* destination,
                                           int destinationStep, IppiSize size) {
    return PackedThroughBgr32(libyuv::ARGBToARGB4444, 2, k444Bits, source, sourceStep,
                              reinterpret_cast<Ipp8u*>(destination), destinationStep, size);
}

IppStatus ippiYCbCr420ToBGR_8u_P3C3R(const Ipp8u* const source[3], const int sourceStep[3], Ipp8u* destination,
                                     int destinationStep, IppiSize size) {
    const IppStatus status =
        CArguments(size).Planes(source, sourceStep).Pixels(destination, destinationStep, 3).Status();
    if (status != ippStsNoErr) {
        return status;
    }
    return FromLibyuv(libyuv::I420ToRGB24(source[0], sourceStep[0], source[1], sourceStep[1], source[2], sourceStep[2],
                                          destination, destinationStep, size.width, size.height));
}

IppStatus ippiYCbCr420ToBGR_8u_P3C4R(const Ipp8u* const source[3], const int sourceStep[3], Ipp8u* destination,
                                     int destinationStep, IppiSize size, Ipp8u alpha) {
    const IppStatus status =
        CArguments(size).Planes(source, sourceStep).Pixels(destination, destinationStep, 4).Status();
    if (status != ippStsNoErr) {
        return status;
    }
    const CAlphaRow alphaRow(alpha, size.width);
    return FromLibyuv(libyuv::I420AlphaToARGB(source[0], sourceStep[0], source[1], sourceStep[1], source[2],
                                              sourceStep[2], alphaRow.Data(), 0, destination, destinationStep,
                                              size.width, size.height, 0));
}

IppStatus ippiYCrCb420ToBGR_Filter_8u_P3C4R(const Ipp8u* const source[3], const int sourceStep[3], Ipp8u* destination,
                                            int destinationStep, IppiSize size, Ipp8u alpha) {
    const IppStatus status =
        CArguments(size).Planes(source, sourceStep).Pixels(destination, destinationStep, 4).Status();
    if (status != ippStsNoErr) {
        return status;
    }
    const CAlphaRow alphaRow(alpha, size.width);
    return FromLibyuv(libyuv::I420AlphaToARGBMatrixFilter(
        source[0], sourceStep[0], source[2], sourceStep[2], source[1], sourceStep[1], alphaRow.Data(), 0, destination,
        destinationStep, &libyuv::kYuvI601Constants, size.width, size.height, 0, libyuv::kFilterBilinear));
}

IppStatus ippiYCbCr420ToBGR565_8u16u_P3C3R(const Ipp8u* const source[3], const int sourceStep[3], Ipp16u* destination,
                                           int destinationStep, IppiSize size) {
    return PlanesToBgr16(libyuv::I420ToRGB565, kAllBits, source, sourceStep, destination, destinationStep, size);
}

IppStatus ippiYCbCr420ToBGR555_8u16u_P3C3R(const Ipp8u* const source[3], const int sourceStep[3], Ipp16u* destination,
                                           int destinationStep, IppiSize size) {
    return PlanesToBgr16(libyuv::I420ToARGB1555, k555Bits, source, sourceStep, destination, destinationStep, size);
}

IppStatus ippiYCbCr420ToBGR444_8u16u_P3C3R(const Ipp8u* const source[3], const int sourceStep[3], Ipp16u* destination,
                                           int destinationStep, IppiSize size) {
    return PlanesToBgr16(libyuv::I420ToARGB4444, k444Bits, source, sourceStep, destination, destinationStep, size);
}
