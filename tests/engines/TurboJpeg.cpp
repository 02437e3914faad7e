#include "engines/TurboJpeg.h"

#include <turbojpeg.h>

#include <memory>
#include <stdexcept>

namespace qrn::test {

namespace {

struct Closer {
    void operator()(void* handle) const { tjDestroy(handle); }
};
using Handle = std::unique_ptr<void, Closer>;

constexpr int kSubsampling[] = {TJSAMP_420, TJSAMP_422, TJSAMP_444, TJSAMP_GRAY};

void Require(bool isGood) {
    if (!isGood) {
        throw std::runtime_error("libjpeg-turbo failed");
    }
}

/// Means of 2 by 2 samples.
void Halve(const std::vector<std::uint8_t>& plane, int width, int height, std::vector<std::uint8_t>& out) {
    const auto at = [&](int x, int y) { return plane.data()[std::ptrdiff_t{y} * width + x]; };
    for (int y = 0; y < height; y += 2) {
        for (int x = 0; x < width; x += 2) {
            const int right = std::min(x + 1, width - 1);
            const int lower = std::min(y + 1, height - 1);
            out.push_back(
                static_cast<std::uint8_t>((at(x, y) + at(right, y) + at(x, lower) + at(right, lower) + 2) / 4));
        }
    }
}

}  // namespace

std::vector<std::uint8_t> CompressJpeg(int width, int height, Sampling sampling, bool isProgressive) {
    std::vector<std::uint8_t> rgb;
    const Picture picture = MovingPicture(width, height, 3);
    for (int at = 0; at < width * height; ++at) {
        const std::uint8_t luma = picture.bytes[static_cast<std::size_t>(at)];
        rgb.insert(rgb.end(), {luma, static_cast<std::uint8_t>(255 - luma), static_cast<std::uint8_t>(at % width)});
    }
    const Handle handle(tjInitCompress());
    unsigned char* bytes = nullptr;
    unsigned long size = 0;
    const int flags = TJFLAG_ACCURATEDCT | (isProgressive ? TJFLAG_PROGRESSIVE : 0);
    Require(tjCompress2(handle.get(), rgb.data(), width, 0, height, TJPF_RGB, &bytes, &size,
                        kSubsampling[static_cast<int>(sampling)], 85, flags) == 0);
    std::vector<std::uint8_t> jpeg(bytes, bytes + size);
    tjFree(bytes);
    return jpeg;
}

Picture DecompressJpeg(const std::vector<std::uint8_t>& jpeg) {
    const Handle handle(tjInitDecompress());
    int width = 0;
    int height = 0;
    int subsampling = 0;
    int colours = 0;
    Require(tjDecompressHeader3(handle.get(), jpeg.data(), jpeg.size(), &width, &height, &subsampling, &colours) == 0);
    std::vector<std::uint8_t> planes[3];
    unsigned char* pointers[3] = {};
    const int count = subsampling == TJSAMP_GRAY ? 1 : 3;
    for (int index = 0; index < count; ++index) {
        planes[index].resize(tjPlaneSizeYUV(index, width, 0, height, subsampling));
        pointers[index] = planes[index].data();
    }
    Require(tjDecompressToYUVPlanes(handle.get(), jpeg.data(), jpeg.size(), pointers, 0, nullptr, 0,
                                    TJFLAG_ACCURATEDCT) == 0);
    // The library pads its first plane to whole pairs of pixels; sizes here are even where chroma is halved.
    Picture picture{subsampling == TJSAMP_422 ? UMC::kColorYUV422 : UMC::kColorYUV420, width, height, 0, planes[0]};
    for (int index = 1; index < 3; ++index) {
        if (subsampling == TJSAMP_GRAY) {
            const int quarter = (width + 1) / 2 * ((height + 1) / 2);
            picture.bytes.insert(picture.bytes.end(), static_cast<std::size_t>(quarter), std::uint8_t{128});
        } else if (subsampling == TJSAMP_444) {
            Halve(planes[index], width, height, picture.bytes);
        } else {
            picture.bytes.insert(picture.bytes.end(), planes[index].begin(), planes[index].end());
        }
    }
    return picture;
}

}  // namespace qrn::test
