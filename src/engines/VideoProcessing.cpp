#include "engines/VideoProcessing.h"

#include <algorithm>
#include <bit>

namespace UMC {

namespace {

ColorFormat IntermediateFor(ColorFormat format) {
    struct Row {
        ColorFormat from;
        ColorFormat through;
    };
    static constexpr Row kRows[] = {{4, 6},   {18, 6},  {5, 0}, {6, 2},  {7, 12},  {11, 12}, {13, 12},
                                    {14, 12}, {15, 12}, {9, 4}, {10, 4}, {12, 11}, {19, 7}};
    const auto* row =
        std::find_if(std::begin(kRows), std::end(kRows), [format](const Row& each) { return each.from == format; });
    return row == std::end(kRows) ? kColorYUV420 : row->through;
}

bool AreExchanged(ColorFormat first, ColorFormat second) {
    return (first == kColorYUV420 && second == kColorYV12) || (first == kColorYV12 && second == kColorYUV420);
}

/// The same picture in the other one of formats 0 and 5.
Status ExchangedView(const VideoData& picture, VideoData& view) {
    const PictureStructure structure = picture.GetPictureStructure();
    const Status status = view.Init(picture.GetWidth(), picture.GetHeight(),
                                    picture.GetColorFormat() == kColorYV12 ? kColorYUV420 : kColorYV12);
    view.SetPictureStructure(structure);
    for (int plane = 0; plane < 3 && status == kOk; ++plane) {
        const VideoData::Plane from = picture.GetPlane((3 - plane) % 3);
        view.SetPlane(plane, from.pointer, from.pitch);
    }
    return status;
}

int PixelsOfSample(int pictureSide, int planeSide) {
    return static_cast<int>(std::bit_ceil(static_cast<unsigned>((pictureSide + planeSide - 1) / planeSide)));
}

/// The pixels in the rectangle. kBadArgument when it is empty or leaves the picture.
Status CroppedView(const VideoData& picture, const VideoProcessingParams::CropRectangle& crop, VideoData& view) {
    if (crop.left < 0 || crop.top < 0 || crop.right <= crop.left || crop.bottom <= crop.top ||
        crop.right > picture.GetWidth() || crop.bottom > picture.GetHeight()) {
        return kBadArgument;
    }
    const Status status = view.Init(crop.right - crop.left, crop.bottom - crop.top, picture.GetColorFormat());
    view.SetPictureStructure(picture.GetPictureStructure());
    const bool pairs = picture.GetColorFormat() == kColorYUY2 || picture.GetColorFormat() == kColorUYVY;
    for (int index = 0; index < picture.GetNumPlanes() && status == kOk; ++index) {
        const VideoData::Plane plane = picture.GetPlane(index);
        // Chroma begins at the sample that stands for the first pixel; each stands for one, two or four, though the
        // last one of a row or column for fewer.
        const int columns = PixelsOfSample(picture.GetWidth(), plane.width);
        const int rows = PixelsOfSample(picture.GetHeight(), plane.height);
        const int left = pairs ? crop.left / 2 * 2 : crop.left / columns;
        const auto offset = static_cast<std::ptrdiff_t>(crop.top / rows) * plane.pitch +
                            static_cast<std::ptrdiff_t>(left) * plane.samples * plane.sampleSize;
        view.SetPlane(index, plane.pointer == nullptr ? nullptr : plane.pointer + offset, plane.pitch);
    }
    return status;
}

Status Allocate(VideoData& picture, int width, int height, ColorFormat format) {
    const Status status = picture.Init(width, height, format);
    return status == kOk ? picture.Alloc() : status;
}

void CopyTimes(const MediaData& source, MediaData& destination) {
    if (source.GetFrameType() >= 0 && source.GetFrameType() <= 4) {
        destination.SetFrameType(source.GetFrameType());
    }
    double start = 0;
    double end = 0;
    source.GetTime(start, end);
    destination.SetTime(start, end);
}

void SetStructure(const VideoData& source, VideoData& destination, bool isDeinterlaced) {
    const PictureStructure structure = source.GetPictureStructure();
    const auto known = {kTopField, kBottomField, kProgressive, kInterlacedTopFirst, kInterlacedBottomFirst};
    if (isDeinterlaced) {
        destination.SetPictureStructure(kProgressive);
    } else if (std::find(known.begin(), known.end(), structure) != known.end()) {
        destination.SetPictureStructure(structure);
    }
}

/// What a picture is said to hold once it is filled; 1 when nothing tells.
void SetFilled(VideoData& source, VideoData& destination) {
    source.SetDataSize(0);
    const std::size_t size = std::max(destination.GetPictureSize(), std::size_t{1});
    if (destination.SetDataSize(size) != kOk) {
        destination.SetDataSize(destination.GetBufferSize());
    }
}

}  // namespace

Status VideoProcessing::SetParams(BaseCodecParams* params) {
    const auto* given = As<VideoProcessingParams>(params);
    if (given == nullptr) {
        return kBadArgument;
    }
    m_params = *given;
    m_resizing.SetMethod(m_params.m_resizeMethod);
    m_deinterlacing.SetMethod(m_params.m_deinterlaceMethod);
    const auto& crop = m_params.m_crop;
    m_isCropped = crop.left != 0 || crop.top != 0 || crop.right != 0 || crop.bottom != 0;
    return kOk;
}

Status VideoProcessing::GetInfo(BaseCodecParams* params) {
    auto* wanted = As<VideoProcessingParams>(params);
    if (wanted == nullptr) {
        return kBadArgument;
    }
    *wanted = m_params;
    return kOk;
}

VideoProcessing::Steps VideoProcessing::StepsFor(const VideoData& source, const VideoData& destination) const {
    Steps steps{};
    steps[kDeinterlace] = m_params.m_deinterlaceMethod != 0 && source.GetPictureStructure() != kProgressive;
    steps[kConvert] = source.GetColorFormat() != destination.GetColorFormat();
    steps[kResize] = source.GetWidth() != destination.GetWidth() || source.GetHeight() != destination.GetHeight();
    return steps;
}

Status VideoProcessing::GetFrame(MediaData* in, MediaData* out) {
    auto* source = As<VideoData>(in);
    auto* destination = As<VideoData>(out);
    if (source == nullptr || destination == nullptr) {
        return kBadArgument;
    }
    CopyTimes(*source, *destination);
    VideoData cropped;
    VideoData* from = source;
    if (m_isCropped) {
        const Status status = CroppedView(*source, m_params.m_crop, cropped);
        if (status != kOk) {
            return status;
        }
        from = &cropped;
    }
    Steps steps = StepsFor(*from, *destination);
    if (from->GetPlanePointer(0) == nullptr) {
        return kNoPlane;
    }
    SetStructure(*from, *destination, steps[kDeinterlace]);
    VideoData exchanged;
    if (AreExchanged(from->GetColorFormat(), destination->GetColorFormat()) &&
        (steps[kDeinterlace] || steps[kResize])) {
        const Status status = ExchangedView(*from, exchanged);
        if (status != kOk) {
            return status;
        }
        from = &exchanged;
        steps[kConvert] = false;
    }
    if (std::find(steps.begin(), steps.end(), true) == steps.end()) {
        steps[kConvert] = true;
    }
    const Status status = RunSteps(*from, *destination, steps);
    if (status == kOk) {
        SetFilled(*source, *destination);
    }
    return status;
}

Status VideoProcessing::RunSteps(VideoData& source, VideoData& destination, Steps steps) {
    const int last = static_cast<int>(std::find(steps.rbegin(), steps.rend(), true).base() - steps.begin()) - 1;
    VideoData* current = &source;
    for (int step = 0; step <= last; ++step) {
        if (!steps[static_cast<std::size_t>(step)]) {
            continue;
        }
        VideoData* next = &destination;
        if (step != last) {
            // No step before the last one changes the size.
            next = &m_between[static_cast<std::size_t>(step)];
            const ColorFormat format = step == kConvert ? destination.GetColorFormat() : current->GetColorFormat();
            const Status status = Allocate(*next, current->GetWidth(), current->GetHeight(), format);
            if (status != kOk) {
                return status;
            }
        }
        const Status status = RunStep(step, *current, *next);
        if (status != kOk) {
            return status;
        }
        current = next;
    }
    return kOk;
}

Status VideoProcessing::RunStep(int step, VideoData& source, VideoData& destination) {
    switch (step) {
        case kDeinterlace:
            return m_deinterlacing.GetFrame(&source, &destination);
        case kConvert: {
            const Status status = m_conversion.GetFrame(&source, &destination);
            return status == kNotImplemented ? ConvertTwice(source, destination) : status;
        }
        default:
            return m_resizing.GetFrame(&source, &destination);
    }
}

Status VideoProcessing::ConvertTwice(VideoData& source, VideoData& destination) {
    VideoData& between = m_between[kFirstConvert];
    Status status = Allocate(between, source.GetWidth(), source.GetHeight(), IntermediateFor(source.GetColorFormat()));
    if (status == kOk) {
        status = m_conversion.GetFrame(&source, &between);
    }
    return status == kOk ? m_conversion.GetFrame(&between, &destination) : status;
}

}  // namespace UMC
