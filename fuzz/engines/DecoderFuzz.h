#pragma once
/// Any run of frames through a decoder engine, each picture read to its last byte.
///
/// Input: for each frame its length (16 bits, little-endian) and its bytes.

#include <cstdint>
#include <cstdlib>

#include "../audiocoding/FuzzInput.h"
#include "engines/BaseCodec.h"
#include "engines/VideoData.h"
#include "engines/VideoDecoderParams.h"

namespace qrn::fuzz {

/// Reads every sample that the decoder says it has.
class ReadingPost : public UMC::Typed<ReadingPost, UMC::BaseCodec> {
public:
    static const char* ClassName() { return "ReadingPost"; }
    UMC::Status Init(UMC::BaseCodecParams*) override { return UMC::kOk; }
    UMC::Status GetFrame(UMC::MediaData* in, UMC::MediaData*) override {
        const auto* const picture = UMC::As<UMC::VideoData>(in);
        if (picture == nullptr || picture->GetNumPlanes() != 3) {
            std::abort();
        }
        for (int index = 0; index < 3; ++index) {
            const UMC::VideoData::Plane plane = picture->GetPlane(index);
            for (int y = 0; y < plane.height; ++y) {
                const std::uint8_t* const row = plane.pointer + std::ptrdiff_t{y} * plane.pitch;
                for (int x = 0; x < plane.RowBytes(); ++x) {
                    m_sum = m_sum + row[x];
                }
            }
        }
        return UMC::kOk;
    }
    UMC::Status GetInfo(UMC::BaseCodecParams*) override { return UMC::kOk; }
    UMC::Status Close() override { return UMC::kOk; }
    UMC::Status Reset() override { return UMC::kOk; }

private:
    volatile std::uint32_t m_sum = 0;
};

template <class Decoder>
int RunDecoder(const std::uint8_t* data, std::size_t size) {
    CInput input({data, size});
    ReadingPost post;
    UMC::VideoDecoderParams params;
    params.m_postProcessing = &post;
    Decoder decoder;
    if (decoder.Init(&params) != UMC::kOk) {
        std::abort();
    }
    UMC::VideoData out;
    while (!input.IsEmpty()) {
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
