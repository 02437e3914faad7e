#pragma once

#include <cstdint>
#include <vector>

#include "engines/BaseCodec.h"
#include "engines/VideoData.h"

namespace qrn::test {

/// Planes without padding between their rows, as decoders of raw video write them.
struct Picture {
    UMC::ColorFormat format = UMC::kColorNone;
    int width = 0;
    int height = 0;
    UMC::FrameType type = 0;
    std::vector<std::uint8_t> bytes;

    bool operator==(const Picture& other) const {
        return format == other.format && width == other.width && height == other.height && bytes == other.bytes;
    }
};

/// The n-th picture of a clip: gradients that move, a block that crosses them, a little noise. Planar 4:2:0.
Picture MovingPicture(int width, int height, int n);

/// Wraps the picture's bytes.
void Wrap(Picture& picture, UMC::VideoData& data);

/// Decibels over all planes; 100 when equal.
double Psnr(const Picture& one, const Picture& other);

/// A post-processing object that keeps the last picture that it was handed, and claims to have filled the output.
class KeepingPost : public UMC::Typed<KeepingPost, UMC::BaseCodec> {
public:
    static const char* ClassName() { return "KeepingPost"; }
    UMC::Status Init(UMC::BaseCodecParams*) override { return UMC::kOk; }
    UMC::Status GetFrame(UMC::MediaData* in, UMC::MediaData* out) override;
    UMC::Status GetInfo(UMC::BaseCodecParams*) override { return UMC::kNotImplemented; }
    UMC::Status Close() override { return UMC::kOk; }
    UMC::Status Reset() override { return UMC::kOk; }

    Picture m_last;
    double m_start = 0;
    int m_count = 0;
    UMC::Status m_answer = UMC::kOk;
};

}  // namespace qrn::test
