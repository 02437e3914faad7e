#pragma once
/// YCbCr to RGB, ITU-R BT.601 with limited range (luma 16 to 235): the exact value rounded to the nearest number, but
/// that it is off by up to 0.57 near a half. Rules and answers: IppTypes.h; layouts of YCbCr: IppYuv.h.
///
/// BGR has the bytes B, G, R (C3), and then `alpha` (C4). The 16-bit forms have B in the low bits: 565, 555 and 444,
/// the bits above them clear, as little-endian words; the lower bits of a value are cut off.

#include "platform/imaging/IppTypes.h"

// Packed 4:2:2; both pixels of a pair have the same chroma.
IppPackedToPacked<Ipp8u, Ipp8u> ippiYCbCr422ToBGR_8u_C2C3R;
IppPackedToPixels4 ippiYCbCr422ToBGR_8u_C2C4R;
IppPackedToPixels4 ippiCbYCr422ToBGR_8u_C2C4R;
IppPackedToPacked<Ipp8u, Ipp16u> ippiYCbCr422ToBGR565_8u16u_C2C3R;
IppPackedToPacked<Ipp8u, Ipp16u> ippiYCbCr422ToBGR555_8u16u_C2C3R;
IppPackedToPacked<Ipp8u, Ipp16u> ippiYCbCr422ToBGR444_8u16u_C2C3R;

// Planar 4:2:0; the four pixels of a square have the same chroma.
IppPlanesToPacked<Ipp8u> ippiYCbCr420ToBGR_8u_P3C3R;
IppPlanesToPixels4 ippiYCbCr420ToBGR_8u_P3C4R;
IppPlanesToPacked<Ipp16u> ippiYCbCr420ToBGR565_8u16u_P3C3R;
IppPlanesToPacked<Ipp16u> ippiYCbCr420ToBGR555_8u16u_P3C3R;
IppPlanesToPacked<Ipp16u> ippiYCbCr420ToBGR444_8u16u_P3C3R;
/// Chroma is interpolated between its samples, which lie in the middle of their squares (weights 9, 3, 3, 1).
IppPlanesToPixels4 ippiYCrCb420ToBGR_Filter_8u_P3C4R;
