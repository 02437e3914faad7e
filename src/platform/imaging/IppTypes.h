#pragma once
/// What the picture primitives share: their element types, sizes, answers and choices. The values of the answers are
/// those that callers of the Intel Integrated Performance Primitives know, whose names the operations carry too.
///
/// Rules of every picture primitive of this folder:
/// - A picture is `size.width` by `size.height` pixels; a step is the distance of two rows in bytes. Rows may be longer
///   than the picture is wide, and neither planes nor rows need any alignment. Not one byte outside the rows is
///   touched.
/// - Odd sizes are right: halved planes have (width + 1) / 2 columns and (height + 1) / 2 rows, and a packed 4:2:2 row
///   has (width + 1) / 2 groups of four bytes.
/// - The answer is ippStsNoErr, or for the first of these that is true and then with nothing written:
///   ippStsNullPtrErr, a pointer, plane array or step array is null; ippStsSizeErr, a side is below 1 or above
///   kIppMaxSide; ippStsStepErr, a step is shorter than its row. Further answers stand at the operation.
/// - No state: any thread. Source and destination do not overlap unless the operation says so.

#include <cstdint>

using Ipp8u = std::uint8_t;
using Ipp16s = std::int16_t;
using Ipp16u = std::uint16_t;

using IppStatus = int;
inline constexpr IppStatus ippStsNoErr = 0;
inline constexpr IppStatus ippStsBadArgErr = -5;
inline constexpr IppStatus ippStsSizeErr = -6;
inline constexpr IppStatus ippStsNullPtrErr = -8;
inline constexpr IppStatus ippStsMemAllocErr = -9;
inline constexpr IppStatus ippStsStepErr = -14;
inline constexpr IppStatus ippStsMirrorFlipErr = -21;
inline constexpr IppStatus ippStsInterpolationErr = -22;
inline constexpr IppStatus ippStsResizeFactorErr = -23;

/// The longest side of a picture: four bytes a pixel then still count in 31 bits.
inline constexpr int kIppMaxSide = 16384;

struct IppiSize {
    int width;
    int height;
};

struct IppiRect {
    int x;
    int y;
    int width;
    int height;
};

/// About which axis a mirror flips: the horizontal one exchanges top and bottom.
enum IppiAxis { ippAxsHorizontal = 0, ippAxsVertical = 1, ippAxsBoth = 2 };

inline constexpr int IPPI_INTER_NN = 1;
inline constexpr int IPPI_INTER_LINEAR = 2;
inline constexpr int IPPI_INTER_CUBIC = 4;
inline constexpr int IPPI_INTER_SUPER = 8;
inline constexpr int IPPI_INTER_LANCZOS = 16;

/// Which parts of a picture a slice holds: its first row, rows between, its last row.
inline constexpr int IPP_UPPER = 1;
inline constexpr int IPP_CENTER = 4;
inline constexpr int IPP_LOWER = 16;

// The kinds of operations, of which the headers declare many. Planes and steps are arrays with an entry for each plane.
template <class From, class To>
using IppPackedToPacked = IppStatus(const From* source, int sourceStep, To* destination, int destinationStep,
                                    IppiSize size);
/// Writes `alpha` into the fourth byte of each pixel.
using IppPackedToPixels4 = IppStatus(const Ipp8u* source, int sourceStep, Ipp8u* destination, int destinationStep,
                                     IppiSize size, Ipp8u alpha);
template <class From>
using IppPackedToPlanes = IppStatus(const From* source, int sourceStep, Ipp8u* const* destination,
                                    const int* destinationStep, IppiSize size);
template <class To>
using IppPlanesToPacked = IppStatus(const Ipp8u* const* source, const int* sourceStep, To* destination,
                                    int destinationStep, IppiSize size);
using IppPlanesToPixels4 = IppStatus(const Ipp8u* const* source, const int* sourceStep, Ipp8u* destination,
                                     int destinationStep, IppiSize size, Ipp8u alpha);
using IppPlanesToPlanes = IppStatus(const Ipp8u* const* source, const int* sourceStep, Ipp8u* const* destination,
                                    const int* destinationStep, IppiSize size);
template <class Sample>
using IppResize = IppStatus(const Sample* source, IppiSize sourceSize, int sourceStep, IppiRect sourceRect,
                            Sample* destination, int destinationStep, IppiSize destinationSize, double xFactor,
                            double yFactor, int interpolation);
