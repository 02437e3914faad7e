#include "engines/VideoResizing.h"

#include "platform/imaging/IppResize.h"

namespace UMC {

namespace {

/// A resize of one plane, whatever its samples are.
struct PlaneResize {
    VideoData::Plane from;
    VideoData::Plane to;
    int interpolation;

    template <class Sample, class Primitive>
    Status By(Primitive primitive) const {
        const IppiSize fromSize = {from.width, from.height};
        const IppiSize toSize = {to.width, to.height};
        const IppStatus result = primitive(
            reinterpret_cast<const Sample*>(from.pointer), fromSize, from.pitch,
            IppiRect{0, 0, from.width, from.height}, reinterpret_cast<Sample*>(to.pointer), to.pitch, toSize,
            static_cast<double>(to.width) / from.width, static_cast<double>(to.height) / from.height, interpolation);
        return result == ippStsNoErr ? kOk : kFailed;
    }

    [[nodiscard]] Status Run() const {
        switch (from.sampleSize * 10 + from.samples) {
            case 11:
                return By<Ipp8u>(ippiResize_8u_C1R);
            case 13:
                return By<Ipp8u>(ippiResize_8u_C3R);
            case 14:
                return By<Ipp8u>(ippiResize_8u_C4R);
            case 21:
                return By<Ipp16u>(ippiResize_16u_C1R);
            case 23:
                return By<Ipp16u>(ippiResize_16u_C3R);
            case 24:
                return By<Ipp16u>(ippiResize_16u_C4R);
            default:
                return VideoResizing::kUnknownSamples;
        }
    }
};

}  // namespace

Status VideoResizing::Run(const VideoData& source, VideoData& destination) {
    if (source.GetColorFormat() != destination.GetColorFormat() || source.GetNumPlanes() == 0) {
        return kFailed;
    }
    Status status = kOk;
    for (int plane = 0; plane < destination.GetNumPlanes() && status == kOk; ++plane) {
        const PlaneResize resize = {source.GetPlane(plane), destination.GetPlane(plane), m_interpolation};
        status = source.GetColorFormat() == kColorYUY2 ? resize.By<Ipp8u>(ippiResizeYUV422_8u_C2R) : resize.Run();
    }
    return status;
}

}  // namespace UMC
