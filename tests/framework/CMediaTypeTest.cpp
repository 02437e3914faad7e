#include "framework/CMediaType.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <string>

namespace {

constexpr std::array<BYTE, 4> kFormat{1, 2, 3, 4};

CMediaType VideoType() {
    CMediaType type(&MEDIATYPE_Video);
    type.SetSubtype(&MEDIASUBTYPE_PCM);
    type.SetFormatType(&FORMAT_VideoInfo);
    type.SetFormat(kFormat.data(), kFormat.size());
    return type;
}

TEST(CMediaType, CopyOwnsItsOwnFormat) {
    const CMediaType first = VideoType();
    CMediaType second = first;
    ASSERT_EQ(second.FormatLength(), 4u);
    EXPECT_NE(second.Format(), first.Format());
    EXPECT_TRUE(second == first);
    second.Format()[3] = 9;
    EXPECT_FALSE(second == first);
    EXPECT_EQ(first.Format()[3], 4);
}

TEST(CMediaType, SetToItselfChangesNothing) {
    CMediaType type = VideoType();
    EXPECT_EQ(type.Set(type), S_OK);
    EXPECT_EQ(type.FormatLength(), 4u);
    ASSERT_EQ(type.SetFormat(type.Format() + 1, 3), TRUE);
    EXPECT_EQ(type.Format()[0], 2) << "the new block came from inside the old one";
}

TEST(CMediaType, LengthWithoutBlockIsNoFormat) {
    AM_MEDIA_TYPE lying{};
    lying.majortype = MEDIATYPE_Video;
    lying.cbFormat = 88;
    const CMediaType type(lying);
    EXPECT_EQ(type.FormatLength(), 0u);
    EXPECT_EQ(type.Format(), nullptr);
    CMediaType same(&MEDIATYPE_Video);
    EXPECT_TRUE(same.IsEqual(lying));
    EXPECT_TRUE(type == same);
}

TEST(CMediaType, SampleFlagsDoNotTellTypesApart) {
    const CMediaType first = VideoType();
    CMediaType second = first;
    second.SetVariableSize();
    second.SetTemporalCompression(TRUE);
    EXPECT_TRUE(first == second);
    EXPECT_EQ(second.GetSampleSize(), 0u);
    second.SetSampleSize(12);
    EXPECT_EQ(second.GetSampleSize(), 12u);
    EXPECT_TRUE(second.IsFixedSize());
    second.SetSampleSize(0);
    EXPECT_FALSE(second.IsFixedSize());
}

TEST(CMediaType, FormatBufferGrowsAndKeepsWhatItHolds) {
    CMediaType type = VideoType();
    EXPECT_EQ(type.AllocFormatBuffer(0), nullptr);
    EXPECT_EQ(type.FormatLength(), 4u);
    ASSERT_NE(type.ReallocFormatBuffer(6), nullptr);
    EXPECT_EQ(type.Format()[3], 4);
    EXPECT_EQ(type.Format()[5], 0);
    ASSERT_NE(type.AllocFormatBuffer(2), nullptr);
    EXPECT_EQ(type.Format()[0], 0);
    EXPECT_EQ(type.FormatLength(), 2u);
}

struct PartialCase {
    const char* name;
    const GUID* major;
    const GUID* subtype;
    const GUID* format;
    bool matches;
};

class Partial : public testing::TestWithParam<PartialCase> {};

TEST_P(Partial, UnsetFieldsFitAnything) {
    CMediaType partial;
    partial.SetType(GetParam().major);
    partial.SetSubtype(GetParam().subtype);
    partial.SetFormatType(GetParam().format);
    EXPECT_EQ(VideoType().MatchesPartial(&partial) != FALSE, GetParam().matches);
}

INSTANTIATE_TEST_SUITE_P(Rows, Partial,
                         testing::Values(PartialCase{"Nothing", nullptr, nullptr, nullptr, true},
                                         PartialCase{"Major", &MEDIATYPE_Video, nullptr, nullptr, true},
                                         PartialCase{"OtherMajor", &MEDIATYPE_Audio, nullptr, nullptr, false},
                                         PartialCase{"Subtype", nullptr, &MEDIASUBTYPE_PCM, nullptr, true},
                                         PartialCase{"OtherSubtype", nullptr, &FORMAT_None, nullptr, false},
                                         PartialCase{"FormatWithoutBlock", nullptr, nullptr, &FORMAT_VideoInfo, true},
                                         PartialCase{"OtherFormat", nullptr, nullptr, &FORMAT_WaveFormatEx, false}),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(AudioMediaType, HoldsTheWaveFormat) {
    const WAVEFORMATEX format{14217, 1, 48000, 6000, 1, 8, 0};
    AM_MEDIA_TYPE type;
    ASSERT_EQ(CreateAudioMediaType(format, &type, true), S_OK);
    EXPECT_EQ(type.majortype, MEDIATYPE_Audio);
    EXPECT_EQ(type.subtype, qrn::Guid("00003789-0000-0010-8000-00AA00389B71"));
    EXPECT_EQ(type.formattype, FORMAT_WaveFormatEx);
    EXPECT_EQ(type.lSampleSize, 1u);
    ASSERT_EQ(type.cbFormat, 18u);
    EXPECT_EQ(std::memcmp(type.pbFormat, &format, 18), 0);
    FreeMediaType(type);
    EXPECT_EQ(type.pbFormat, nullptr);
}

TEST(AudioMediaType, TakesTheBytesBehindTheWaveFormat) {
    struct {
        WAVEFORMATEX wave;
        BYTE extra[2];
    } format{{14216, 2, 44100, 4000, 2, 8, 2}, {0xAB, 0xCD}};
    AM_MEDIA_TYPE type;
    ASSERT_EQ(CreateAudioMediaType(format.wave, &type, true), S_OK);
    ASSERT_EQ(type.cbFormat, 20u);
    EXPECT_EQ(type.pbFormat[18], 0xAB);
    EXPECT_EQ(type.pbFormat[19], 0xCD);
    FreeMediaType(type);
    EXPECT_EQ(CreateAudioMediaType(format.wave, nullptr, true), E_POINTER);
}

TEST(AudioMediaType, WithoutBlockAlignmentSamplesVary) {
    const WAVEFORMATEX format{WAVE_FORMAT_PCM, 1, 8000, 16000, 0, 16, 5};
    AM_MEDIA_TYPE type;
    ASSERT_EQ(CreateAudioMediaType(format, &type, false), S_OK);
    EXPECT_EQ(type.bFixedSizeSamples, FALSE);
    EXPECT_EQ(type.cbFormat, 0u);
    ASSERT_EQ(CreateAudioMediaType(format, &type, true), S_OK);
    EXPECT_EQ(type.cbFormat, 18u) << "PCM has nothing behind it, whatever its cbSize says";
    FreeMediaType(type);
}

}  // namespace
