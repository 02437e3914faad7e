#pragma once
/// Conversions between the layouts of YCbCr pictures. No value is changed but by the subsampling: chroma of two rows is
/// their mean, rounded up; a row of chroma that stands for two is repeated. Rules and answers: IppTypes.h.
///
/// Layouts, as the names have them: YCbCr422 packed is Y Cb Y Cr ("YUY2"), CbYCr422 packed Cb Y Cr Y ("UYVY");
/// P3 are three planes in the order of the name (YCrCb420: Y, Cr, Cb); P2 are luma and interleaved Cb Cr. 420 halves
/// chroma both ways, 422 across only, 411 quarters it across only.

#include "platform/imaging/IppTypes.h"

// Packed 4:2:2 to packed 4:2:2; source and destination may be the same.
IppPackedToPacked<Ipp8u, Ipp8u> ippiYCbCr422ToCbYCr422_8u_C2R;
IppPackedToPacked<Ipp8u, Ipp8u> ippiCbYCr422ToYCbCr422_8u_C2R;

// Packed 4:2:2 to planes.
IppPackedToPlanes<Ipp8u> ippiYCbCr422ToYCbCr420_8u_C2P3R;
IppPackedToPlanes<Ipp8u> ippiYCbCr422ToYCrCb420_8u_C2P3R;
/// Takes Cb Y Cr Y, whatever the name promises: it is the operation that the system feeds "UYVY" pictures.
IppPackedToPlanes<Ipp8u> ippiYCrCb422ToYCbCr420_8u_C2P3R;
IppPackedToPlanes<Ipp8u> ippiCbYCr422ToYCrCb420_8u_C2P3R;
/// Takes Y Cr Y Cb. Whoever has Y Cb Y Cr gives the destination's chroma planes in exchanged order.
IppPackedToPlanes<Ipp8u> ippiYCrCb422ToYCbCr422_8u_C2P3R;
IppPackedToPlanes<Ipp8u> ippiCbYCr422ToYCbCr422_8u_C2P3R;
IppPackedToPlanes<Ipp8u> ippiYCbCr422ToYCbCr420_8u_C2P2R;
IppPackedToPlanes<Ipp8u> ippiCbYCr422ToYCbCr420_8u_C2P2R;

// Two planes.
IppPlanesToPacked<Ipp8u> ippiYCbCr420ToYCbCr422_8u_P2C2R;
IppPlanesToPacked<Ipp8u> ippiYCbCr420ToCbYCr422_8u_P2C2R;
IppPlanesToPlanes ippiYCbCr420_8u_P2P3R;
IppPlanesToPlanes ippiYCrCb420ToYCbCr420_8u_P3P2R;

// Three planes to packed 4:2:2.
IppPlanesToPacked<Ipp8u> ippiYCrCb420ToYCbCr422_8u_P3C2R;
IppPlanesToPacked<Ipp8u> ippiYCrCb420ToCbYCr422_8u_P3C2R;
IppPlanesToPacked<Ipp8u> ippiYCbCr422_8u_P3C2R;

// Three planes to three planes.
IppPlanesToPlanes ippiYCbCr420ToYCbCr422_8u_P3R;
IppPlanesToPlanes ippiYCbCr422ToYCbCr420_8u_P3R;
/// Two columns of chroma become their mean, rounded up; a last column without a neighbour stays as it is.
IppPlanesToPlanes ippiYCbCr420To411_8u_P3R;
