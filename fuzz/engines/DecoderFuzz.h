#pragma once
/// Any run of frames through a decoder engine, each picture read to its last byte and then brought through the picture
/// chain into a small one, as a call would have it.
///
/// Input: for each frame its length (16 bits, little-endian) and its bytes; of more than kMostFrames the rest is not
/// looked at, since a decoder that opens its library anew after each of hundreds of damaged frames makes few runs.

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "../audiocoding/FuzzInput.h"
#include "engines/VideoDecoderParams.h"
#include "engines/VideoProcessing.h"

namespace qrn::fuzz {

/// Reads every sample that the decoder says it has.
class ReadingPost : public UMC::Typed<ReadingPost, UMC::VideoProcessing> {
public:
    static const char* ClassName() { return "ReadingPost"; }
    UMC::Status GetFrame(UMC::MediaData* in, UMC::MediaData* out) override {
        const auto* const picture = UMC::As<UMC::VideoData>(in);
        if (picture == nullptr || picture->GetNumPlanes() != 3) {
            std::abort();
        }
        for (int index = 0; index < 3; ++index) {
            const UMC::VideoData::Plane plane = picture->GetPlane(index);
            m_row.resize(static_cast<std::size_t>(plane.RowBytes()));
            for (int y = 0; y < plane.height; ++y) {
                // The sanitizer checks both ranges of a copy as a whole, much faster than byte after byte.
                std::memcpy(m_row.data(), plane.pointer + std::ptrdiff_t{y} * plane.pitch, m_row.size());
            }
        }
        return UMC::VideoProcessing::GetFrame(in, out);
    }

private:
    std::vector<std::uint8_t> m_row;
};

template <class Decoder>
int RunDecoder(const std::uint8_t* data, std::size_t size) {
    constexpr int kWidth = 48;
    constexpr int kHeight = 32;
    constexpr int kMostFrames = 3;
    // A picture of level 5.1 costs thousands of page faults and is damaged no other way than a small one.
    constexpr std::int64_t kMostPixels = 128 * 128;
    CInput input({data, size});
    ReadingPost post;
    UMC::VideoDecoderParams params;
    params.m_postProcessing = &post;
    Decoder decoder(kMostPixels);
    UMC::VideoData out;
    if (decoder.Init(&params) != UMC::kOk || out.Init(kWidth, kHeight, UMC::kColorYUV420) != UMC::kOk ||
        out.Alloc() != UMC::kOk) {
        std::abort();
    }
    for (int count = 0; count < kMostFrames && !input.IsEmpty(); ++count) {
        const std::size_t length = input.Word();
        // A block of the exact size, so that the first byte past it is noticed.
        const auto bytes = input.Bytes(length);
        UMC::MediaData frame;
        if (!bytes.empty() && frame.Alloc(bytes.size()) == UMC::kOk) {
            std::copy(bytes.begin(), bytes.end(), frame.GetDataPointer());
            frame.SetDataSize(bytes.size());
        }
        if (decoder.GetFrame(&frame, &out) != UMC::kOk) {
            decoder.GetFrame(nullptr, &out);
        }
    }
    return 0;
}

}  // namespace qrn::fuzz
