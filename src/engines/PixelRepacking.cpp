#include "engines/PixelRepacking.h"

#include <algorithm>
#include <cstddef>

#include "platform/imaging/IppPlane.h"

namespace UMC {

namespace {

constexpr int DivideUp(int value, int by) {
    return (value + by - 1) / by;
}

const Ipp8u* RowOf(const PlaneSet& set, std::size_t plane, int row) {
    return set.planes[plane] + static_cast<std::ptrdiff_t>(set.steps[plane]) * row;
}

Ipp8u* RowTo(const PlaneSet& set, std::size_t plane, int row) {
    return set.planes[plane] + static_cast<std::ptrdiff_t>(set.steps[plane]) * row;
}

bool LacksPlane(const PlaneSet& set, std::size_t count) {
    return std::find(set.planes.begin(), set.planes.begin() + count, nullptr) != set.planes.begin() + count;
}

/// Pixels that one sample of chroma stands for.
struct Grid {
    int columns;
    int rows;
};

/// The mean of the samples of the old grid that lie in one sample of the new.
Ipp8u Mean(const PlaneSet& from, std::size_t plane, IppiSize size, Grid old, Grid made, int column, int row) {
    const int endColumn = std::min((column + 1) * made.columns, size.width);
    const int endRow = std::min((row + 1) * made.rows, size.height);
    int sum = 0;
    int count = 0;
    for (int y = row * made.rows; y < endRow; y += old.rows) {
        for (int x = column * made.columns; x < endColumn; x += old.columns) {
            sum += RowOf(from, plane, y / old.rows)[x / old.columns];
            ++count;
        }
    }
    return static_cast<Ipp8u>((sum + count / 2) / count);
}

IppStatus Resample(const PlaneSet& from, const PlaneSet& to, IppiSize size, Grid old, Grid made) {
    if (LacksPlane(from, 3) || LacksPlane(to, 3)) {
        return ippStsNullPtrErr;
    }
    for (std::size_t plane = 1; plane < 3; ++plane) {
        for (int row = 0; row < DivideUp(size.height, made.rows); ++row) {
            for (int column = 0; column < DivideUp(size.width, made.columns); ++column) {
                RowTo(to, plane, row)[column] = Mean(from, plane, size, old, made, column, row);
            }
        }
    }
    return ippiCopy_8u_C1R(from.planes[0], from.steps[0], to.planes[0], to.steps[0], size);
}

constexpr Grid k411 = {4, 1};
constexpr Grid k420 = {2, 2};
constexpr Grid k410 = {4, 4};

/// `repack(source, destination)` for every pixel.
template <int FromBytes, int ToBytes, class Repack>
IppStatus EachPixel(const PlaneSet& from, const PlaneSet& to, IppiSize size, Repack repack) {
    if (LacksPlane(from, 1) || LacksPlane(to, 1)) {
        return ippStsNullPtrErr;
    }
    for (int row = 0; row < size.height; ++row) {
        const Ipp8u* source = RowOf(from, 0, row);
        Ipp8u* destination = RowTo(to, 0, row);
        for (int column = 0; column < size.width; ++column) {
            repack(source + FromBytes * column, destination + ToBytes * column);
        }
    }
    return ippStsNoErr;
}

template <int Bits>
Ipp8u Spread(int value) {
    value &= (1 << Bits) - 1;
    return static_cast<Ipp8u>((value << (8 - Bits)) | (value >> (2 * Bits - 8)));
}

template <int GreenBits>
IppStatus UnpackWords(const PlaneSet& from, const PlaneSet& to, IppiSize size) {
    return EachPixel<2, 3>(from, to, size, [](const Ipp8u* source, Ipp8u* destination) {
        const int word = source[0] | (source[1] << 8);
        destination[0] = Spread<5>(word);
        destination[1] = Spread<GreenBits>(word >> 5);
        destination[2] = Spread<5>(word >> (5 + GreenBits));
    });
}

}  // namespace

IppStatus Yuv411To420(const PlaneSet& from, const PlaneSet& to, IppiSize size) {
    return Resample(from, to, size, k411, k420);
}

IppStatus Yuv420To410(const PlaneSet& from, const PlaneSet& to, IppiSize size) {
    return Resample(from, to, size, k420, k410);
}

IppStatus Yuv410To420(const PlaneSet& from, const PlaneSet& to, IppiSize size) {
    return Resample(from, to, size, k410, k420);
}

IppStatus DropFourthByte(const PlaneSet& from, const PlaneSet& to, IppiSize size) {
    return EachPixel<4, 3>(from, to, size,
                           [](const Ipp8u* source, Ipp8u* destination) { std::copy_n(source, 3, destination); });
}

IppStatus AddFourthByte(const PlaneSet& from, const PlaneSet& to, IppiSize size) {
    return EachPixel<3, 4>(from, to, size, [](const Ipp8u* source, Ipp8u* destination) {
        std::copy_n(source, 3, destination);
        destination[3] = 0;
    });
}

IppStatus Unpack565(const PlaneSet& from, const PlaneSet& to, IppiSize size) {
    return UnpackWords<6>(from, to, size);
}

IppStatus Unpack555(const PlaneSet& from, const PlaneSet& to, IppiSize size) {
    return UnpackWords<5>(from, to, size);
}

}  // namespace UMC
