#pragma once
/// Resizing. Rules and answers: IppTypes.h.
///
/// The rectangle `sourceRect`, cut to the source, is scaled by the two factors (result over source) and written from
/// the upper left of the destination, cut to `destinationSize`; the rest of the destination keeps its values.
/// Interpolation is one of IPPI_INTER_NN, IPPI_INTER_LINEAR, IPPI_INTER_CUBIC (Catmull-Rom), IPPI_INTER_SUPER (the mean
/// of the covered area) and IPPI_INTER_LANCZOS (six taps). Outside of the rectangle its edge pixels continue. A pixel's
/// centre falls on the centre of the area it stands for. Values are within 0.55 of the exact ones.
///
/// Further answers: ippStsSizeErr, the rectangle lies outside of the source; ippStsResizeFactorErr, a factor is not
/// positive or makes nothing; ippStsInterpolationErr; ippStsMemAllocErr.

#include "platform/imaging/IppTypes.h"

IppResize<Ipp8u> ippiResize_8u_C1R;
IppResize<Ipp8u> ippiResize_8u_C3R;
IppResize<Ipp8u> ippiResize_8u_C4R;

// Samples of 16 bits; steps still count bytes and are even.
IppResize<Ipp16u> ippiResize_16u_C1R;
IppResize<Ipp16u> ippiResize_16u_C3R;
IppResize<Ipp16u> ippiResize_16u_C4R;

/// Packed Y Cb Y Cr, resized as the three planes that it holds. The rectangle begins at an even column, else
/// ippStsSizeErr.
IppResize<Ipp8u> ippiResizeYUV422_8u_C2R;
