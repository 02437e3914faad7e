#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <string>

#include "Conversions.h"
#include "platform/imaging/IppBgrToYuv.h"
#include "platform/imaging/IppYuvToBgr.h"

namespace {

using namespace qrn::test;

constexpr Ipp8u kUntouched = 0xA7;

View ViewOf(const TestPicture& picture) {
    return {picture.Planes(), picture.Steps()};
}

/// The worst distance of any sample from what the formulas say, or -1 with a failure told.
class Comparison {
public:
    Comparison(const Conversion& conversion, const TestPicture& source, const TestPicture& result)
        : m_conversion(conversion),
          m_source(source),
          m_result(result) {}

    double Worst() {
        const bool bgr = IsBgr(m_result.GetLayout());
        const int components = m_result.GetLayout() == Layout::kBgr32 ? 4 : 3;
        for (int component = 0; component < components; ++component) {
            const bool halved = !bgr && component > 0;
            const int columns = halved ? m_result.ChromaColumns() : 1;
            const int rows = halved ? m_result.ChromaRows() : 1;
            for (int row = 0; row * rows < m_result.Size().height; ++row) {
                for (int column = 0; column * columns < m_result.Size().width; ++column) {
                    Look(bgr, component, column, row);
                }
            }
        }
        return m_worst;
    }

private:
    void Look(bool bgr, int component, int column, int row) {
        const double exact = ExactSample(m_conversion, m_source, m_result, component, column, row);
        double distance = 0;
        if (bgr) {
            const double floor = m_result.BgrFloor(component, column, row);
            const double ceiling = floor + m_result.LostRange(component);
            distance = std::max({0.0, floor - exact, exact - ceiling});
            EXPECT_EQ(m_result.SpareBits(column, row), 0);
        } else {
            distance = std::abs(m_result.Ycc(component, column, row) - exact);
        }
        m_worst = std::max(m_worst, distance);
    }

