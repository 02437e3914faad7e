#include "engines/VideoStage.h"

#include "platform/imaging/IppPlane.h"

namespace UMC {

int RowBytesOf(const VideoData& picture, int plane) {
    const bool pairs = picture.GetColorFormat() == kColorYUY2 || picture.GetColorFormat() == kColorUYVY;
    const VideoData::Plane of = picture.GetPlane(plane);
    return pairs ? (of.width + 1) / 2 * 4 : of.RowBytes();
}

Status CopyPlanes(const VideoData& source, VideoData& destination) {
    for (int plane = 0; plane < destination.GetNumPlanes(); ++plane) {
        const VideoData::Plane from = source.GetPlane(plane);
        const VideoData::Plane to = destination.GetPlane(plane);
        if (ippiCopy_8u_C1R(from.pointer, from.pitch, to.pointer, to.pitch,
                            {RowBytesOf(destination, plane), to.height}) != ippStsNoErr) {
            return kFailed;
        }
    }
    return kOk;
}

}  // namespace UMC
