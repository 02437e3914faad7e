#include "engines/TypedObject.h"

#include <gtest/gtest.h>

#include "engines/H264EncoderParams.h"
#include "engines/H264VideoDecoderParams.h"
#include "engines/VC1EncoderParams.h"
#include "engines/VC1VideoDecoderParams.h"
#include "engines/VideoDataExt.h"
#include "engines/VideoProcessingParams.h"

namespace {

struct ClassCase {
    UMC::ClassNameFunction name;
    bool isH264, isVc1, isDecoder, isExt;  // what an object of each class is told to be
};

TEST(TypedObject, IsOfItsOwnClassAndOfThoseAbove) {
    const UMC::H264EncoderParams h264;
    const UMC::VC1EncoderParams vc1;
    const UMC::H264VideoDecoderParams decoder;
    const UMC::VideoDataExt ext;
    const ClassCase cases[] = {
        {&UMC::BaseCodecParams::ClassName, true, true, true, false},
        {&UMC::VideoEncoderParams::ClassName, true, true, false, false},
        {&UMC::H264EncoderParams::ClassName, true, false, false, false},
        {&UMC::VC1EncoderParams::ClassName, false, true, false, false},
        {&UMC::VideoDecoderParams::ClassName, false, false, true, false},
        {&UMC::H264VideoDecoderParams::ClassName, false, false, true, false},
        {&UMC::VC1VideoDecoderParams::ClassName, false, false, false, false},
        {&UMC::VideoProcessingParams::ClassName, false, false, false, false},
        {&UMC::MediaData::ClassName, false, false, false, true},
        {&UMC::VideoData::ClassName, false, false, false, true},
        {&UMC::VideoDataExt::ClassName, false, false, false, true},
    };
    for (const ClassCase& row : cases) {
        SCOPED_TRACE(row.name());
        const std::pair<const UMC::TypedObject*, bool> answers[] = {
            {&h264, row.isH264}, {&vc1, row.isVc1}, {&decoder, row.isDecoder}, {&ext, row.isExt}};
        for (const auto& [object, expected] : answers) {
            EXPECT_EQ(object->IsKindOf(row.name), expected);
            EXPECT_EQ(object->IsKindOf(row.name()), expected);
        }
    }
    EXPECT_TRUE(h264.IsKindOf(std::string("H264EncoderParams").c_str()));
    EXPECT_FALSE(h264.IsKindOf("H264"));
    EXPECT_FALSE(h264.IsKindOf(static_cast<const char*>(nullptr)));
}

TEST(TypedObject, CastsOnlyToWhatItIs) {
    UMC::VC1EncoderParams vc1;
    UMC::BaseCodecParams* params = &vc1;
    EXPECT_EQ(UMC::As<UMC::VideoEncoderParams>(params), &vc1);
    EXPECT_EQ(UMC::As<UMC::H264EncoderParams>(params), nullptr);
    EXPECT_EQ(UMC::As<UMC::VC1EncoderParams>(static_cast<UMC::BaseCodecParams*>(nullptr)), nullptr);
}

}  // namespace
