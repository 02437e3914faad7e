#include "platform/imaging/IppDeinterlace.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "platform/imaging/CArguments.h"
#include "platform/imaging/RowKernels.h"

using qrn::CArguments;
using qrn::RowAt;

namespace {

constexpr int kFullWeight = 256;
constexpr int kMaxThreshold = 255;

Ipp8u Median(Ipp8u first, Ipp8u second, Ipp8u third) {
    return std::max(std::min(first, second), std::min(std::max(first, second), third));
}

void MedianRow(const Ipp8u* first, const Ipp8u* second, const Ipp8u* third, Ipp8u* destination, int width) {
    for (int column = 0; column < width; ++column) {
        destination[column] = Median(first[column], second[column], third[column]);
    }
}

Ipp8u MeanOf(int first, int second) {
    return static_cast<Ipp8u>((first + second + 1) >> 1);
}

/// What an odd row is rebuilt from.
struct OddRow {
    const Ipp8u* row;
    const Ipp8u* above;  ///< the kept rows around it
    const Ipp8u* below;
    const Ipp8u* farAbove;  ///< and the next kept ones
    const Ipp8u* farBelow;
};

/// The mean across the row in the direction of least change.
Ipp8u AlongEdge(const OddRow& rows, int column, int width) {
    int best = std::abs(rows.above[column] - rows.below[column]);
    Ipp8u mean = MeanOf(rows.above[column], rows.below[column]);
    if (column == 0 || column == width - 1) {
        return mean;
    }
    for (int slope = -1; slope <= 1; slope += 2) {
        const int upper = rows.above[column + slope];
        const int lower = rows.below[column - slope];
        if (std::abs(upper - lower) < best) {
            best = std::abs(upper - lower);
            mean = MeanOf(upper, lower);
        }
    }
    return mean;
}

void EdgeRow(const OddRow& rows, Ipp8u* destination, int width, int threshold) {
    for (int column = 0; column < width; ++column) {
        const int own = rows.row[column];
        const bool stands = std::abs(own - MeanOf(rows.above[column], rows.below[column])) > threshold;
        destination[column] = stands ? AlongEdge(rows, column, width) : static_cast<Ipp8u>(own);
    }
}

void MedianThresholdRow(const OddRow& rows, Ipp8u* destination, int width, int threshold) {
    for (int column = 0; column < width; ++column) {
        const Ipp8u own = rows.row[column];
        const Ipp8u median = Median(rows.above[column], own, rows.below[column]);
        destination[column] = std::abs(own - median) > threshold ? median : own;
    }
}

void AdaptiveRow(const OddRow& rows, Ipp8u* destination, int width, int threshold) {
    for (int column = 0; column < width; ++column) {
        const int own = rows.row[column];
        const int upper = rows.above[column];
        const int lower = rows.below[column];
        const int limit = std::max(threshold, std::abs(upper - lower));
        const int halfBand = (9 * (upper + lower) - rows.farAbove[column] - rows.farBelow[column] + 8) >> 4;
        const bool stands = std::abs(own - MeanOf(upper, lower)) > limit;
        destination[column] = static_cast<Ipp8u>(stands ? std::clamp(halfBand, 0, 255) : own);
    }
}

using RebuildRow = void (*)(const OddRow&, Ipp8u*, int, int);

IppStatus RebuildOddRows(RebuildRow rebuild, const Ipp8u* source, int sourceStep, Ipp8u* destination,
                         int destinationStep, IppiSize size, int threshold) {
    const IppStatus status =
        CArguments(size).Pixels(source, sourceStep, 1).Pixels(destination, destinationStep, 1).Status();
    if (status != ippStsNoErr) {
        return status;
    }
    if (threshold < 0 || threshold > kMaxThreshold) {
        return ippStsBadArgErr;
    }
    const auto width = static_cast<std::size_t>(size.width);
    for (int row = 0; row < size.height; ++row) {
        Ipp8u* to = RowAt(destination, destinationStep, row);
        if (row % 2 == 0) {
            std::memcpy(to, RowAt(source, sourceStep, row), width);
            continue;
        }
        const int below = row + 1 < size.height ? row + 1 : row - 1;
        const int farAbove = std::max(row - 3, 0);
        const int farBelow = row + 3 < size.height ? row + 3 : below;
        const OddRow rows = {RowAt(source, sourceStep, row), RowAt(source, sourceStep, row - 1),
                             RowAt(source, sourceStep, below), RowAt(source, sourceStep, farAbove),
                             RowAt(source, sourceStep, farBelow)};
        rebuild(rows, to, size.width, threshold);
    }
    return ippStsNoErr;
}

}  // namespace

