#pragma once
/// Deinterlacing of one plane, and the median that it needs. The field of rows 0, 2, 4... is the one that is kept, but
/// by the triangle, which treats all rows alike. Rules and answers: IppTypes.h.

#include "platform/imaging/IppTypes.h"

/// Weighs each row with its neighbours: centreWeight / 256 for itself, the rest in halves for the rows above and below,
/// rounded to the nearest. The first row of a picture and the last are copied.
/// @param centreWeight  0 to 256; the half of an odd rest is cut off.
/// @param layout  sum of IPP_UPPER, IPP_CENTER and IPP_LOWER: which parts of the picture these rows are; all of them
/// for
///                a whole picture. Without IPP_UPPER the row above `source` is read, without IPP_LOWER the one below.
/// @return ippStsBadArgErr too, for a weight or a layout that is none.
IppStatus ippiDeinterlaceFilterTriangle_8u_C1R(const Ipp8u* source, int sourceStep, Ipp8u* destination,
                                               int destinationStep, IppiSize size, int centreWeight, int layout);

/// The median of three planes of the same step, value by value. The destination may be one of them.
IppStatus ippiMedian_8u_P3C1R(const Ipp8u* const source[3], int sourceStep, Ipp8u* destination, int destinationStep,
                              IppiSize size);

// The three that follow rebuild a value of an odd row only where it stands out from the rows of the kept field, so that
// still parts of the picture keep all their rows. `threshold` is 0 to 255, else ippStsBadArgErr. A last odd row has its
// upper neighbour on both sides.

/// Where the value differs from the mean of its vertical neighbours by more than the threshold, it becomes the mean of
/// the two neighbours that differ least: vertical, or one to the left above and right below, or the other way round.
IppStatus ippiDeinterlaceEdgeDetect_8u_C1R(const Ipp8u* source, int sourceStep, Ipp8u* destination, int destinationStep,
                                           IppiSize size, int threshold);

/// Where the value differs from the median of itself and its vertical neighbours by more than the threshold, it becomes
/// that median.
IppStatus ippiDeinterlaceMedianThreshold_8u_C1R(const Ipp8u* source, int sourceStep, Ipp8u* destination,
                                                int destinationStep, IppiSize size, int threshold);

/// Content-adaptive: where the value differs from the mean of its vertical neighbours by more than these differ from
/// each other and by more than the threshold, it becomes a half-band filter of four rows of the kept field (-1, 9, 9,
/// -1).
IppStatus ippiDeinterlaceFilterCAVT_8u_C1R(const Ipp8u* source, int sourceStep, Ipp8u* destination, int destinationStep,
                                           IppiSize size, int threshold);
