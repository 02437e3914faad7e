#pragma once
/// RGB to YCbCr, ITU-R BT.601 with limited range (luma 16 to 235), rounded to the nearest number (within 0.51 of the
/// exact value). Chroma that stands for several pixels is their mean; a last column or row counts twice where its
/// neighbour is missing. Pixels of 16 bits are widened by repeating their upper bits. Rules and answers: IppTypes.h;
/// layouts: IppYuv.h and IppYuvToBgr.h. A fourth byte of a pixel (AC4) is not looked at.

#include "platform/imaging/IppTypes.h"

// Planar 4:2:0.
IppPackedToPlanes<Ipp8u> ippiBGRToYCbCr420_8u_C3P3R;
IppPackedToPlanes<Ipp8u> ippiBGRToYCbCr420_8u_AC4P3R;
IppPackedToPlanes<Ipp8u> ippiBGRToYCrCb420_8u_C3P3R;
IppPackedToPlanes<Ipp8u> ippiBGRToYCrCb420_8u_AC4P3R;
IppPackedToPlanes<Ipp16u> ippiBGR565ToYCrCb420_16u8u_C3P3R;
IppPackedToPlanes<Ipp16u> ippiBGR555ToYCrCb420_16u8u_C3P3R;

// Packed 4:2:2.
IppPackedToPacked<Ipp8u, Ipp8u> ippiBGRToYCbCr422_8u_C3C2R;
IppPackedToPacked<Ipp8u, Ipp8u> ippiBGRToYCbCr422_8u_AC4C2R;
IppPackedToPacked<Ipp8u, Ipp8u> ippiBGRToCbYCr422_8u_AC4C2R;
IppPackedToPacked<Ipp16u, Ipp8u> ippiBGR565ToYCbCr422_16u8u_C3C2R;
IppPackedToPacked<Ipp16u, Ipp8u> ippiBGR555ToYCbCr422_16u8u_C3C2R;
