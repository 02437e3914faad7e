#pragma once
/// Conversions of ITU-R BT.709 with limited range, rounded as in IppYuvToBgr.h and IppBgrToYuv.h. Rules and answers:
/// IppTypes.h; layouts: IppYuv.h and IppYuvToBgr.h.

#include "platform/imaging/IppTypes.h"

/// Both pixels of a pair have the same chroma.
IppPackedToPixels4 ippiCbYCr422ToBGR_709HDTV_8u_C2C4R;

/// Chroma is the mean of each square of four pixels; a last column or row counts twice where its neighbour is missing.
/// The fourth byte of a pixel is not looked at.
IppPackedToPlanes<Ipp8u> ippiBGRToYCbCr420_709HDTV_8u_AC4P3R;
