#include "engines/VideoData.h"

#include <algorithm>

namespace UMC {

namespace {

constexpr int kMaxSide = 32767;
constexpr int kMaxAlignment = 4096;

/// The planes of a format: the first has the picture's size, the others a part of it.
struct Layout {
    ColorFormat format;
    int planes;
    int samples;        ///< of the first plane
    int sampleSize;     ///< of all planes, in bytes
    int chromaSamples;  ///< of the other planes
    int widthDivisor;   ///< of the other planes
    int heightDivisor;
};

constexpr std::array kLayouts{
    Layout{kColorYV12, 3, 1, 1, 1, 2, 2},   Layout{kColorNV12, 2, 1, 1, 2, 2, 2},
    Layout{kColorYUY2, 1, 2, 1, 0, 1, 1},   Layout{kColorUYVY, 1, 2, 1, 0, 1, 1},
    Layout{kColorYUV411, 3, 1, 1, 1, 4, 1}, Layout{kColorYUV420, 3, 1, 1, 1, 2, 2},
    Layout{kColorYUV422, 3, 1, 1, 1, 2, 1}, Layout{kColorYUV410, 3, 1, 1, 1, 4, 4},
    Layout{kColorRGB32, 1, 4, 1, 0, 1, 1},  Layout{kColorRGB24, 1, 3, 1, 0, 1, 1},
    Layout{kColorRGB565, 1, 1, 2, 0, 1, 1}, Layout{kColorRGB555, 1, 1, 2, 0, 1, 1},
    Layout{kColorRGB444, 1, 1, 2, 0, 1, 1},
};

constexpr int RoundUp(int value, int step) {
    return (value + step - 1) / step * step;
}

/// Packed 4:2:2 shares its chroma between two pixels, so that a row has an even number of them.
constexpr bool HasPixelPairs(ColorFormat format) {
    return format == kColorYUY2 || format == kColorUYVY;
}

}  // namespace

Status VideoData::Init(int width, int height, ColorFormat format, int bitDepth) {
    const int alignment = m_alignment;
    Close();
    m_alignment = alignment;
    if (width < 1 || height < 1 || width > kMaxSide || height > kMaxSide) {
        return kBadArgument;
    }
    const auto layout = std::find_if(kLayouts.begin(), kLayouts.end(),
                                     [format](const Layout& candidate) { return candidate.format == format; });
    if (layout == kLayouts.end() || (bitDepth != 0 && bitDepth != 8)) {
        return kNotImplemented;
    }
    m_width = width;
    m_height = height;
    m_format = format;
    m_planeCount = layout->planes;
    for (int index = 0; index < m_planeCount; ++index) {
        Plane& plane = m_planes[static_cast<std::size_t>(index)];
        const bool isFirst = index == 0;
        plane.width = isFirst ? width : RoundUp(width, layout->widthDivisor) / layout->widthDivisor;
        plane.height = isFirst ? height : RoundUp(height, layout->heightDivisor) / layout->heightDivisor;
        plane.samples = isFirst ? layout->samples : layout->chromaSamples;
        plane.sampleSize = layout->sampleSize;
        const int pixels = HasPixelPairs(format) ? RoundUp(plane.width, 2) : plane.width;
        plane.pitch = RoundUp(pixels * plane.samples * plane.sampleSize, alignment);
    }
    return kOk;
}

Status VideoData::Alloc(std::size_t bytes) {
    if (m_planeCount == 0) {
        return kNotInitialised;
    }
    PlacePlanes(nullptr);
    const Status status = MediaData::Alloc(std::max(bytes, GetPictureSize()));
    PlacePlanes(GetBufferPointer());
    return status;
}

Status VideoData::ReleaseImage() {
    PlacePlanes(nullptr);
    return MediaData::ReleaseImage();
}

Status VideoData::SetBufferPointer(std::uint8_t* buffer, std::size_t bytes) {
    if (buffer == nullptr) {
        return kBadArgument;
    }
    if (m_planeCount == 0) {
        return kNotInitialised;
    }
    if (bytes < GetPictureSize()) {
        return kOutOfRange;
    }
    PlacePlanes(buffer);
    return MediaData::SetBufferPointer(buffer, bytes);
}

void VideoData::Close() {
    MediaData::ReleaseImage();
    MediaData::Reset();
    m_planes = {};
    m_planeCount = 0;
    m_width = 0;
    m_height = 0;
    m_format = kColorNone;
    m_structure = kProgressive;
    m_alignment = 1;
}

Status VideoData::SetAlignment(int bytes) {
    if (bytes < 1 || bytes > kMaxAlignment) {
        return kBadArgument;
    }
    m_alignment = bytes;
    return kOk;
}

VideoData::Plane VideoData::GetPlane(int index) const {
    return index >= 0 && index < m_planeCount ? m_planes[static_cast<std::size_t>(index)] : Plane{};
}

Status VideoData::SetPlane(int index, std::uint8_t* pointer, int pitch) {
    if (index < 0 || index >= m_planeCount) {
        return kBadArgument;
    }
    m_planes[static_cast<std::size_t>(index)].pointer = pointer;
    m_planes[static_cast<std::size_t>(index)].pitch = pitch;
    return kOk;
}

std::size_t VideoData::GetPictureSize() const {
    std::size_t bytes = 0;
    for (const Plane& plane : m_planes) {
        bytes += static_cast<std::size_t>(plane.pitch) * static_cast<std::size_t>(plane.height);
    }
    return bytes;
}

void VideoData::ViewOf(const VideoData& other) {
    if (&other == this) {
        return;
    }
    Close();
    if (other.GetBufferPointer() != nullptr) {
        MediaData::SetBufferPointer(other.GetBufferPointer(), other.GetBufferSize());
        MediaData::MoveDataPointer(other.GetDataPointer() - other.GetBufferPointer());
        MediaData::SetDataSize(other.GetDataSize());
    }
    double start = 0;
    double end = 0;
    other.GetTime(start, end);
    SetTime(start, end);
    SetFrameType(other.GetFrameType());
    SetInvalid(other.IsInvalid());
    m_planes = other.m_planes;
    m_planeCount = other.m_planeCount;
    m_width = other.m_width;
    m_height = other.m_height;
    m_format = other.m_format;
    m_structure = other.m_structure;
    m_alignment = other.m_alignment;
}

void VideoData::PlacePlanes(std::uint8_t* start) {
    for (int index = 0; index < m_planeCount; ++index) {
        Plane& plane = m_planes[static_cast<std::size_t>(index)];
        plane.pointer = start;
        if (start != nullptr) {
            start += static_cast<std::size_t>(plane.pitch) * static_cast<std::size_t>(plane.height);
        }
    }
}

}  // namespace UMC
