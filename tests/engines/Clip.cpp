#include "engines/Clip.h"

#include <algorithm>
#include <cmath>
#include <random>

namespace qrn::test {

Picture MovingPicture(int width, int height, int n) {
    Picture picture{UMC::kColorYUV420, width, height, 0, {}};
    std::minstd_rand random(static_cast<unsigned>(n + 1));
    for (int plane = 0; plane < 3; ++plane) {
        const int half = plane == 0 ? 1 : 2;
        const int left = 7 * n % width / half;
        std::vector<double> waves;
        for (int x = 0; x < (width + half - 1) / half; ++x) {
            waves.push_back(60.0 * std::sin((x * half + 3 * n) * 0.05));
        }
        for (int y = 0; y < (height + half - 1) / half; ++y) {
            const double share = std::cos((y * half - n) * 0.07);
            for (int x = 0; x < (width + half - 1) / half; ++x) {
                const bool isBlock = x >= left && x < left + width / 4 / half && y > height / 3 / half;
                const int noise = static_cast<int>(random() % 9) - 4;
                const double value = (plane == 0 ? 120 : 110 + 20 * plane) +
                                     waves[static_cast<std::size_t>(x)] * share + (isBlock ? 50 : 0) + noise;
                picture.bytes.push_back(static_cast<std::uint8_t>(std::lround(std::clamp(value, 0.0, 255.0))));
            }
        }
    }
    return picture;
}

void Wrap(Picture& picture, UMC::VideoData& data) {
    data.Init(picture.width, picture.height, picture.format);
    data.SetBufferPointer(picture.bytes.data(), picture.bytes.size());
    data.SetDataSize(picture.bytes.size());
}

double Psnr(const Picture& one, const Picture& other) {
    if (one.bytes.size() != other.bytes.size() || one.bytes.empty()) {
        return 0;
    }
    double squares = 0;
    for (std::size_t at = 0; at < one.bytes.size(); ++at) {
        const double difference = double{1} * one.bytes[at] - other.bytes[at];
        squares += difference * difference;
    }
    const double mean = squares / static_cast<double>(one.bytes.size());
    return mean > 0 ? std::min(100.0, 10 * std::log10(255.0 * 255.0 / mean)) : 100.0;
}

UMC::Status KeepingPost::GetFrame(UMC::MediaData* in, UMC::MediaData* out) {
    auto* const source = UMC::As<UMC::VideoData>(in);
    auto* const target = UMC::As<UMC::VideoData>(out);
    if (source == nullptr || target == nullptr) {
        return UMC::kBadArgument;
    }
    m_last = {source->GetColorFormat(), source->GetWidth(), source->GetHeight(), source->GetFrameType(), {}};
    for (int index = 0; index < source->GetNumPlanes(); ++index) {
        const UMC::VideoData::Plane plane = source->GetPlane(index);
        for (int y = 0; y < plane.height; ++y) {
            const std::uint8_t* const row = plane.pointer + std::ptrdiff_t{y} * plane.pitch;
            m_last.bytes.insert(m_last.bytes.end(), row, row + plane.RowBytes());
        }
    }
    double end = 0;
    source->GetTime(m_start, end);
    ++m_count;
    return m_answer;
}

}  // namespace qrn::test
