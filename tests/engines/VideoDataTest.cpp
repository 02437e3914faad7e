#include "engines/VideoData.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

using UMC::VideoData;

struct LayoutCase {
    const char* name;
    UMC::ColorFormat format;
    int width, height, alignment;
    std::vector<int> pitches;
    std::vector<int> heights;
    std::size_t bytes;
};
class VideoDataLayout : public testing::TestWithParam<LayoutCase> {};

TEST_P(VideoDataLayout, PutsPlaneBehindPlane) {
    const LayoutCase& row = GetParam();
    VideoData data;
    ASSERT_EQ(data.SetAlignment(row.alignment), UMC::kOk);
    ASSERT_EQ(data.Init(row.width, row.height, row.format), UMC::kOk);
    EXPECT_EQ(data.GetPictureSize(), row.bytes);
    std::vector<std::uint8_t> memory(row.bytes + 1);
    EXPECT_EQ(data.SetBufferPointer(memory.data(), row.bytes - 1), UMC::kOutOfRange);
    EXPECT_EQ(data.GetPlanePointer(0), nullptr);
    ASSERT_EQ(data.SetBufferPointer(memory.data(), memory.size()), UMC::kOk);
    ASSERT_EQ(data.GetNumPlanes(), static_cast<int>(row.pitches.size()));
    std::ptrdiff_t expected = 0;
    for (int index = 0; index < data.GetNumPlanes(); ++index) {
        const auto at = static_cast<std::size_t>(index);
        EXPECT_EQ(data.GetPlanePitch(index), row.pitches[at]);
        EXPECT_EQ(data.GetPlane(index).height, row.heights[at]);
        EXPECT_EQ(data.GetPlanePointer(index) - memory.data(), expected);
        EXPECT_LE(data.GetPlane(index).RowBytes(), row.pitches[at]);
        expected += row.pitches[at] * row.heights[at];
    }
    EXPECT_EQ(data.GetPlanePointer(data.GetNumPlanes()), nullptr);
    EXPECT_EQ(data.GetPlanePitch(-1), 0);
    ASSERT_EQ(data.Alloc(), UMC::kOk);
    EXPECT_EQ(data.GetPlanePointer(0), data.GetBufferPointer());
    data.ReleaseImage();
    EXPECT_EQ(data.GetPlanePointer(0), nullptr);
}

INSTANTIATE_TEST_SUITE_P(
    Formats, VideoDataLayout,
    testing::Values(LayoutCase{"Planar420", 5, 320, 240, 1, {320, 160, 160}, {240, 120, 120}, 115200},
                    LayoutCase{"PlanarYvu", 0, 320, 240, 1, {320, 160, 160}, {240, 120, 120}, 115200},
                    LayoutCase{"AlignedRows", 5, 322, 242, 4, {324, 164, 164}, {242, 121, 121}, 118096},
                    LayoutCase{"OddSize", 5, 5, 3, 1, {5, 3, 3}, {3, 2, 2}, 27},
                    LayoutCase{"OnePixel", 5, 1, 1, 4, {4, 4, 4}, {1, 1, 1}, 12},
                    LayoutCase{"TwoPlanes", 1, 16, 8, 1, {16, 16}, {8, 4}, 192},
                    LayoutCase{"Packed", 2, 16, 8, 1, {32}, {8}, 256},
                    LayoutCase{"PackedOdd", 3, 15, 8, 1, {32}, {8}, 256},
                    LayoutCase{"Planar411", 4, 16, 8, 1, {16, 4, 4}, {8, 8, 8}, 192},
                    LayoutCase{"Planar422", 6, 16, 8, 1, {16, 8, 8}, {8, 8, 8}, 256},
                    LayoutCase{"Rgb24", 12, 5, 2, 4, {16}, {2}, 32}, LayoutCase{"Rgb565", 13, 5, 2, 4, {12}, {2}, 24}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(VideoData, RefusesWhatIsNoPicture) {
    VideoData data;
    std::uint8_t byte = 0;
    EXPECT_EQ(data.Alloc(), UMC::kNotInitialised);
    EXPECT_EQ(data.SetBufferPointer(&byte, 1), UMC::kNotInitialised);
    EXPECT_EQ(data.SetAlignment(0), UMC::kBadArgument);
    ASSERT_EQ(data.Init(16, 16, 5), UMC::kOk);
    EXPECT_EQ(data.Init(0, 16, 5), UMC::kBadArgument);
    EXPECT_EQ(data.GetNumPlanes(), 0);
    EXPECT_EQ(data.Init(16, -16, 5), UMC::kBadArgument);
    EXPECT_EQ(data.Init(32768, 16, 5), UMC::kBadArgument);
    EXPECT_EQ(data.Init(16, 16, 7), UMC::kNotImplemented);
    EXPECT_EQ(data.Init(16, 16, 5, 10), UMC::kNotImplemented);
    EXPECT_EQ(data.SetPlane(0, &byte, 1), UMC::kBadArgument);
    EXPECT_EQ(data.Init(32767, 32767, 11), UMC::kOk);
    EXPECT_EQ(data.Alloc(), UMC::kNoMemory);
    EXPECT_EQ(data.GetPlanePointer(0), nullptr);
}

TEST(VideoData, AViewSharesThePixelsAndOwnsNone) {
    VideoData view;
    VideoData data;
    ASSERT_EQ(data.Init(16, 16, 5), UMC::kOk);
    ASSERT_EQ(data.Alloc(), UMC::kOk);
    data.SetDataSize(data.GetPictureSize());
    data.SetTime(1.0, 2.0);
    data.SetFrameType(UMC::kFrameI);
    data.SetPictureStructure(UMC::kInterlacedTopFirst);
    view.ViewOf(data);
    EXPECT_EQ(view.GetPlanePointer(2), data.GetPlanePointer(2));
    EXPECT_EQ(view.GetDataSize(), data.GetDataSize());
    EXPECT_EQ(view.GetPictureStructure(), UMC::kInterlacedTopFirst);
    EXPECT_EQ(view.GetFrameType(), UMC::kFrameI);
    view.SetPlane(1, data.GetPlanePointer(2), data.GetPlanePitch(2));
    EXPECT_NE(view.GetPlanePointer(1), data.GetPlanePointer(1));
    view.Close();
    data.GetPlanePointer(2)[0] = 7;  // still there
}

}  // namespace