    const Conversion& m_conversion;
    const TestPicture& m_source;
    const TestPicture& m_result;
    double m_worst = 0;
};

class ConversionTest : public testing::TestWithParam<Conversion> {
protected:
    /// Converts and compares; what lies between the rows of the result must stay.
    static void Check(IppiSize size, Content content, Placing placing) {
        const Conversion& conversion = GetParam();
        SCOPED_TRACE(std::to_string(size.width) + "x" + std::to_string(size.height) + " content " +
                     std::to_string(static_cast<int>(content)) + " padding " + std::to_string(placing.padding));
        TestPicture source(conversion.from, size, placing);
        TestPicture result(conversion.to, size, placing);
        source.Fill(content, static_cast<unsigned>(size.width * 31 + size.height));
        result.FillWith(kUntouched);
        ASSERT_EQ(conversion.run(ViewOf(source), ViewOf(result), size), ippStsNoErr);
        EXPECT_LE(Comparison(conversion, source, result).Worst(), conversion.tolerance);
        EXPECT_TRUE(result.PaddingIs(kUntouched));
    }
};

TEST_P(ConversionTest, FollowsTheFormulas) {
    for (const Content content : {Content::kRandom, Content::kExtremes, Content::kGradient}) {
        for (const IppiSize size : {IppiSize{64, 34}, {333, 35}, {640, 16}, {1281, 5}}) {
            Check(size, content, {Against::kUpperGuard, 0});
            // Rows that begin at every alignment.
            Check(size, content, {Against::kLowerGuard, 13});
        }
    }
}

// Every remainder that a vector loop can leave, in planes with not a byte to spare.
TEST_P(ConversionTest, StaysInsideItsPlanesAtEveryWidth) {
    for (int width = 1; width <= 66; ++width) {
        for (int height = 1; height <= 4; ++height) {
            Check({width, height}, Content::kRandom, {Against::kUpperGuard, 0});
            Check({width, height}, Content::kRandom, {Against::kLowerGuard, 0});
        }
    }
}

TEST_P(ConversionTest, RefusesBadArguments) {
    const Conversion& conversion = GetParam();
    constexpr IppiSize kSize = {18, 6};
    TestPicture source(conversion.from, kSize, {});
    TestPicture result(conversion.to, kSize, {});
    source.Fill(Content::kRandom, 1);
    result.FillWith(kUntouched);
    const auto before = result.Bytes();
    const auto answer = [&](IppiSize size, std::array<Ipp8u*, 3> from, std::array<Ipp8u*, 3> to,
                            std::array<int, 3> fromSteps, std::array<int, 3> toSteps) {
        return conversion.run({from.data(), fromSteps.data()}, {to.data(), toSteps.data()}, size);
    };
    const auto three = [](const auto* values) { return std::to_array({values[0], values[1], values[2]}); };
    const auto from = three(source.Planes());
    const auto to = three(result.Planes());
    const auto fromSteps = three(source.Steps());
    const auto toSteps = three(result.Steps());

    for (const IppiSize bad :
         {IppiSize{0, 6}, {18, 0}, {-18, 6}, {18, -6}, {kIppMaxSide + 1, 1}, {1, kIppMaxSide + 1}}) {
        EXPECT_EQ(answer(bad, from, to, fromSteps, toSteps), ippStsSizeErr) << bad.width << "x" << bad.height;
    }
    const auto spoil = [](auto values, int index, auto value) {
        values[static_cast<std::size_t>(index)] = value;
        return values;
    };
    for (int plane = 0; plane < PlaneCount(conversion.from); ++plane) {
        EXPECT_EQ(answer(kSize, spoil(from, plane, static_cast<Ipp8u*>(nullptr)), to, fromSteps, toSteps),
                  ippStsNullPtrErr);
        EXPECT_EQ(answer(kSize, from, to, spoil(fromSteps, plane, source.RowBytes(plane) - 1), toSteps), ippStsStepErr);
        EXPECT_EQ(answer(kSize, from, to, spoil(fromSteps, plane, -100), toSteps), ippStsStepErr);
    }
    for (int plane = 0; plane < PlaneCount(conversion.to); ++plane) {
        EXPECT_EQ(answer(kSize, from, spoil(to, plane, static_cast<Ipp8u*>(nullptr)), fromSteps, toSteps),
                  ippStsNullPtrErr);
        EXPECT_EQ(answer(kSize, from, to, fromSteps, spoil(toSteps, plane, result.RowBytes(plane) - 1)), ippStsStepErr);
    }
    if (PlaneCount(conversion.from) > 1) {
        EXPECT_EQ(conversion.run({nullptr, source.Steps()}, ViewOf(result), kSize), ippStsNullPtrErr);
        EXPECT_EQ(conversion.run({source.Planes(), nullptr}, ViewOf(result), kSize), ippStsNullPtrErr);
    }
    if (PlaneCount(conversion.to) > 1) {
        EXPECT_EQ(conversion.run(ViewOf(source), {nullptr, result.Steps()}, kSize), ippStsNullPtrErr);
        EXPECT_EQ(conversion.run(ViewOf(source), {result.Planes(), nullptr}, kSize), ippStsNullPtrErr);
    }
    EXPECT_EQ(result.Bytes(), before);
}

INSTANTIATE_TEST_SUITE_P(All, ConversionTest, testing::ValuesIn(AllConversions()),
                         [](const auto& row) { return std::string(row.param.name); });

// Colours that stand for whole squares come back from 4:2:0 nearly as they were.
TEST(ColourRoundTrip, LosesLittle) {
    constexpr IppiSize kSize = {128, 64};
    TestPicture picture(Layout::kBgr24, kSize, {});
    TestPicture planes(Layout::kI420, kSize, {});
    TestPicture back(Layout::kBgr24, kSize, {});
    for (int row = 0; row < kSize.height; ++row) {
        for (int column = 0; column < kSize.width; ++column) {
            Ipp8u* pixel = picture.Planes()[0] + row * picture.Steps()[0] + 3 * column;
            pixel[0] = static_cast<Ipp8u>(4 * (column / 2));
            pixel[1] = static_cast<Ipp8u>(8 * (row / 2));
            pixel[2] = static_cast<Ipp8u>(2 * (column / 2 + row / 2));
        }
    }
    ASSERT_EQ(
        ippiBGRToYCbCr420_8u_C3P3R(picture.Planes()[0], picture.Steps()[0], planes.Planes(), planes.Steps(), kSize),
        ippStsNoErr);
    ASSERT_EQ(ippiYCbCr420ToBGR_8u_P3C3R(planes.Planes(), planes.Steps(), back.Planes()[0], back.Steps()[0], kSize),
              ippStsNoErr);
    const auto before = picture.Bytes();
    const auto after = back.Bytes();
    for (std::size_t index = 0; index < before.size(); ++index) {
        ASSERT_NEAR(before[index], after[index], 5) << index;
    }
}

}  // namespace
