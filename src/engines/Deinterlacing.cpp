#include "engines/Deinterlacing.h"

#include "platform/imaging/IppDeinterlace.h"
#include "platform/imaging/IppPlane.h"

namespace UMC {

namespace {

constexpr int kMedianThresholdValue = 6;
constexpr int kAdaptiveThresholdValue = 17;
constexpr int kCentreWeight = 128;
constexpr int kWholePicture = IPP_UPPER | IPP_CENTER | IPP_LOWER;

/// The median of each row and its neighbours; the outermost rows are copied.
IppStatus MedianOfRows(const VideoData::Plane& from, const VideoData::Plane& to, int rowBytes) {
    if (to.height < 3) {
        return ippiCopy_8u_C1R(from.pointer, from.pitch, to.pointer, to.pitch, {rowBytes, to.height});
    }
    const std::ptrdiff_t last = to.height - 1;
    ippsCopy_8u(from.pointer, to.pointer, rowBytes);
    ippsCopy_8u(from.pointer + last * from.pitch, to.pointer + last * to.pitch, rowBytes);
    const Ipp8u* const rows[3] = {from.pointer, from.pointer + from.pitch,
                                  from.pointer + 2 * static_cast<std::ptrdiff_t>(from.pitch)};
    return ippiMedian_8u_P3C1R(rows, from.pitch, to.pointer + to.pitch, to.pitch, {rowBytes, to.height - 2});
}

}  // namespace

void Deinterlacing::SetMethod(int method) {
    m_method = method;
    if (method == kMedianThreshold) {
        m_threshold = kMedianThresholdValue;
    } else if (method == kContentAdaptive) {
        m_threshold = kAdaptiveThresholdValue;
    }
}

Status Deinterlacing::Run(const VideoData& source, VideoData& destination) {
    if (source.GetWidth() != destination.GetWidth() || source.GetHeight() != destination.GetHeight() ||
        source.GetColorFormat() != destination.GetColorFormat()) {
        return kFailed;
    }
    if (m_method == kCopy) {
        return CopyPlanes(source, destination);
    }
    Status status = kOk;
    for (int plane = 0; plane < destination.GetNumPlanes() && status == kOk; ++plane) {
        status = RunPlane(source, destination, plane);
    }
    return status;
}

Status Deinterlacing::RunPlane(const VideoData& source, VideoData& destination, int plane) const {
    const VideoData::Plane from = source.GetPlane(plane);
    const VideoData::Plane to = destination.GetPlane(plane);
    if (from.pointer == nullptr || to.pointer == nullptr) {
        return kFailed;
    }
    const IppiSize size = {RowBytesOf(destination, plane), to.height};
    IppStatus result = ippStsNoErr;
    switch (m_method) {
        case kTriangle:
            result = ippiDeinterlaceFilterTriangle_8u_C1R(from.pointer, from.pitch, to.pointer, to.pitch, size,
                                                          kCentreWeight, kWholePicture);
            break;
        case kMedian:
            result = MedianOfRows(from, to, size.width);
            break;
        case kEdgeDetect:
            result =
                ippiDeinterlaceEdgeDetect_8u_C1R(from.pointer, from.pitch, to.pointer, to.pitch, size, m_threshold);
            break;
        case kMedianThreshold:
            result = ippiDeinterlaceMedianThreshold_8u_C1R(from.pointer, from.pitch, to.pointer, to.pitch, size,
                                                           m_threshold);
            break;
        case kContentAdaptive:
            result =
                ippiDeinterlaceFilterCAVT_8u_C1R(from.pointer, from.pitch, to.pointer, to.pitch, size, m_threshold);
            break;
        default:
            return kNotImplemented;
    }
    return result == ippStsNoErr ? kOk : kFailed;
}

}  // namespace UMC
