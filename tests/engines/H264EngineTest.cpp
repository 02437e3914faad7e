#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <limits>
#include <random>

#include "engines/BareH264.h"
#include "engines/Clip.h"
#include "engines/H264EncoderParams.h"
#include "engines/H264VideoDecoder.h"
#include "engines/H264VideoDecoderParams.h"
#include "engines/H264VideoEncoder.h"
#include "engines/VC1EncoderParams.h"
#include "engines/VC1VideoDecoder.h"
#include "engines/VC1VideoEncoder.h"
#include "support/RunCommand.h"
#include "support/TempFolder.h"

namespace {

using qrn::test::Frame;
using qrn::test::Picture;

constexpr int kFps = 25;

UMC::H264EncoderParams CallParams(int width, int height, int kbps, int keyInterval) {
    UMC::H264EncoderParams params;
    params.m_width = width;
    params.m_height = height;
    params.m_frameRate = kFps;
    params.m_bitrate = static_cast<std::uint32_t>(1000 * kbps);
    params.m_profileIdc = 66;
    params.m_keyFrameMethod = keyInterval == 0 ? 0 : 1;
    params.m_keyFrameInterval = keyInterval;
    params.m_idrInterval = 1;
    params.m_rateControlMethod = 1;
    params.m_deblockingFlag1 = 0;
    return params;
}

class Encoder {
public:
    explicit Encoder(UMC::H264EncoderParams params) { EXPECT_EQ(m_engine.Init(&params), UMC::kOk); }
    UMC::Status Encode(Picture picture, std::size_t room = 1 << 20) {
        UMC::VideoData in;
        qrn::test::Wrap(picture, in);
        m_frame.assign(room, 0);
        UMC::MediaData out;
        out.SetBufferPointer(m_frame.data(), m_frame.size());
        const UMC::Status status = m_engine.GetFrame(&in, &out);
        m_frame.resize(out.GetDataSize());
        m_type = out.GetFrameType();
        return status;
    }
    UMC::H264VideoEncoder m_engine;
    Frame m_frame;
    UMC::FrameType m_type = 0;
};

class Decoder {
public:
    Decoder() {
        UMC::H264VideoDecoderParams params;
        params.m_postProcessing = &m_post;
        params.m_profile = 66;
        params.m_level = 51;
        EXPECT_EQ(m_engine.Init(&params), UMC::kOk);
    }
    UMC::Status Decode(Frame frame) {
        UMC::MediaData in;
        frame.resize(frame.size() + 1);  // so that an empty one has an address
        in.SetBufferPointer(frame.data(), frame.size());
        in.SetDataSize(frame.size() - 1);
        in.SetTime(2.5, 3.0);
        return m_engine.GetFrame(&in, &m_out);
    }
    UMC::H264VideoDecoder m_engine;
    qrn::test::KeepingPost m_post;
    UMC::VideoData m_out;
};

/// The nal_unit_type of each unit (ITU-T H.264, 7.3.1 and annex B).
std::vector<int> NalTypes(const Frame& frame) {
    std::vector<int> types;
    for (std::size_t at = 3; at < frame.size(); ++at) {
        if (frame[at - 3] == 0 && frame[at - 2] == 0 && frame[at - 1] == 1) {
            types.push_back(frame[at] & 31);
        }
    }
    return types;
}

bool HasIdr(const Frame& frame) {
    const std::vector<int> types = NalTypes(frame);
    return std::count(types.begin(), types.end(), 5) > 0;
}

void Append(Frame& stream, const Frame& frame) {
    stream.insert(stream.end(), frame.begin(), frame.end());
}

struct RateCase {
    int width, height, kbps;
};
class H264Rates : public testing::TestWithParam<RateCase> {};

TEST_P(H264Rates, AreThoseOfTheLibraryAndEveryDecoderReadsThem) {
    const auto [width, height, kbps] = GetParam();
    constexpr int kPictures = 75;
    constexpr int kKeyInterval = 25;
    Encoder encoder(CallParams(width, height, kbps, kKeyInterval));
    qrn::test::BareEncoder bareEncoder(width, height, kFps, kbps, kKeyInterval);
    Decoder decoder;
    qrn::test::BareDecoder bareDecoder;
    Frame stream;
    Frame decoded;
    double psnr = 0;
    double barePsnr = 0;
    for (int n = 0; n < kPictures; ++n) {
        const Picture picture = qrn::test::MovingPicture(width, height, n);
        ASSERT_EQ(encoder.Encode(picture), UMC::kOk);
        EXPECT_EQ(encoder.m_type, n % kKeyInterval == 0 ? UMC::kFrameI : UMC::kFrameP) << n;
        EXPECT_EQ(HasIdr(encoder.m_frame), encoder.m_type == UMC::kFrameI) << n;
        ASSERT_EQ(decoder.Decode(encoder.m_frame), UMC::kOk) << n;
        EXPECT_EQ(decoder.m_post.m_count, n + 1);
        EXPECT_EQ(decoder.m_post.m_last.type, encoder.m_type);
        EXPECT_EQ(decoder.m_post.m_start, 2.5);
        psnr += qrn::test::Psnr(decoder.m_post.m_last, picture) / kPictures;
        barePsnr += qrn::test::Psnr(bareDecoder.Decode(bareEncoder.Encode(picture)), picture) / kPictures;
        Append(stream, encoder.m_frame);
        Append(decoded, decoder.m_post.m_last.bytes);
    }
    const double kbpsMade = static_cast<double>(stream.size()) * 8 * kFps / kPictures / 1000;
    RecordProperty("figures", testing::PrintToString(std::vector<double>{kbpsMade, psnr, barePsnr}));
    EXPECT_NEAR(kbpsMade, kbps, kbps * 0.2);
    EXPECT_NEAR(psnr, barePsnr, 0.01);
    EXPECT_GT(psnr, 28);

    const qrn::test::CTempFolder folder;
    const std::string file = folder.File("clip.264");
    std::ofstream(file, std::ios::binary)
        .write(reinterpret_cast<const char*>(stream.data()), static_cast<std::streamsize>(stream.size()));
    EXPECT_EQ(qrn::test::RunCommand("ffprobe -v error -count_frames -show_entries "
                                    "stream=codec_name,profile,width,height,has_b_frames,nb_read_frames -of csv=p=0 " +
                                    file),
              "h264,Constrained Baseline," + std::to_string(width) + "," + std::to_string(height) + ",0," +
                  std::to_string(kPictures) + "\n");
    const std::string raw = folder.File("clip.yuv");
    qrn::test::RunCommand("ffmpeg -v error -i " + file + " -fps_mode passthrough -f rawvideo " + raw);
    std::ifstream rawStream(raw, std::ios::binary);
    EXPECT_TRUE(Frame(std::istreambuf_iterator<char>(rawStream), {}) == decoded);
}

INSTANTIATE_TEST_SUITE_P(SizesAndRates, H264Rates,
                         testing::Values(RateCase{320, 240, 200}, RateCase{320, 240, 400}, RateCase{320, 240, 800},
                                         RateCase{640, 480, 500}, RateCase{640, 480, 1000}, RateCase{640, 480, 2000}),
                         [](const auto& row) {
                             return std::to_string(row.param.width) + "at" + std::to_string(row.param.kbps);
                         });

TEST(H264Engine, FollowsANewBitRateWithinTwoSeconds) {
    Encoder encoder(CallParams(320, 240, 800, 0));
    int n = 0;
    for (const int kbps : {800, 250, 700}) {
        UMC::H264EncoderParams params;
        ASSERT_EQ(encoder.m_engine.GetInfo(&params), UMC::kOk);
        params.m_bitrate = static_cast<std::uint32_t>(1000 * kbps);
        ASSERT_EQ(encoder.m_engine.SetParams(&params), UMC::kOk);
        UMC::VideoEncoderParams info;
        ASSERT_EQ(encoder.m_engine.GetInfo(&info), UMC::kOk);
        EXPECT_EQ(info.m_bitrate, 1000U * static_cast<unsigned>(kbps));
        EXPECT_EQ(info.m_width, 320);
        std::size_t bytes = 0;  // of the third and fourth second
        for (int end = n + 4 * kFps; n < end; ++n) {
            ASSERT_EQ(encoder.Encode(qrn::test::MovingPicture(320, 240, n)), UMC::kOk);
            EXPECT_EQ(encoder.m_type == UMC::kFrameI, n == 0) << "a change of rate is no key frame";
            bytes += n >= end - 2 * kFps ? encoder.m_frame.size() : 0;
        }
        EXPECT_NEAR(static_cast<double>(bytes) * 8 / 2 / 1000, kbps, kbps * 0.15);
    }
    UMC::H264EncoderParams none;
    none.m_bitrate = 0;
    EXPECT_NE(encoder.m_engine.SetParams(&none), UMC::kOk);
    none.m_bitrate = std::numeric_limits<std::uint32_t>::max();
    EXPECT_NE(encoder.m_engine.SetParams(&none), UMC::kOk);
    ASSERT_EQ(encoder.m_engine.GetInfo(&none), UMC::kOk);
    EXPECT_EQ(none.m_bitrate, 700000U);
}

TEST(H264Engine, AppendsAndStartsAgainAfterAFrameThatFoundNoRoom) {
    Encoder encoder(CallParams(320, 240, 400, 0));
    ASSERT_EQ(encoder.Encode(qrn::test::MovingPicture(320, 240, 0)), UMC::kOk);
    EXPECT_EQ(encoder.Encode(qrn::test::MovingPicture(320, 240, 1), 16), UMC::kOutOfRange);
    EXPECT_TRUE(encoder.m_frame.empty());
    ASSERT_EQ(encoder.Encode(qrn::test::MovingPicture(320, 240, 2)), UMC::kOk);
    EXPECT_EQ(encoder.m_type, UMC::kFrameI);
    Decoder decoder;
    EXPECT_EQ(decoder.Decode(encoder.m_frame), UMC::kOk);

    Picture picture = qrn::test::MovingPicture(320, 240, 3);
    UMC::VideoData in;
    qrn::test::Wrap(picture, in);
    UMC::MediaData out;
    ASSERT_EQ(out.Alloc(1 << 20), UMC::kOk);
    out.GetDataPointer()[0] = 77;
    out.SetDataSize(1);
    ASSERT_EQ(encoder.m_engine.GetFrame(&in, &out), UMC::kOk);
    const std::uint8_t* const bytes = out.GetDataPointer();
    EXPECT_EQ((std::vector<int>{bytes[0], bytes[1], bytes[2]}), (std::vector<int>{77, 0, 0}));
}

class H264Damage : public testing::TestWithParam<int> {};

/// What a network and a hostile sender do to a frame.
void Damage(Frame& frame, int kind, std::mt19937& random) {
    const auto at = [&] { return frame.empty() ? 0 : random() % frame.size(); };
    switch (kind) {
        case 0:
            frame.resize(at());
            break;
        case 1:
            for (int count = 0; count < 8 && !frame.empty(); ++count) {
                frame[at()] ^= static_cast<std::uint8_t>(1U << random() % 8);
            }
            break;
        case 2:
            frame.clear();
            break;
        case 3:
            std::fill(frame.begin() + static_cast<std::ptrdiff_t>(at()), frame.end(), std::uint8_t{0});
            break;
        case 4:
            frame.erase(frame.begin(), frame.begin() + static_cast<std::ptrdiff_t>(at()));
            break;
        default:
            std::generate(frame.begin(), frame.end(), [&] { return static_cast<std::uint8_t>(random()); });
            break;
    }
}

TEST_P(H264Damage, IsSurvivedAndOverWithTheNextIPicture) {
    constexpr int kKeyInterval = 10;
    const int kind = GetParam();
    std::mt19937 random(static_cast<unsigned>(kind));
    testing::internal::CaptureStderr();
    Encoder encoder(CallParams(176, 144, 200, kKeyInterval));
    Decoder clean;
    Decoder damaged;
    int pictures = 0;
    int mended = 0;
    Frame held;
    for (int n = 0; n < 30 * kKeyInterval; ++n) {
        ASSERT_EQ(encoder.Encode(qrn::test::MovingPicture(176, 144, n)), UMC::kOk);
        ASSERT_EQ(clean.Decode(encoder.m_frame), UMC::kOk);
        Frame frame = encoder.m_frame;
        const bool isKey = n % kKeyInterval == 0;
        if (kind == 6 && !isKey && n % 3 != 0) {  // this frame after the next
            held.swap(frame);
        } else if (!isKey && n % 3 == 1) {
            Damage(frame, kind, random);
        }
        damaged.m_post.m_last = {};
        const UMC::Status status = damaged.Decode(frame);
        if (status != UMC::kOk) {
            EXPECT_EQ(damaged.m_engine.GetFrame(nullptr, &damaged.m_out), UMC::kNoMoreData);
        }
        pictures += status == UMC::kOk ? 1 : 0;
        if (isKey) {
            EXPECT_EQ(status, UMC::kOk) << n;
            mended += damaged.m_post.m_last == clean.m_post.m_last ? 1 : 0;
        }
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "") << "neither encoder nor decoder writes there";
    EXPECT_EQ(mended, 30);
    RecordProperty("pictures", pictures);
    // What is whole or can be concealed. A picture that comes after a later one is not shown, and has taken the place
    // of a reference.
    EXPECT_GE(pictures, kind == 6 ? 90 : 200);
}

std::string DamageName(const testing::TestParamInfo<int>& row) {
    const char* const names[] = {"CutShort", "BitsFlipped", "Lost", "EndZeroed", "StartLost", "Random", "Reordered"};
    return names[row.param];
}
INSTANTIATE_TEST_SUITE_P(Kinds, H264Damage, testing::Range(0, 7), DamageName);

TEST(H264Engine, DamagedKeyFramesAndAnotherSizeInMidStreamAreSurvived) {
    std::mt19937 random(1);
    Decoder decoder;
    for (int round = 0; round < 40; ++round) {
        const int width = 64 + 32 * (round % 3);
        Encoder encoder(CallParams(width, 64, 100, 0));
        for (int n = 0; n < 4; ++n) {
            ASSERT_EQ(encoder.Encode(qrn::test::MovingPicture(width, 64, n)), UMC::kOk);
            Frame frame = encoder.m_frame;
            Damage(frame, round % 6, random);
            decoder.Decode(frame);
        }
        Encoder whole(CallParams(width, 64, 100, 0));
        ASSERT_EQ(whole.Encode(qrn::test::MovingPicture(width, 64, 0)), UMC::kOk);
        EXPECT_EQ(decoder.Decode(whole.m_frame), UMC::kOk) << round;
        EXPECT_EQ(decoder.m_post.m_last.width, width);
        UMC::VideoDecoderParams info;
        EXPECT_EQ(decoder.m_engine.GetInfo(&info), UMC::kOk);
        EXPECT_EQ(info.m_width, width);
    }
}

TEST(H264Engine, BeginsWithAKeyFrame) {
    Encoder encoder(CallParams(176, 144, 200, 0));
    Decoder decoder;
    ASSERT_EQ(encoder.Encode(qrn::test::MovingPicture(176, 144, 0)), UMC::kOk);
    for (int n = 1; n < 4; ++n) {
        ASSERT_EQ(encoder.Encode(qrn::test::MovingPicture(176, 144, n)), UMC::kOk);
        EXPECT_NE(decoder.Decode(encoder.m_frame), UMC::kOk);
    }
    ASSERT_EQ(encoder.m_engine.Reset(), UMC::kOk);
    ASSERT_EQ(encoder.Encode(qrn::test::MovingPicture(176, 144, 4)), UMC::kOk);
    EXPECT_EQ(encoder.m_type, UMC::kFrameI);
    EXPECT_EQ(decoder.Decode(encoder.m_frame), UMC::kOk);
    ASSERT_EQ(encoder.Encode(qrn::test::MovingPicture(176, 144, 5)), UMC::kOk);
    ASSERT_EQ(decoder.m_engine.Reset(), UMC::kOk);
    EXPECT_NE(decoder.Decode(encoder.m_frame), UMC::kOk);
}

TEST(H264Engine, TheAnswerOfThePostProcessingIsTheDecoders) {
    Encoder encoder(CallParams(176, 144, 200, 0));
    Decoder decoder;
    decoder.m_post.m_answer = -879;
    ASSERT_EQ(encoder.Encode(qrn::test::MovingPicture(176, 144, 0)), UMC::kOk);
    EXPECT_EQ(decoder.Decode(encoder.m_frame), -879);
}

struct InitCase {
    const char* name;
    void (*change)(UMC::H264EncoderParams&);
    UMC::Status status;
};
class H264Init : public testing::TestWithParam<InitCase> {};

TEST_P(H264Init, Answers) {
    UMC::H264EncoderParams params = CallParams(320, 240, 400, 10);
    GetParam().change(params);
    UMC::H264VideoEncoder encoder;
    EXPECT_EQ(encoder.Init(&params), GetParam().status);
    Picture picture =
        qrn::test::MovingPicture(std::clamp(params.m_width, 16, 320), std::clamp(params.m_height, 16, 240), 0);
    UMC::VideoData in;
    picture.format = params.m_colorFormat;
    qrn::test::Wrap(picture, in);
    UMC::MediaData out;
    ASSERT_EQ(out.Alloc(1 << 20), UMC::kOk);
    EXPECT_EQ(encoder.GetFrame(&in, &out), GetParam().status == UMC::kOk ? UMC::kOk : UMC::kNotInitialised);
}

INSTANTIATE_TEST_SUITE_P(
    Parameters, H264Init,
    testing::Values(InitCase{"AsGiven", [](auto&) {}, 0},
                    InitCase{"OtherPlaneOrder", [](auto& p) { p.m_colorFormat = 0; }, 0},
                    InitCase{"OddSize", [](auto& p) { p.m_width = 319, p.m_height = 239; }, 0},
                    InitCase{"Smallest", [](auto& p) { p.m_width = 16, p.m_height = 16; }, 0},
                    InitCase{"FrameRateZero", [](auto& p) { p.m_frameRate = 0; }, 0},
                    InitCase{"FrameRateHuge", [](auto& p) { p.m_frameRate = 1e30; }, 0},
                    InitCase{"FrameRateNoNumber", [](auto& p) { p.m_frameRate = std::nan(""); }, UMC::kBadArgument},
                    InitCase{"NoRate", [](auto& p) { p.m_bitrate = 0; }, UMC::kBadArgument},
                    InitCase{"RateHuge", [](auto& p) { p.m_bitrate = 2000000000; }, UMC::kFailed},
                    InitCase{"AllKeys", [](auto& p) { p.m_keyFrameInterval = 1; }, 0},
                    InitCase{"KeysNegative", [](auto& p) { p.m_keyFrameInterval = -3; }, 0},
                    InitCase{"Slices", [](auto& p) { p.m_numSlices = 4; }, 0},
                    InitCase{"ConstantQuantiser", [](auto& p) { p.m_rateControlMethod = 0; }, 0},
                    InitCase{"NoSize", [](auto& p) { p.m_width = 0; }, UMC::kBadArgument},
                    InitCase{"NegativeSize", [](auto& p) { p.m_height = -240; }, UMC::kBadArgument},
                    InitCase{"TooLarge", [](auto& p) { p.m_width = 1 << 20; }, UMC::kFailed},
                    InitCase{"PackedPicture", [](auto& p) { p.m_colorFormat = 2; }, UMC::kNotImplemented},
                    InitCase{"TenBits", [](auto& p) { p.m_chromaBitDepth = 10; }, UMC::kNotImplemented},
                    InitCase{"TenBitAuxiliary", [](auto& p) { p.m_auxFormat = 1, p.m_auxBitDepth = 10; },
                             UMC::kNotImplemented},
                    InitCase{"Chroma422", [](auto& p) { p.m_chromaFormat = 2; }, UMC::kNotImplemented}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(Engines, RefuseWrongCallsAndWhatIsNotThere) {
    UMC::H264EncoderParams params = CallParams(320, 240, 400, 10);
    UMC::VC1EncoderParams vc1Params;
    UMC::H264VideoDecoderParams decoderParams;
    UMC::VideoData picture;
    UMC::MediaData media;
    UMC::H264VideoEncoder encoder;
    EXPECT_EQ(encoder.GetFrame(&picture, &media), UMC::kNotInitialised);
    EXPECT_EQ(encoder.GetInfo(&params), UMC::kNotInitialised);
    EXPECT_EQ(encoder.SetParams(&params), UMC::kNotInitialised);
    EXPECT_EQ(encoder.Init(nullptr), UMC::kBadArgument);
    EXPECT_EQ(encoder.Init(&vc1Params), UMC::kBadArgument);
    ASSERT_EQ(encoder.Init(&params), UMC::kOk);
    EXPECT_EQ(encoder.Init(&params), UMC::kFailed);
    EXPECT_EQ(encoder.GetInfo(&decoderParams), UMC::kBadArgument);
    EXPECT_EQ(encoder.SetParams(&decoderParams), UMC::kBadArgument);
    EXPECT_EQ(encoder.GetFrame(nullptr, &media), UMC::kNoMoreData);
    EXPECT_EQ(encoder.GetFrame(&media, &media), UMC::kBadArgument);
    ASSERT_EQ(media.Alloc(100000), UMC::kOk);
    EXPECT_EQ(encoder.GetFrame(&picture, &media), UMC::kFailed);
    ASSERT_EQ(picture.Init(320, 240, 5), UMC::kOk);
    EXPECT_EQ(encoder.GetFrame(&picture, &media), UMC::kNoPlane);
    encoder.Close();
    EXPECT_EQ(encoder.GetFrame(&picture, &media), UMC::kNotInitialised);

    UMC::H264VideoDecoder decoder;
    qrn::test::KeepingPost post;
    EXPECT_EQ(decoder.GetFrame(&media, &picture), UMC::kNotInitialised);
    EXPECT_EQ(decoder.Init(&params), UMC::kBadArgument);
    EXPECT_EQ(decoder.Init(&decoderParams), UMC::kBadArgument) << "without post-processing";
    decoderParams.m_postProcessing = &post;
    ASSERT_EQ(decoder.Init(&decoderParams), UMC::kOk);
    EXPECT_EQ(decoder.GetFrame(&media, &media), UMC::kBadArgument);
    EXPECT_EQ(decoder.GetFrame(nullptr, &picture), UMC::kNoMoreData);
    EXPECT_EQ(decoder.SetParams(&decoderParams), UMC::kNotImplemented);

    UMC::VC1VideoEncoder vc1Encoder;
    UMC::VC1VideoDecoder vc1Decoder;
    EXPECT_EQ(vc1Encoder.Init(&vc1Params), UMC::kNotImplemented);
    EXPECT_EQ(vc1Decoder.Init(&decoderParams), UMC::kNotImplemented);
}

}  // namespace
