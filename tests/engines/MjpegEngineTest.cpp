#include <gtest/gtest.h>

extern "C" {
#include <libavutil/log.h>
}

#include <algorithm>
#include <cstdlib>
#include <random>

#include "engines/MJPEGVideoDecoder.h"
#include "engines/TurboJpeg.h"
#include "engines/VideoDecoderParams.h"

namespace {

using qrn::test::CompressJpeg;
using qrn::test::Picture;
using qrn::test::Sampling;
using Bytes = std::vector<std::uint8_t>;

class Decoder {
public:
    Decoder() {
        UMC::VideoDecoderParams params;
        params.m_postProcessing = &m_post;
        params.m_width = 640;  // what is asked for says nothing of what the camera sends
        params.m_height = 480;
        EXPECT_EQ(m_engine.Init(&params), UMC::kOk);
    }
    UMC::Status Decode(Bytes jpeg) {
        UMC::MediaData in;
        jpeg.resize(jpeg.size() + 1);
        in.SetBufferPointer(jpeg.data(), jpeg.size());
        in.SetDataSize(jpeg.size() - 1);
        return m_engine.GetFrame(&in, &m_out);
    }
    UMC::MJPEGVideoDecoder m_engine;
    qrn::test::KeepingPost m_post;
    UMC::VideoData m_out;
};

/// Without its DHT segments (ITU-T T.81, B.2.4.2), as cameras send it.
Bytes Stripped(Bytes jpeg) {
    Bytes result(jpeg.begin(), jpeg.begin() + 2);
    std::size_t at = 2;
    while (jpeg[at + 1] != 0xDA) {
        const std::size_t length = 2 + static_cast<std::size_t>(jpeg[at + 2] << 8 | jpeg[at + 3]);
        if (jpeg[at + 1] != 0xC4) {
            result.insert(result.end(), jpeg.begin() + static_cast<std::ptrdiff_t>(at),
                          jpeg.begin() + static_cast<std::ptrdiff_t>(at + length));
        }
        at += length;
    }
    result.insert(result.end(), jpeg.begin() + static_cast<std::ptrdiff_t>(at), jpeg.end());
    return result;
}

Bytes WithRubbish(Bytes jpeg) {
    std::mt19937 random(1);
    for (int count = 0; count < 3000; ++count) {
        jpeg.push_back(static_cast<std::uint8_t>(random()));
    }
    jpeg.insert(jpeg.end(), {0xFF, 0xD8, 0xFF, 0xC0, 0x00});
    return jpeg;
}

Bytes WithBoundary(Bytes jpeg) {
    for (const char letter : std::string("\r\n--boundary\r\nContent-Type: image/jpeg\r\n\r\n")) {
        jpeg.push_back(static_cast<std::uint8_t>(letter));
    }
    return jpeg;
}

struct JpegCase {
    const char* name;
    int width, height;
    Sampling sampling;
    bool isProgressive;
    Bytes (*change)(Bytes);
};
class MjpegPictures : public testing::TestWithParam<JpegCase> {};

TEST_P(MjpegPictures, AreThoseOfAnotherDecoder) {
    const JpegCase& row = GetParam();
    const Bytes jpeg = CompressJpeg(row.width, row.height, row.sampling, row.isProgressive);
    const Picture expected = qrn::test::DecompressJpeg(jpeg);
    Decoder decoder;
    for (int turn = 1; turn <= 2; ++turn) {  // at once, and the next as well
        ASSERT_EQ(decoder.Decode(row.change(jpeg)), UMC::kOk);
        EXPECT_EQ(decoder.m_post.m_count, turn);
    }
    const Picture& got = decoder.m_post.m_last;
    EXPECT_EQ(got.width, expected.width);
    EXPECT_EQ(got.height, expected.height);
    EXPECT_EQ(got.format, expected.format);
    EXPECT_EQ(got.type, UMC::kFrameI);
    ASSERT_EQ(got.bytes.size(), expected.bytes.size());
    int largest = 0;
    for (std::size_t at = 0; at < got.bytes.size(); ++at) {
        largest = std::max(largest, std::abs(got.bytes[at] - expected.bytes[at]));
    }
    EXPECT_LE(largest, 3);  // two roundings of the inverse transform, each within 1 of the exact one
    EXPECT_GT(qrn::test::Psnr(got, expected), 50);
}

Bytes Whole(Bytes jpeg) {
    return jpeg;
}
std::string JpegName(const testing::TestParamInfo<JpegCase>& row) {
    return row.param.name;
}
INSTANTIATE_TEST_SUITE_P(Kinds, MjpegPictures,
                         testing::Values(JpegCase{"Usual", 320, 240, Sampling::k420, false, Whole},
                                         JpegCase{"AsAsked", 640, 480, Sampling::k420, false, Whole},
                                         JpegCase{"Chroma422", 320, 240, Sampling::k422, false, Whole},
                                         JpegCase{"Chroma444", 320, 240, Sampling::k444, false, Whole},
                                         JpegCase{"Chroma444Odd", 161, 121, Sampling::k444, false, Whole},
                                         JpegCase{"Grey", 320, 240, Sampling::kGrey, false, Whole},
                                         JpegCase{"GreyOdd", 161, 121, Sampling::kGrey, false, Whole},
                                         JpegCase{"NoHuffmanTables", 320, 240, Sampling::k420, false, Stripped},
                                         JpegCase{"NoHuffmanTables422", 320, 240, Sampling::k422, false, Stripped},
                                         JpegCase{"Progressive", 320, 240, Sampling::k420, true, Whole},
                                         JpegCase{"Progressive444", 320, 240, Sampling::k444, true, Whole},
                                         JpegCase{"TrailingRubbish", 320, 240, Sampling::k420, false, WithRubbish},
                                         JpegCase{"TrailingBoundary", 320, 240, Sampling::k420, false, WithBoundary}),
                         JpegName);

TEST(MjpegEngine, DamageIsSurvivedAndTheNextImageIsWhole) {
    std::mt19937 random(7);
    Decoder decoder;
    for (int round = 0; round < 200; ++round) {
        const auto sampling = static_cast<Sampling>(round % 4);
        const Bytes whole = CompressJpeg(64 + 16 * (round % 3), 48, sampling, round % 5 == 0);
        Bytes broken = whole;
        switch (round % 3) {
            case 0:
                broken.resize(random() % broken.size());
                break;
            case 1:
                for (int count = 0; count < 6; ++count) {
                    broken[random() % broken.size()] ^= static_cast<std::uint8_t>(1U << random() % 8);
                }
                break;
            default:
                std::generate(broken.begin() + 20, broken.end(), [&] { return static_cast<std::uint8_t>(random()); });
                break;
        }
        decoder.Decode(broken);
        decoder.m_post.m_last = {};
        ASSERT_EQ(decoder.Decode(whole), UMC::kOk) << round;
        EXPECT_GT(qrn::test::Psnr(decoder.m_post.m_last, qrn::test::DecompressJpeg(whole)), 45) << round;
    }
}

TEST(MjpegEngine, HeadersOfAbsurdSizesCostNothingAndSayNothing) {
    Bytes jpeg = CompressJpeg(64, 48, Sampling::k420, false);
    const std::uint8_t marker[] = {0xFF, 0xC0};
    const auto frame = std::search(jpeg.begin(), jpeg.end(), std::begin(marker), std::end(marker));
    ASSERT_NE(frame, jpeg.end());
    std::fill_n(frame + 5, 4, std::uint8_t{0xFF});  // height and width (ITU-T T.81, B.2.2)
    testing::internal::CaptureStderr();
    Decoder decoder;
    EXPECT_NE(decoder.Decode(jpeg), UMC::kOk);
    EXPECT_EQ(decoder.m_post.m_count, 0);
    av_log(nullptr, AV_LOG_ERROR, "the host's own\n");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "the host's own\n");
}

}  // namespace
