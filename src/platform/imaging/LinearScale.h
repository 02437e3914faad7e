#pragma once

#include "platform/imaging/IppTypes.h"

namespace qrn {

/// Scales a plane of bytes with IPPI_INTER_LINEAR (IppResize.h): each row that is needed is scaled across once, and
/// the new rows lie between two of these. Both sizes are positive and at most kIppMaxSide.
/// @return ippStsNoErr or ippStsMemAllocErr. Any thread.
IppStatus ScalePlaneLinearly(const Ipp8u* source, int sourceStep, Ipp8u* destination, int destinationStep,
                             IppiSize from, IppiSize to);

}  // namespace qrn
