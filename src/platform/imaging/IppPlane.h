#pragma once
/// Copies and mirrors of planes. Rules and answers: IppTypes.h.

#include "platform/imaging/IppTypes.h"

IppStatus ippiCopy_8u_C1R(const Ipp8u* source, int sourceStep, Ipp8u* destination, int destinationStep, IppiSize size);

/// The width counts samples of two bytes, so a packed 4:2:2 picture is copied with its width in pixels.
IppStatus ippiCopy_16s_C1R(const Ipp16s* source, int sourceStep, Ipp16s* destination, int destinationStep,
                           IppiSize size);

/// Mirrors in place, pixels of 1, 3 or 4 bytes. ippStsMirrorFlipErr for an axis that is none.
IppStatus ippiMirror_8u_C1IR(Ipp8u* picture, int step, IppiSize size, IppiAxis axis);
IppStatus ippiMirror_8u_C3IR(Ipp8u* picture, int step, IppiSize size, IppiAxis axis);
IppStatus ippiMirror_8u_C4IR(Ipp8u* picture, int step, IppiSize size, IppiAxis axis);
