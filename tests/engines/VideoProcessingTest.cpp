#include "engines/VideoProcessing.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <map>
#include <random>
#include <vector>

#include "platform/imaging/IppTypes.h"

namespace {

using namespace UMC;

/// One colour, as every format has it: luma, Cb, Cr and blue, green, red by ITU-R BT.601.
constexpr std::array<int, 3> kYcc = {120, 90, 150};
constexpr std::array<int, 3> kBgr = {44, 118, 156};

/// The bytes of one group of pixels in the plane of a format.
std::vector<int> Group(ColorFormat format, int plane) {
    const auto [y, cb, cr] = kYcc;
    const auto [blue, green, red] = kBgr;
    const auto word = [](int value) { return std::vector<int>{value & 0xFF, value >> 8}; };
    switch (format) {
        case kColorYV12:
            return {kYcc[static_cast<std::size_t>((3 - plane) % 3)]};
        case kColorNV12:
            return plane == 0 ? std::vector<int>{y} : std::vector<int>{cb, cr};
        case kColorYUY2:
            return {y, cb, y, cr};
        case kColorUYVY:
            return {cb, y, cr, y};
        case kColorRGB32:
            return {blue, green, red, 0};
        case kColorRGB24:
            return {blue, green, red};
        case kColorRGB565:
            return word((blue >> 3) | (green >> 2 << 5) | (red >> 3 << 11));
        case kColorRGB555:
            return word((blue >> 3) | (green >> 3 << 5) | (red >> 3 << 10));
        case kColorRGB444:
            return word((blue >> 4) | (green >> 4 << 4) | (red >> 4 << 8));
        default:
            return {kYcc[static_cast<std::size_t>(plane)]};
    }
}

bool HasWords(ColorFormat format) {
    return format >= kColorRGB565;
}

void MakePicture(VideoData& picture, int width, int height, ColorFormat format) {
    ASSERT_EQ(picture.Init(width, height, format), kOk);
    ASSERT_EQ(picture.Alloc(), kOk);
}

/// Calls `visit(byte, wanted byte)` for all of a picture.
template <class Visit>
void EachByte(const VideoData& picture, Visit visit) {
    for (int index = 0; index < picture.GetNumPlanes(); ++index) {
        const auto plane = picture.GetPlane(index);
        const auto group = Group(picture.GetColorFormat(), index);
        for (int row = 0; row < plane.height; ++row) {
            for (int byte = 0; byte < plane.RowBytes(); ++byte) {
                visit(plane.pointer[row * plane.pitch + byte], group[static_cast<std::size_t>(byte) % group.size()]);
            }
        }
    }
}

void Paint(VideoData& picture) {
    EachByte(picture, [](std::uint8_t& byte, int wanted) { byte = static_cast<std::uint8_t>(wanted); });
}

/// Values of a 16-bit pixel, as they are cut off.
std::array<int, 3> Fields(ColorFormat format, int word) {
    const int green = format == kColorRGB565 ? 6 : format == kColorRGB555 ? 5 : 4;
    const int side = format == kColorRGB444 ? 4 : 5;
    return {word & ((1 << side) - 1), (word >> side) & ((1 << green) - 1), word >> (side + green)};
}

void ExpectColour(const VideoData& picture, int tolerance) {
    if (!HasWords(picture.GetColorFormat())) {
        int worst = 0;
        EachByte(picture, [&](std::uint8_t byte, int wanted) { worst = std::max(worst, std::abs(byte - wanted)); });
        EXPECT_LE(worst, tolerance);
        return;
    }
    const auto group = Group(picture.GetColorFormat(), 0);
    const auto wanted = Fields(picture.GetColorFormat(), group[0] | (group[1] << 8));
    const std::uint8_t* bytes = picture.GetPlanePointer(0);
    const auto made = Fields(picture.GetColorFormat(), bytes[0] | (bytes[1] << 8));
    for (std::size_t index = 0; index < 3; ++index) {
        EXPECT_NEAR(made[index], wanted[index], 1);
    }
}

const std::map<ColorFormat, std::vector<ColorFormat>> kPairs = {
    {0, {1, 2, 3, 4, 5, 6, 10, 11, 12, 13, 14, 15}},
    {1, {0, 2, 3, 5}},
    {2, {0, 1, 3, 5, 6, 11, 12, 13, 14, 15}},
    {3, {0, 1, 2, 5, 6, 11}},
    {4, {0, 5}},
    {5, {0, 1, 2, 3, 4, 6, 10, 11, 12, 13, 14, 15}},
    {6, {0, 2, 5}},
    {10, {0, 5}},
    {11, {0, 2, 3, 5, 12}},
    {12, {0, 2, 5, 11}},
    {13, {0, 2, 5, 12}},
    {14, {0, 2, 5, 12}},
};

TEST(ColorSpaceConversion, KeepsTheColourOfEveryPairAndKnowsNoOther) {
    ColorSpaceConversion conversion;
    for (const ColorFormat from : {0, 1, 2, 3, 4, 5, 6, 10, 11, 12, 13, 14, 15}) {
        for (const ColorFormat to : {0, 1, 2, 3, 4, 5, 6, 10, 11, 12, 13, 14, 15}) {
            SCOPED_TRACE(std::to_string(from) + " to " + std::to_string(to));
            VideoData source;
            VideoData destination;
            MakePicture(source, 38, 14, from);
            MakePicture(destination, 38, 14, to);
            Paint(source);
            const auto row = kPairs.find(from);
            const bool known = from == to || (row != kPairs.end() && std::find(row->second.begin(), row->second.end(),
                                                                               to) != row->second.end());
            ASSERT_EQ(conversion.GetFrame(&source, &destination), known ? kOk : kNotImplemented);
            if (known) {
                // Sixteen-bit colours are up to 7 beside the painted one.
                ExpectColour(destination, HasWords(from) ? 9 : 3);
            }
        }
    }
    VideoData small;
    VideoData large;
    MakePicture(small, 16, 16, kColorYUV420);
    MakePicture(large, 18, 16, kColorYUV420);
    EXPECT_EQ(conversion.GetFrame(&small, &large), kFailed);
    EXPECT_EQ(conversion.GetFrame(nullptr, &large), kBadArgument);
}

struct ChainCase {
    ColorFormat from;
    ColorFormat to;
    int width;
    int height;
    Status answer;
};

TEST(VideoProcessing, ConvertsAndResizesInOneGo) {
    VideoProcessing chain;
    VideoProcessingParams params;
    params.m_resizeMethod = IPPI_INTER_LINEAR;
    ASSERT_EQ(chain.SetParams(&params), kOk);
    for (const ChainCase& row :
         {ChainCase{5, 5, 38, 14, kOk}, ChainCase{5, 5, 64, 30, kOk}, ChainCase{0, 5, 38, 14, kOk},
          ChainCase{0, 5, 20, 30, kOk}, ChainCase{5, 0, 20, 30, kOk}, ChainCase{2, 2, 50, 14, kOk},
          ChainCase{5, 11, 50, 20, kOk}, ChainCase{11, 14, 38, 14, kNotImplemented}, ChainCase{1, 12, 38, 14, kOk},
          ChainCase{6, 11, 76, 14, kOk}, ChainCase{15, 5, 38, 14, kNotImplemented},
          ChainCase{10, 2, 38, 14, kNotImplemented}, ChainCase{3, 3, 76, 14, VideoResizing::kUnknownSamples}}) {
        SCOPED_TRACE(std::to_string(row.from) + " to " + std::to_string(row.to));
        VideoData source;
        VideoData destination;
        MakePicture(source, 38, 14, row.from);
        MakePicture(destination, row.width, row.height, row.to);
        Paint(source);
        source.SetDataSize(source.GetPictureSize());
        source.SetTime(1.5, 2.5);
        source.SetFrameType(kFrameI);
        ASSERT_EQ(chain.GetFrame(&source, &destination), row.answer);
        if (row.answer != kOk) {
            continue;
        }
        ExpectColour(destination, 4);
        EXPECT_EQ(source.GetDataSize(), 0U);
        EXPECT_EQ(destination.GetDataSize(), destination.GetPictureSize());
        double start = 0;
        double end = 0;
        destination.GetTime(start, end);
        EXPECT_EQ(start, 1.5);
        EXPECT_EQ(end, 2.5);
        EXPECT_EQ(destination.GetFrameType(), kFrameI);
    }
}

void FillRandom(VideoData& picture) {
    std::minstd_rand random(3);
    EachByte(picture, [&](std::uint8_t& byte, int) { byte = static_cast<std::uint8_t>(random() >> 9); });
}

TEST(VideoProcessing, CropsToTheRectangle) {
    VideoProcessing chain;
    VideoProcessingParams params;
    VideoData source;
    VideoData destination;
    struct Case {
        ColorFormat format;
        int width;  // an odd one ends with a sample of chroma that stands for fewer pixels
        VideoProcessingParams::CropRectangle crop;
        int columns;  // that a sample of chroma stands for
        int rows;
    };
    for (const Case& row : {Case{kColorYUV420, 38, {6, 4, 26, 12}, 2, 2}, Case{kColorYUV411, 9, {3, 4, 9, 12}, 4, 1}}) {
        params.m_crop = row.crop;
        ASSERT_EQ(chain.SetParams(&params), kOk);
        MakePicture(source, row.width, 14, row.format);
        MakePicture(destination, row.crop.right - row.crop.left, row.crop.bottom - row.crop.top, row.format);
        FillRandom(source);
        ASSERT_EQ(chain.GetFrame(&source, &destination), kOk);
        for (int plane = 0; plane < 3; ++plane) {
            const auto from = source.GetPlane(plane);
            const auto to = destination.GetPlane(plane);
            const int left = row.crop.left / (plane == 0 ? 1 : row.columns);
            const int top = row.crop.top / (plane == 0 ? 1 : row.rows);
            for (int y = 0; y < to.height; ++y) {
                for (int x = 0; x < to.width; ++x) {
                    ASSERT_EQ(to.pointer[y * to.pitch + x], from.pointer[(y + top) * from.pitch + x + left]);
                }
            }
        }
    }
    params.m_crop = {6, 4, 39, 12};
    ASSERT_EQ(chain.SetParams(&params), kOk);
    EXPECT_EQ(chain.GetFrame(&source, &destination), kBadArgument);
}

TEST(VideoProcessing, DeinterlacesFieldsOnly) {
    for (const int method : {0, 1, 2, 3, 4, 5, 6, 7}) {
        for (const PictureStructure structure : {kProgressive, kInterlacedTopFirst}) {
            SCOPED_TRACE(std::to_string(method) + " of structure " + std::to_string(structure));
            VideoProcessing chain;
            VideoProcessingParams params;
            params.m_deinterlaceMethod = method;
            ASSERT_EQ(chain.SetParams(&params), kOk);
            VideoData source;
            VideoData destination;
            MakePicture(source, 16, 16, kColorYUV420);
            MakePicture(destination, 16, 16, kColorYUV420);
            // Two fields that nothing moves together: rows of 40 and of 200.
            EachByte(source, [](std::uint8_t& byte, int) { byte = 40; });
            for (int row = 1; row < 16; row += 2) {
                std::fill_n(source.GetPlanePointer(0) + row * source.GetPlanePitch(0), 16, std::uint8_t{200});
            }
            source.SetPictureStructure(structure);
            const bool active = method != 0 && structure != kProgressive;
            const bool known = !active || (method >= 2 && method <= 6);
            ASSERT_EQ(chain.GetFrame(&source, &destination), known ? kOk : kNotImplemented);
            if (!known) {
                continue;
            }
            EXPECT_EQ(destination.GetPictureStructure(), active ? kProgressive : structure);
            const int middle = destination.GetPlanePointer(0)[7 * destination.GetPlanePitch(0) + 8];
            EXPECT_EQ(middle, !active ? 200 : method == 2 ? 120 : 40);
        }
    }
}

TEST(VideoProcessing, TellsWhatIsMissing) {
    VideoProcessing chain;
    VideoData empty;
    VideoData picture;
    MediaData media;
    VideoProcessingParams params;
    params.m_resizeMethod = IPPI_INTER_CUBIC;
    MakePicture(picture, 16, 16, kColorYUV420);
    EXPECT_EQ(chain.GetFrame(&media, &picture), kBadArgument);
    EXPECT_EQ(chain.GetFrame(&picture, nullptr), kBadArgument);
    EXPECT_EQ(chain.GetFrame(&empty, &picture), kNoPlane);
    EXPECT_NE(chain.GetFrame(&picture, &empty), kOk);
    EXPECT_EQ(chain.SetParams(nullptr), kBadArgument);
    ASSERT_EQ(chain.SetParams(&params), kOk);
    VideoProcessingParams given;
    ASSERT_EQ(chain.GetInfo(&given), kOk);
    EXPECT_EQ(given.m_resizeMethod, IPPI_INTER_CUBIC);
}

}  // namespace
