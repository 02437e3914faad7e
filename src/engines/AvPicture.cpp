#include "engines/AvPicture.h"

extern "C" {
#include <libavutil/pixdesc.h>
}

#include <algorithm>
#include <cstring>

namespace UMC {

namespace {

constexpr std::uint8_t kGrey = 128;

/// kColorNone for what must be converted first.
ColorFormat DirectFormat(int pixelFormat) {
    switch (pixelFormat) {
        case AV_PIX_FMT_YUV420P:
        case AV_PIX_FMT_YUVJ420P:
            return kColorYUV420;
        case AV_PIX_FMT_YUV422P:
        case AV_PIX_FMT_YUVJ422P:
            return kColorYUV422;
        case AV_PIX_FMT_YUV411P:
        case AV_PIX_FMT_YUVJ411P:
            return kColorYUV411;
        default:
            return kColorNone;
    }
}

/// Whether luma, and chroma where there is any, lie in planes of bytes of their own. An alpha plane behind is let lie.
bool IsPlanarYuv8(const AVPixFmtDescriptor& format) {
    constexpr std::uint64_t kOther = AV_PIX_FMT_FLAG_RGB | AV_PIX_FMT_FLAG_PAL | AV_PIX_FMT_FLAG_BITSTREAM |
                                     AV_PIX_FMT_FLAG_HWACCEL | AV_PIX_FMT_FLAG_BAYER | AV_PIX_FMT_FLAG_FLOAT;
    if ((format.flags & kOther) != 0) {
        return false;
    }
    const int components = format.nb_components < 3 ? 1 : 3;
    for (int index = 0; index < components; ++index) {
        const AVComponentDescriptor& component = format.comp[index];
        if (component.plane != index || component.depth != 8 || component.step != 1 || component.offset != 0) {
            return false;
        }
    }
    return true;
}

int CeilShift(int value, int shift) {
    return -((-value) >> shift);
}

/// Each target sample is the mean of the source samples that its area of the picture covers.
void ResampleChroma(const AVFrame& frame, int plane, const AVPixFmtDescriptor& format, const VideoData::Plane& target) {
    const int sourceWidth = CeilShift(frame.width, format.log2_chroma_w);
    const int sourceHeight = CeilShift(frame.height, format.log2_chroma_h);
    const int across = format.log2_chroma_w == 0 ? 2 : 1;
    const int down = format.log2_chroma_h == 0 ? 2 : 1;
    const int shiftX = std::max<int>(format.log2_chroma_w - 1, 0);
    const int shiftY = std::max<int>(format.log2_chroma_h - 1, 0);
    for (int y = 0; y < target.height; ++y) {
        std::uint8_t* const row = target.pointer + static_cast<std::ptrdiff_t>(y) * target.pitch;
        const int firstY = down == 2 ? 2 * y : std::min(y >> shiftY, sourceHeight - 1);
        const int lastY = std::min(firstY + down, sourceHeight) - 1;
        const std::uint8_t* const upper =
            frame.data[plane] + static_cast<std::ptrdiff_t>(firstY) * frame.linesize[plane];
        const std::uint8_t* const lower =
            frame.data[plane] + static_cast<std::ptrdiff_t>(lastY) * frame.linesize[plane];
        for (int x = 0; x < target.width; ++x) {
            const int firstX = across == 2 ? 2 * x : std::min(x >> shiftX, sourceWidth - 1);
            const int lastX = std::min(firstX + across, sourceWidth) - 1;
            row[x] = static_cast<std::uint8_t>((upper[firstX] + upper[lastX] + lower[firstX] + lower[lastX] + 2) >> 2);
        }
    }
}

void Describe(const AVFrame& frame, VideoData& picture) {
    if (frame.interlaced_frame != 0) {
        picture.SetPictureStructure(frame.top_field_first != 0 ? kInterlacedTopFirst : kInterlacedBottomFirst);
    } else {
        picture.SetPictureStructure(kProgressive);
    }
    switch (frame.pict_type) {
        case AV_PICTURE_TYPE_I:
            picture.SetFrameType(kFrameI);
            break;
        case AV_PICTURE_TYPE_P:
            picture.SetFrameType(kFrameP);
            break;
        case AV_PICTURE_TYPE_B:
            picture.SetFrameType(kFrameB);
            break;
        default:
            picture.SetFrameType(kFrameNone);
            break;
    }
}

}  // namespace

Status AvPicture::View(const AVFrame& frame, VideoData& picture) {
    const ColorFormat format = DirectFormat(frame.format);
    if (format == kColorNone) {
        return Convert(frame, picture);
    }
    if (const Status status = picture.Init(frame.width, frame.height, format); status != kOk) {
        return status;
    }
    for (int plane = 0; plane < picture.GetNumPlanes(); ++plane) {
        picture.SetPlane(plane, frame.data[plane], frame.linesize[plane]);
    }
    Describe(frame, picture);
    return kOk;
}

Status AvPicture::Convert(const AVFrame& frame, VideoData& picture) {
    const AVPixFmtDescriptor* const format = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format));
    if (format == nullptr || !IsPlanarYuv8(*format)) {
        return kNotImplemented;
    }
    if (m_converted.GetWidth() != frame.width || m_converted.GetHeight() != frame.height ||
        m_converted.GetPlanePointer(0) == nullptr) {
        Status status = m_converted.Init(frame.width, frame.height, kColorYUV420);
        status = status == kOk ? m_converted.Alloc() : status;
        if (status != kOk) {
            return status;
        }
    }
    const VideoData::Plane luma = m_converted.GetPlane(0);
    for (int y = 0; y < luma.height; ++y) {
        std::memcpy(luma.pointer + static_cast<std::ptrdiff_t>(y) * luma.pitch,
                    frame.data[0] + static_cast<std::ptrdiff_t>(y) * frame.linesize[0],
                    static_cast<std::size_t>(luma.width));
    }
    for (int index = 1; index < 3; ++index) {
        const VideoData::Plane chroma = m_converted.GetPlane(index);
        if (format->nb_components < 3) {
            std::memset(chroma.pointer, kGrey,
                        static_cast<std::size_t>(chroma.pitch) * static_cast<std::size_t>(chroma.height));
        } else {
            ResampleChroma(frame, index, *format, chroma);
        }
    }
    Describe(frame, m_converted);
    picture.ViewOf(m_converted);
    return kOk;
}

}  // namespace UMC
