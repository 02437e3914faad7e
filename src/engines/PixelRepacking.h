#pragma once
/// The conversions of ColorSpaceConversion that no primitive does: they move values and, where several become one, take
/// their mean, rounded up. ippStsNullPtrErr for a missing plane.

#include <array>
#include <utility>

#include "platform/imaging/IppTypes.h"

namespace UMC {

/// The planes of a picture and their pitches.
struct PlaneSet {
    std::array<Ipp8u*, 3> planes{};
    std::array<int, 3> steps{};

    void ExchangeChroma() {
        std::swap(planes[1], planes[2]);
        std::swap(steps[1], steps[2]);
    }
};

IppStatus Yuv411To420(const PlaneSet& from, const PlaneSet& to, IppiSize size);
IppStatus Yuv420To410(const PlaneSet& from, const PlaneSet& to, IppiSize size);
IppStatus Yuv410To420(const PlaneSet& from, const PlaneSet& to, IppiSize size);
IppStatus DropFourthByte(const PlaneSet& from, const PlaneSet& to, IppiSize size);
/// The fourth byte is 0.
IppStatus AddFourthByte(const PlaneSet& from, const PlaneSet& to, IppiSize size);
/// The upper bits of a value are repeated below it, so that all bits set become 255.
IppStatus Unpack565(const PlaneSet& from, const PlaneSet& to, IppiSize size);
IppStatus Unpack555(const PlaneSet& from, const PlaneSet& to, IppiSize size);

}  // namespace UMC
