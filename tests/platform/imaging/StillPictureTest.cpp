#include "platform/imaging/StillPicture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <string>
#include <vector>

#include "GuardedPlane.h"

namespace {

using qrn::DecodeJpeg;
using qrn::EncodeJpeg;
using qrn::StillPicture;
using qrn::test::Against;
using qrn::test::GuardedPlane;

/// Slopes of different directions, which coding changes little.
StillPicture Slopes(IppiSize size) {
    StillPicture picture{size, {}};
    for (int row = 0; row < size.height; ++row) {
        for (int column = 0; column < size.width; ++column) {
            picture.pixels.push_back(static_cast<Ipp8u>(column * 200 / size.width));
            picture.pixels.push_back(static_cast<Ipp8u>(row * 200 / size.height));
            picture.pixels.push_back(static_cast<Ipp8u>(250 - column * 200 / size.width));
        }
    }
    return picture;
}

std::vector<Ipp8u> Coded(const StillPicture& picture, int quality) {
    return EncodeJpeg(picture.pixels.data(), picture.Step(), picture.size, quality).value();
}

double MeanError(const StillPicture& first, const StillPicture& second) {
    double sum = 0;
    for (std::size_t index = 0; index < first.pixels.size(); ++index) {
        sum += std::abs(first.pixels[index] - second.pixels[index]);
    }
    return sum / static_cast<double>(first.pixels.size());
}

TEST(StillPicture, ComesBackNearlyAsItWas) {
    for (const IppiSize size : {IppiSize{1, 1}, {7, 3}, {64, 48}, {333, 127}}) {
        SCOPED_TRACE(std::to_string(size.width) + "x" + std::to_string(size.height));
        const StillPicture picture = Slopes(size);
        const auto back = DecodeJpeg(Coded(picture, 95));
        ASSERT_TRUE(back.has_value());
        ASSERT_EQ(back->size.width, size.width);
        ASSERT_EQ(back->size.height, size.height);
        // Blue, green and red would be told apart by a hundred; chroma of few pixels is a coarse mean.
        EXPECT_LT(MeanError(picture, *back), size.width < 16 ? 16 : 2);
    }
}

TEST(StillPicture, TakesTheRowsOfALargerPictureAndNoMore) {
    constexpr IppiSize kSize = {40, 20};
    constexpr int kStep = 3 * 40 + 7;
    const StillPicture picture = Slopes(kSize);
    const GuardedPlane rows(static_cast<std::size_t>(kStep * 19 + 3 * 40), Against::kUpperGuard);
    for (int row = 0; row < kSize.height; ++row) {
        std::copy_n(picture.pixels.data() + row * picture.Step(), picture.Step(), rows.Data() + row * kStep);
    }
    EXPECT_EQ(EncodeJpeg(rows.Data(), kStep, kSize, 75), Coded(picture, 75));
}

TEST(StillPicture, IsSmallerAtALowerQuality) {
    const StillPicture picture = Slopes({320, 240});
    EXPECT_LT(Coded(picture, 30).size(), Coded(picture, 90).size());
    EXPECT_EQ(Coded(picture, 0), Coded(picture, 1));
    EXPECT_EQ(Coded(picture, 1000), Coded(picture, 100));
}

TEST(StillPicture, RefusesWhatIsNoPicture) {
    const StillPicture picture = Slopes({16, 16});
    const auto* pixels = picture.pixels.data();
    EXPECT_FALSE(EncodeJpeg(nullptr, 48, {16, 16}, 75));
    EXPECT_FALSE(EncodeJpeg(pixels, 47, {16, 16}, 75));
    for (const IppiSize bad : {IppiSize{0, 16}, {16, 0}, {-1, 16}, {16, kIppMaxSide + 1}}) {
        EXPECT_FALSE(EncodeJpeg(pixels, 3 * 16384 + 3, bad, 75));
    }
    EXPECT_FALSE(DecodeJpeg({}));
    EXPECT_FALSE(DecodeJpeg(picture.pixels));
    const auto whole = Coded(picture, 75);
    for (std::size_t length = 0; length + 2 < whole.size(); ++length) {
        const GuardedPlane cut(length + 1, Against::kUpperGuard);
        std::copy_n(whole.data(), length + 1, cut.Data());
        EXPECT_FALSE(DecodeJpeg({cut.Data(), length + 1})) << length;
    }
    // A header that claims more pixels than anybody draws: the size stands behind the marker of the frame.
    auto huge = whole;
    for (std::size_t index = 0; index + 8 < huge.size(); ++index) {
        if (huge[index] == 0xFF && huge[index + 1] == 0xC0) {
            std::fill_n(huge.begin() + static_cast<std::ptrdiff_t>(index) + 5, 4, Ipp8u{0x3F});
        }
    }
    ASSERT_NE(huge, whole);
    EXPECT_FALSE(DecodeJpeg(huge));
}

}  // namespace
