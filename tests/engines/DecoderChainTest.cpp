// The decoders with the picture chain behind them, as calls and cameras use them.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <optional>

#include "engines/BareH264.h"
#include "engines/H264VideoDecoder.h"
#include "engines/MJPEGVideoDecoder.h"
#include "engines/TurboJpeg.h"
#include "engines/VideoDecoderParams.h"
#include "engines/VideoProcessing.h"

namespace {

using qrn::test::Frame;
using qrn::test::Picture;
using qrn::test::Sampling;

/// A decoder with the chain, and beside it the same decoder whose pictures are only kept.
template <class Engine>
class ChainedDecoder {
public:
    ChainedDecoder() {
        UMC::VideoDecoderParams params;
        params.m_postProcessing = &m_chain;
        EXPECT_EQ(m_engine.Init(&params), UMC::kOk);
        params.m_postProcessing = &m_kept;
        EXPECT_EQ(m_plain.Init(&params), UMC::kOk);
    }

    void SetOutput(int width, int height, UMC::ColorFormat format) {
        m_out.Close();
        m_out.SetAlignment(4);
        ASSERT_EQ(m_out.Init(width, height, format), UMC::kOk);
        ASSERT_EQ(m_out.Alloc(), UMC::kOk);
    }

    void Decode(Frame frame) {
        UMC::MediaData in;
        ASSERT_EQ(in.SetBufferPointer(frame.data(), frame.size()), UMC::kOk);
        ASSERT_EQ(in.SetDataSize(frame.size()), UMC::kOk);
        in.SetTime(1.5, 2.0);
        ASSERT_EQ(m_plain.GetFrame(&in, &m_ignored), UMC::kOk);
        m_out.Reset();
        ASSERT_EQ(m_engine.GetFrame(&in, &m_out), UMC::kOk);
        double start = 0;
        double end = 0;
        m_out.GetTime(start, end);
        EXPECT_EQ(start, 1.5);
        EXPECT_EQ(m_out.GetFrameType(), m_kept.m_last.type);
        EXPECT_EQ(m_out.GetDataSize(), m_out.GetPictureSize());
        EXPECT_FALSE(m_out.IsInvalid());
    }

    /// The largest distance between the luma of the output and of the decoded pixel nearest to the same place.
    int LargestLumaError() const;
    /// The same of the chroma of a planar output, whose subsampling is the decoded picture's.
    int LargestChromaError() const;

