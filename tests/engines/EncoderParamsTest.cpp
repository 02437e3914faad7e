#include <gtest/gtest.h>

#include <fstream>

#include "engines/H264EncoderParams.h"
#include "engines/H264VideoDecoderParams.h"
#include "engines/VC1EncoderParams.h"
#include "support/TempFolder.h"

namespace {

class EncoderParams : public testing::Test {
protected:
    std::string File(const std::string& text) {
        std::string path = m_folder.File("params.txt");
        std::ofstream(path, std::ios::binary) << text;
        return path;
    }
    qrn::test::CTempFolder m_folder;
};

const std::string kH264Text =
    "640 width\n480\thigh\r\n 12.5\n350000\n66\n30\n0\n50\n1\n1\n0\n1\n2\n21\n22\n23 of B pictures\n";

TEST_F(EncoderParams, H264ReadsOneNumberALine) {
    UMC::H264EncoderParams params;
    ASSERT_EQ(params.ReadParams(File(kH264Text)), UMC::kOk);
    EXPECT_EQ(params.m_width, 640);
    EXPECT_EQ(params.m_height, 480);
    EXPECT_EQ(params.m_frameRate, 12.5);
    EXPECT_EQ(params.m_bitrate, 350000U);
    EXPECT_EQ(params.m_profileIdc, 66);
    EXPECT_EQ(params.m_levelIdc, 30);
    EXPECT_EQ(params.m_keyFrameMethod, 0);
    EXPECT_EQ(params.m_keyFrameInterval, 50);
    EXPECT_EQ(params.m_rateControlMethod, 1);
    EXPECT_EQ(params.m_numSlices, 2);
    EXPECT_EQ(params.m_quantizers, (std::array{21, 22, 23}));
}

TEST_F(EncoderParams, H264TakesNothingFromAWrongText) {
    std::string negativeRate = kH264Text;
    negativeRate.replace(negativeRate.find("350000"), 6, "-5");
    std::string notANumber = kH264Text;
    notANumber.replace(notANumber.find("12.5"), 4, "fast");
    std::string infinite = kH264Text;
    infinite.replace(infinite.find("12.5"), 4, "inf");
    for (const std::string& text : {std::string(), kH264Text.substr(0, kH264Text.rfind("23")), negativeRate, notANumber,
                                    infinite, "640x" + kH264Text.substr(3), "99999999999" + kH264Text.substr(3)}) {
        UMC::H264EncoderParams params;
        EXPECT_EQ(params.ReadParams(File(text)), UMC::kBadText) << text;
        EXPECT_EQ(params.m_width, 0);
    }
}

TEST_F(EncoderParams, Vc1ReadsLinesByTheirKeys) {
    UMC::VC1EncoderParams params;
    ASSERT_EQ(params.ReadParams(File("a remark\nUseTreillisQuantization: 1\r\nProfile: Advance\nfor Bitrate: 350000 "
                                     "bits\nWidth:640\nHeight:\t480\nGOPLength: 25\nQuantType: -2\n")),
              UMC::kOk);
    EXPECT_EQ(params.m_profile, 12);
    EXPECT_EQ(params.m_bitrate, 350000U);
    EXPECT_EQ(params.m_width, 640);
    EXPECT_EQ(params.m_height, 480);
    EXPECT_EQ(params.m_GOPLength, 25);
    EXPECT_EQ(params.m_QuantType, -2);
    EXPECT_EQ(params.m_UseTreillisQuantization, 1);
    EXPECT_EQ(params.m_MESearchSpeed, 66);
    for (const char* text : {"Width: 1\nProfile: Best\n", "Width: 1\nProfile:", "Width: 1\nBitrate: -1\n",
                             "Width: 1\nHeight:\n", "Width: 1\nRefField: yes"}) {
        EXPECT_EQ(params.ReadParams(File(text)), UMC::kBadText) << text;
        EXPECT_EQ(params.m_width, 640);
    }
}

TEST_F(EncoderParams, NoFileAndNoTextForm) {
    EXPECT_EQ(UMC::H264EncoderParams().ReadParams(m_folder.File("none")), UMC::kCannotOpen);
    EXPECT_EQ(UMC::VC1EncoderParams().ReadParams(m_folder.File("none")), UMC::kCannotOpen);
    EXPECT_EQ(UMC::H264VideoDecoderParams().ReadParams(File("1\n")), UMC::kNotImplemented);
}

}  // namespace
