#include "engines/ColorSpaceConversion.h"

#include <algorithm>
#include <array>
#include <utility>

#include "engines/PixelRepacking.h"
#include "platform/imaging/IppBgrToYuv.h"
#include "platform/imaging/IppYuv.h"
#include "platform/imaging/IppYuvToBgr.h"

namespace UMC {

namespace {

constexpr Ipp8u kAlpha = 0;

template <class From, class To>
IppStatus Call(IppStatus (*primitive)(const From*, int, To*, int, IppiSize), const PlaneSet& from, const PlaneSet& to,
               IppiSize size) {
    return primitive(reinterpret_cast<const From*>(from.planes[0]), from.steps[0], reinterpret_cast<To*>(to.planes[0]),
                     to.steps[0], size);
}

IppStatus Call(IppStatus (*primitive)(const Ipp8u*, int, Ipp8u*, int, IppiSize, Ipp8u), const PlaneSet& from,
               const PlaneSet& to, IppiSize size) {
    return primitive(from.planes[0], from.steps[0], to.planes[0], to.steps[0], size, kAlpha);
}

template <class From>
IppStatus Call(IppStatus (*primitive)(const From*, int, Ipp8u* const*, const int*, IppiSize), const PlaneSet& from,
               const PlaneSet& to, IppiSize size) {
    return primitive(reinterpret_cast<const From*>(from.planes[0]), from.steps[0], to.planes.data(), to.steps.data(),
                     size);
}

template <class To>
IppStatus Call(IppStatus (*primitive)(const Ipp8u* const*, const int*, To*, int, IppiSize), const PlaneSet& from,
               const PlaneSet& to, IppiSize size) {
    return primitive(from.planes.data(), from.steps.data(), reinterpret_cast<To*>(to.planes[0]), to.steps[0], size);
}

IppStatus Call(IppStatus (*primitive)(const Ipp8u* const*, const int*, Ipp8u*, int, IppiSize, Ipp8u),
               const PlaneSet& from, const PlaneSet& to, IppiSize size) {
    return primitive(from.planes.data(), from.steps.data(), to.planes[0], to.steps[0], size, kAlpha);
}

IppStatus Call(IppStatus (*primitive)(const Ipp8u* const*, const int*, Ipp8u* const*, const int*, IppiSize),
               const PlaneSet& from, const PlaneSet& to, IppiSize size) {
    return primitive(from.planes.data(), from.steps.data(), to.planes.data(), to.steps.data(), size);
}

IppStatus Call(IppStatus (*own)(const PlaneSet&, const PlaneSet&, IppiSize), const PlaneSet& from, const PlaneSet& to,
               IppiSize size) {
    return own(from, to, size);
}

template <auto Primitive>
IppStatus By(PlaneSet from, PlaneSet to, IppiSize size) {
    return Call(Primitive, from, to, size);
}

/// For a primitive that takes Y, Cr, Cb.
template <auto Primitive>
IppStatus FromYCrCb(PlaneSet from, PlaneSet to, IppiSize size) {
    from.ExchangeChroma();
    return Call(Primitive, from, to, size);
}

/// For a primitive that gives Y, Cr, Cb.
template <auto Primitive>
IppStatus ToYCrCb(PlaneSet from, PlaneSet to, IppiSize size) {
    to.ExchangeChroma();
    return Call(Primitive, from, to, size);
}

struct Pair {
    ColorFormat from;
    ColorFormat to;
    IppStatus (*convert)(PlaneSet, PlaneSet, IppiSize);
};

constexpr std::array kPairs = {
    Pair{1, 2, By<ippiYCbCr420ToYCbCr422_8u_P2C2R>},
    Pair{1, 3, By<ippiYCbCr420ToCbYCr422_8u_P2C2R>},
    Pair{1, 5, By<ippiYCbCr420_8u_P2P3R>},
    Pair{2, 1, By<ippiYCbCr422ToYCbCr420_8u_C2P2R>},
    Pair{2, 3, By<ippiYCbCr422ToCbYCr422_8u_C2R>},
    Pair{2, 5, ToYCrCb<ippiYCbCr422ToYCrCb420_8u_C2P3R>},
    // It takes what is Cb here for Cr.
    Pair{2, 6, ToYCrCb<ippiYCrCb422ToYCbCr422_8u_C2P3R>},
    Pair{2, 11, By<ippiYCbCr422ToBGR_8u_C2C4R>},
    Pair{2, 12, By<ippiYCbCr422ToBGR_8u_C2C3R>},
    Pair{2, 13, By<ippiYCbCr422ToBGR565_8u16u_C2C3R>},
    Pair{2, 14, By<ippiYCbCr422ToBGR555_8u16u_C2C3R>},
    Pair{2, 15, By<ippiYCbCr422ToBGR444_8u16u_C2C3R>},
    Pair{3, 1, By<ippiCbYCr422ToYCbCr420_8u_C2P2R>},
    Pair{3, 2, By<ippiCbYCr422ToYCbCr422_8u_C2R>},
    Pair{3, 5, ToYCrCb<ippiCbYCr422ToYCrCb420_8u_C2P3R>},
    Pair{3, 6, By<ippiCbYCr422ToYCbCr422_8u_C2P3R>},
    Pair{3, 11, By<ippiCbYCr422ToBGR_8u_C2C4R>},
    Pair{4, 5, By<Yuv411To420>},
    Pair{5, 1, FromYCrCb<ippiYCrCb420ToYCbCr420_8u_P3P2R>},
    Pair{5, 2, FromYCrCb<ippiYCrCb420ToYCbCr422_8u_P3C2R>},
    Pair{5, 3, FromYCrCb<ippiYCrCb420ToCbYCr422_8u_P3C2R>},
    Pair{5, 4, By<ippiYCbCr420To411_8u_P3R>},
    Pair{5, 6, By<ippiYCbCr420ToYCbCr422_8u_P3R>},
    Pair{5, 10, By<Yuv420To410>},
    Pair{5, 11, FromYCrCb<ippiYCrCb420ToBGR_Filter_8u_P3C4R>},
    Pair{5, 12, By<ippiYCbCr420ToBGR_8u_P3C3R>},
    Pair{5, 13, By<ippiYCbCr420ToBGR565_8u16u_P3C3R>},
    Pair{5, 14, By<ippiYCbCr420ToBGR555_8u16u_P3C3R>},
    Pair{5, 15, By<ippiYCbCr420ToBGR444_8u16u_P3C3R>},
    Pair{6, 2, By<ippiYCbCr422_8u_P3C2R>},
    Pair{6, 5, By<ippiYCbCr422ToYCbCr420_8u_P3R>},
    Pair{10, 5, By<Yuv410To420>},
    Pair{11, 2, By<ippiBGRToYCbCr422_8u_AC4C2R>},
    Pair{11, 3, By<ippiBGRToCbYCr422_8u_AC4C2R>},
    Pair{11, 5, ToYCrCb<ippiBGRToYCrCb420_8u_AC4P3R>},
    Pair{11, 12, By<DropFourthByte>},
    Pair{12, 2, By<ippiBGRToYCbCr422_8u_C3C2R>},
    Pair{12, 5, ToYCrCb<ippiBGRToYCrCb420_8u_C3P3R>},
    Pair{12, 11, By<AddFourthByte>},
    Pair{13, 2, By<ippiBGR565ToYCbCr422_16u8u_C3C2R>},
    Pair{13, 5, ToYCrCb<ippiBGR565ToYCrCb420_16u8u_C3P3R>},
    Pair{13, 12, By<Unpack565>},
    Pair{14, 2, By<ippiBGR555ToYCbCr422_16u8u_C3C2R>},
    Pair{14, 5, ToYCrCb<ippiBGR555ToYCrCb420_16u8u_C3P3R>},
    Pair{14, 12, By<Unpack555>},
};

PlaneSet PlanesOf(const VideoData& picture) {
    PlaneSet set;
    for (int plane = 0; plane < VideoData::kMaxPlanes; ++plane) {
        set.planes[static_cast<std::size_t>(plane)] = picture.GetPlanePointer(plane);
        set.steps[static_cast<std::size_t>(plane)] = picture.GetPlanePitch(plane);
    }
    // Format 0 is format 5 with the other order of chroma.
    if (picture.GetColorFormat() == kColorYV12) {
        set.ExchangeChroma();
    }
    return set;
}

ColorFormat Normal(ColorFormat format) {
    return format == kColorYV12 ? kColorYUV420 : format;
}

Status CopyEqual(const VideoData& source, VideoData& destination) {
    if (source.GetColorFormat() == destination.GetColorFormat()) {
        return CopyPlanes(source, destination);
    }
    VideoData exchanged;
    exchanged.ViewOf(source);
    exchanged.SetPlane(1, source.GetPlanePointer(2), source.GetPlanePitch(2));
    exchanged.SetPlane(2, source.GetPlanePointer(1), source.GetPlanePitch(1));
    return CopyPlanes(exchanged, destination);
}

}  // namespace

Status ColorSpaceConversion::Run(const VideoData& source, VideoData& destination) {
    const IppiSize size = {source.GetWidth(), source.GetHeight()};
    if (destination.GetWidth() != size.width || destination.GetHeight() != size.height) {
        return kFailed;
    }
    const ColorFormat from = Normal(source.GetColorFormat());
    const ColorFormat to = Normal(destination.GetColorFormat());
    if (from == to) {
        return CopyEqual(source, destination);
    }
    const auto* pair = std::find_if(kPairs.begin(), kPairs.end(),
                                    [&](const Pair& each) { return each.from == from && each.to == to; });
    if (pair == kPairs.end()) {
        return kNotImplemented;
    }
    return pair->convert(PlanesOf(source), PlanesOf(destination), size) == ippStsNoErr ? kOk : kFailed;
}

}  // namespace UMC