IppStatus ippiDeinterlaceFilterTriangle_8u_C1R(const Ipp8u* source, int sourceStep, Ipp8u* destination,
                                               int destinationStep, IppiSize size, int centreWeight, int layout) {
    const IppStatus status =
        CArguments(size).Pixels(source, sourceStep, 1).Pixels(destination, destinationStep, 1).Status();
    if (status != ippStsNoErr) {
        return status;
    }
    constexpr int kParts = IPP_UPPER | IPP_CENTER | IPP_LOWER;
    if (centreWeight < 0 || centreWeight > kFullWeight || layout == 0 || (layout & ~kParts) != 0) {
        return ippStsBadArgErr;
    }
    const int sideWeight = (kFullWeight - centreWeight) / 2;
    const auto triangle = qrn::BestRowKernels().triangle;
    for (int row = 0; row < size.height; ++row) {
        const Ipp8u* from = RowAt(source, sourceStep, row);
        Ipp8u* to = RowAt(destination, destinationStep, row);
        const bool first = row == 0 && (layout & IPP_UPPER) != 0;
        const bool last = row == size.height - 1 && (layout & IPP_LOWER) != 0;
        if (first || last) {
            std::memcpy(to, from, static_cast<std::size_t>(size.width));
        } else {
            triangle(from - sourceStep, from, from + sourceStep, to, size.width, sideWeight,
                     kFullWeight - 2 * sideWeight);
        }
    }
    return ippStsNoErr;
}

IppStatus ippiMedian_8u_P3C1R(const Ipp8u* const source[3], int sourceStep, Ipp8u* destination, int destinationStep,
                              IppiSize size) {
    CArguments arguments(size);
    arguments.Pixels(destination, destinationStep, 1);
    for (int plane = 0; plane < 3; ++plane) {
        arguments.Pixels(source == nullptr ? nullptr : source[plane], sourceStep, 1);
    }
    const IppStatus status = arguments.Status();
    if (status != ippStsNoErr) {
        return status;
    }
    for (int row = 0; row < size.height; ++row) {
        MedianRow(RowAt(source[0], sourceStep, row), RowAt(source[1], sourceStep, row),
                  RowAt(source[2], sourceStep, row), RowAt(destination, destinationStep, row), size.width);
    }
    return ippStsNoErr;
}

IppStatus ippiDeinterlaceEdgeDetect_8u_C1R(const Ipp8u* source, int sourceStep, Ipp8u* destination, int destinationStep,
                                           IppiSize size, int threshold) {
    return RebuildOddRows(EdgeRow, source, sourceStep, destination, destinationStep, size, threshold);
}

IppStatus ippiDeinterlaceMedianThreshold_8u_C1R(const Ipp8u* source, int sourceStep, Ipp8u* destination,
                                                int destinationStep, IppiSize size, int threshold) {
    return RebuildOddRows(MedianThresholdRow, source, sourceStep, destination, destinationStep, size, threshold);
}

IppStatus ippiDeinterlaceFilterCAVT_8u_C1R(const Ipp8u* source, int sourceStep, Ipp8u* destination, int destinationStep,
                                           IppiSize size, int threshold) {
    return RebuildOddRows(AdaptiveRow, source, sourceStep, destination, destinationStep, size, threshold);
}