    UMC::VideoData m_out;

private:
    Engine m_engine;
    Engine m_plain;
    UMC::VideoProcessing m_chain;
    qrn::test::KeepingPost m_kept;
    UMC::VideoData m_ignored;
};

/// By ITU-R BT.601, whatever the chroma is: it falls out of the sum again. Nothing for a colour that was cut off.
std::optional<double> LumaOfBgr(const std::uint8_t* pixel) {
    const auto [least, most] = std::minmax({pixel[0], pixel[1], pixel[2]});
    if (least == 0 || most == 255) {
        return std::nullopt;
    }
    return 16 + (65.481 * pixel[2] + 128.553 * pixel[1] + 24.966 * pixel[0]) / 255;
}

std::optional<double> LumaAt(const UMC::VideoData& picture, int x, int y) {
    const UMC::VideoData::Plane plane = picture.GetPlane(0);
    const std::uint8_t* const row = plane.pointer + std::ptrdiff_t{y} * plane.pitch;
    switch (picture.GetColorFormat()) {
        case UMC::kColorYUY2:
            return row[2 * x];
        case UMC::kColorUYVY:
            return row[2 * x + 1];
        case UMC::kColorRGB24:
        case UMC::kColorRGB32:
            return LumaOfBgr(row + std::ptrdiff_t{x} * plane.samples);
        default:
            return row[x];
    }
}

template <class Engine>
int ChainedDecoder<Engine>::LargestLumaError() const {
    const Picture& from = m_kept.m_last;
    double largest = 0;
    for (int y = 0; y < m_out.GetHeight(); ++y) {
        const int fromY = y * from.height / m_out.GetHeight();
        for (int x = 0; x < m_out.GetWidth(); ++x) {
            const int at = fromY * from.width + x * from.width / m_out.GetWidth();
            const double decoded = from.bytes[static_cast<std::size_t>(at)];
            largest = std::max(largest, std::abs(LumaAt(m_out, x, y).value_or(decoded) - decoded));
        }
    }
    return static_cast<int>(std::lround(largest));
}

template <class Engine>
int ChainedDecoder<Engine>::LargestChromaError() const {
    const Picture& from = m_kept.m_last;
    const int width = (from.width + 1) / 2;
    const int height = (from.height + 1) / 2;
    int largest = 0;
    for (int index = 1; index < 3; ++index) {
        const UMC::VideoData::Plane plane =
            m_out.GetPlane(m_out.GetColorFormat() == UMC::kColorYV12 ? 3 - index : index);
        const int start = from.width * from.height + (index - 1) * width * height;
        for (int y = 0; y < plane.height; ++y) {
            for (int x = 0; x < plane.width; ++x) {
                const int at = start + y * height / plane.height * width + x * width / plane.width;
                const int decoded = from.bytes[static_cast<std::size_t>(at)];
                largest = std::max(largest, std::abs(plane.pointer[std::ptrdiff_t{y} * plane.pitch + x] - decoded));
            }
        }
    }
    return largest;
}

constexpr int kFps = 25;

struct ChainCase {
    const char* name;
    UMC::ColorFormat format;
    int width, height;
    int mayDiffer;  // of luma; RGB rounds
};
class H264Chain : public testing::TestWithParam<ChainCase> {};

TEST_P(H264Chain, BringsEveryPictureIntoTheCallersOne) {
    const ChainCase& row = GetParam();
    constexpr int kWidth = 160;
    constexpr int kHeight = 120;
    qrn::test::BareEncoder encoder(kWidth, kHeight, kFps, 300, 0);
    ChainedDecoder<UMC::H264VideoDecoder> decoder;
    decoder.SetOutput(row.width, row.height, row.format);
    for (int n = 0; n < 5; ++n) {
        ASSERT_NO_FATAL_FAILURE(decoder.Decode(encoder.Encode(qrn::test::MovingPicture(kWidth, kHeight, n))));
        EXPECT_LE(decoder.LargestLumaError(), row.mayDiffer) << n;
        if (decoder.m_out.GetNumPlanes() == 3) {
            EXPECT_EQ(decoder.LargestChromaError(), 0) << n;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Outputs, H264Chain,
                         testing::Values(ChainCase{"Same", UMC::kColorYUV420, 160, 120, 0},
                                         ChainCase{"Yv12", UMC::kColorYV12, 160, 120, 0},
                                         ChainCase{"Yuy2", UMC::kColorYUY2, 160, 120, 0},
                                         ChainCase{"Uyvy", UMC::kColorUYVY, 160, 120, 0},
                                         ChainCase{"Rgb32", UMC::kColorRGB32, 160, 120, 3},
                                         ChainCase{"Rgb24", UMC::kColorRGB24, 160, 120, 3},
                                         ChainCase{"Larger", UMC::kColorYUV420, 320, 240, 0},
                                         ChainCase{"LargerYv12", UMC::kColorYV12, 320, 240, 0},
                                         ChainCase{"LargerRgb32", UMC::kColorRGB32, 320, 240, 3},
                                         ChainCase{"OtherShape", UMC::kColorYUV420, 320, 360, 0}),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(DecoderChain, FollowsTheStreamsSizeAndTheCallers) {
    ChainedDecoder<UMC::H264VideoDecoder> decoder;
    decoder.SetOutput(320, 240, UMC::kColorYUV420);
    for (const auto& [width, height] : {std::pair{160, 120}, {320, 240}, {64, 48}, {32, 240}, {160, 120}}) {
        SCOPED_TRACE(width);
        qrn::test::BareEncoder encoder(width, height, kFps, 300, 0);
        for (int n = 0; n < 3; ++n) {
            ASSERT_NO_FATAL_FAILURE(decoder.Decode(encoder.Encode(qrn::test::MovingPicture(width, height, n))));
            EXPECT_EQ(decoder.LargestLumaError(), 0);
            EXPECT_EQ(decoder.LargestChromaError(), 0);
        }
        // The caller's type changes between two pictures of which the second is told as a difference.
        decoder.SetOutput(2 * width, 2 * height, UMC::kColorYUY2);
        ASSERT_NO_FATAL_FAILURE(decoder.Decode(encoder.Encode(qrn::test::MovingPicture(width, height, 3))));
        EXPECT_EQ(decoder.LargestLumaError(), 0);
        decoder.SetOutput(320, 240, UMC::kColorYUV420);
    }
}

struct CameraCase {
    const char* name;
    Sampling sampling;
    bool isProgressive;
    int width, height;
    int chromaMayDiffer;  // negative where the decoded picture has chroma of another shape
};
class MjpegChain : public testing::TestWithParam<CameraCase> {};

TEST_P(MjpegChain, BringsEveryImageIntoTheCallersOne) {
    const CameraCase& row = GetParam();
    const Frame jpeg = qrn::test::CompressJpeg(row.width, row.height, row.sampling, row.isProgressive);
    for (const UMC::ColorFormat format : {UMC::kColorYUV420, UMC::kColorYV12, UMC::kColorYUY2}) {
        SCOPED_TRACE(format);
        ChainedDecoder<UMC::MJPEGVideoDecoder> decoder;
        decoder.SetOutput(320, 240, format);
        ASSERT_NO_FATAL_FAILURE(decoder.Decode(jpeg));
        EXPECT_EQ(decoder.LargestLumaError(), 0);
        if (row.chromaMayDiffer >= 0 && format != UMC::kColorYUY2) {
            EXPECT_LE(decoder.LargestChromaError(), row.chromaMayDiffer);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Kinds, MjpegChain,
                         testing::Values(CameraCase{"Chroma420", Sampling::k420, false, 320, 240, 0},
                                         CameraCase{"Chroma422", Sampling::k422, false, 320, 240, -1},
                                         CameraCase{"Chroma444", Sampling::k444, false, 320, 240, 0},
                                         CameraCase{"Grey", Sampling::kGrey, false, 320, 240, 0},
                                         CameraCase{"Progressive", Sampling::k420, true, 320, 240, 0},
                                         CameraCase{"Small420", Sampling::k420, false, 160, 120, 0},
                                         CameraCase{"Small422", Sampling::k422, false, 160, 120, -1},
                                         CameraCase{"Small444", Sampling::k444, false, 160, 120, 0},
                                         CameraCase{"SmallGrey", Sampling::kGrey, true, 160, 120, 0}),
                         [](const auto& row) { return std::string(row.param.name); });

}  // namespace
