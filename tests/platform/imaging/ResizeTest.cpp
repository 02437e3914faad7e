#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <random>
#include <string>
#include <vector>

#include "GuardedPlane.h"
#include "platform/imaging/IppResize.h"

namespace {

using qrn::test::Against;
using qrn::test::GuardedPlane;

/// A resize of any kind of samples, with plain numbers for them.
struct ResizeCase {
    const char* name;
    int channels;
    int sampleBytes;
    int interpolation;
    double tolerance;
};

template <class Sample, auto C1, auto C3, auto C4>
IppStatus Choose(int channels, const Ipp8u* source, IppiSize from, int sourceStep, IppiRect rect, Ipp8u* destination,
                 int destinationStep, IppiSize to, double x, double y, int interpolation) {
    const auto call = channels == 1 ? C1 : channels == 3 ? C3 : C4;
    return call(reinterpret_cast<const Sample*>(source), from, sourceStep, rect, reinterpret_cast<Sample*>(destination),
                destinationStep, to, x, y, interpolation);
}

double Kernel(int interpolation, double distance) {
    const double x = std::abs(distance);
    switch (interpolation) {
        case IPPI_INTER_LINEAR:
            return std::max(0.0, 1 - x);
        case IPPI_INTER_CUBIC:
            return x < 1 ? 1.5 * x * x * x - 2.5 * x * x + 1 : x < 2 ? -0.5 * x * x * x + 2.5 * x * x - 4 * x + 2 : 0;
        default: {
            const double angle = std::numbers::pi * x;
            return x >= 3 ? 0 : x < 1e-12 ? 1 : std::sin(angle) / angle * std::sin(angle / 3) / (angle / 3);
        }
    }
}

/// Weights of all source samples for one new sample.
std::vector<double> Weights(const ResizeCase& row, int from, int to, int index) {
    std::vector<double> weights(static_cast<std::size_t>(from), 0.0);
    const double ratio = static_cast<double>(from) / to;
    const double centre = (index + 0.5) * ratio - 0.5;
    double sum = 0;
    for (int sample = -4; sample < from + 4; ++sample) {
        double weight = 0;
        if (row.interpolation == IPPI_INTER_NN) {
            weight = sample == static_cast<int>(std::floor((index + 0.5) * ratio)) ? 1 : 0;
        } else if (row.interpolation == IPPI_INTER_SUPER) {
            weight =
                std::max(0.0, std::min(sample + 1.0, (index + 1) * ratio) - std::max<double>(sample, index * ratio));
        } else {
            weight = Kernel(row.interpolation, sample - centre);
        }
        weights[static_cast<std::size_t>(std::clamp(sample, 0, from - 1))] += weight;
        sum += weight;
    }
    for (double& weight : weights) {
        weight /= sum;
    }
    return weights;
}

class ResizeTest : public testing::TestWithParam<ResizeCase> {
protected:
    static int Sample(const GuardedPlane& plane, std::size_t index) {
        const Ipp8u* bytes = plane.Data() + index * static_cast<std::size_t>(GetParam().sampleBytes);
        return GetParam().sampleBytes == 1 ? *bytes : bytes[0] | (bytes[1] << 8);
    }

    static IppStatus Run(const Ipp8u* source, IppiSize from, int sourceStep, IppiRect rect, Ipp8u* destination,
                         int destinationStep, IppiSize to, double x, double y) {
        const ResizeCase& row = GetParam();
        const auto choose = row.sampleBytes == 1
                                ? Choose<Ipp8u, ippiResize_8u_C1R, ippiResize_8u_C3R, ippiResize_8u_C4R>
                                : Choose<Ipp16u, ippiResize_16u_C1R, ippiResize_16u_C3R, ippiResize_16u_C4R>;
        return choose(row.channels, source, from, sourceStep, rect, destination, destinationStep, to, x, y,
                      row.interpolation);
    }

    static void Check(IppiSize from, IppiSize to, Against side) {
        const ResizeCase& row = GetParam();
        SCOPED_TRACE(std::to_string(from.width) + "x" + std::to_string(from.height) + " to " +
                     std::to_string(to.width) + "x" + std::to_string(to.height));
        const int pixel = row.channels * row.sampleBytes;
        GuardedPlane source(static_cast<std::size_t>(from.width * from.height * pixel), side);
        GuardedPlane result(static_cast<std::size_t>(to.width * to.height * pixel), side);
        std::minstd_rand random(5);
        std::generate_n(source.Data(), from.width * from.height * pixel,
                        [&] { return static_cast<Ipp8u>(random() >> 9); });
        ASSERT_EQ(Run(source.Data(), from, from.width * pixel, {0, 0, from.width, from.height}, result.Data(),
                      to.width * pixel, to, static_cast<double>(to.width) / from.width,
                      static_cast<double>(to.height) / from.height),
                  ippStsNoErr);
        double worst = 0;
        for (int y = 0; y < to.height; ++y) {
            const auto down = Weights(row, from.height, to.height, y);
            for (int x = 0; x < to.width; ++x) {
                const auto across = Weights(row, from.width, to.width, x);
                for (int channel = 0; channel < row.channels; ++channel) {
                    worst = std::max(worst, std::abs(Exact(source, from, across, down, channel) -
                                                     Sample(result, static_cast<std::size_t>(
                                                                        (y * to.width + x) * row.channels + channel))));
                }
            }
        }
        EXPECT_LE(worst, row.tolerance);
    }

    static double Exact(const GuardedPlane& source, IppiSize from, const std::vector<double>& across,
                        const std::vector<double>& down, int channel) {
        const ResizeCase& row = GetParam();
        double sum = 0;
        for (std::size_t y = 0; y < down.size(); ++y) {
            for (std::size_t x = 0; x < across.size() && down[y] != 0; ++x) {
                if (across[x] != 0) {
                    const std::size_t index =
                        (y * static_cast<std::size_t>(from.width) + x) * static_cast<std::size_t>(row.channels) +
                        static_cast<std::size_t>(channel);
                    sum += down[y] * across[x] * Sample(source, index);
                }
            }
        }
        return std::clamp(sum, 0.0, row.sampleBytes == 1 ? 255.0 : 65535.0);
    }
};

TEST_P(ResizeTest, FollowsItsKernel) {
    for (const auto& [from, to] : {std::pair{IppiSize{40, 30}, IppiSize{20, 15}},
                                   {{40, 30}, {56, 42}},
                                   {{33, 17}, {20, 31}},
                                   {{5, 7}, {31, 3}},
                                   {{1, 1}, {4, 4}},
                                   {{3, 2}, {1, 1}},
                                   {{65, 9}, {16, 4}},
                                   {{16, 20}, {96, 12}},
                                   {{150, 5}, {100, 8}},
                                   {{15, 8}, {40, 8}},
                                   {{24, 8}, {24, 8}},
                                   {{24, 8}, {24, 16}},
                                   {{24, 18}, {24, 7}}}) {
        Check(from, to, Against::kUpperGuard);
        Check(from, to, Against::kLowerGuard);
    }
}

TEST_P(ResizeTest, CutsToWhatIsThere) {
    const ResizeCase& row = GetParam();
    const int pixel = row.channels * row.sampleBytes;
    const IppiSize from = {8, 8};
    std::vector<Ipp8u> source(static_cast<std::size_t>(64 * pixel), 0x77);
    std::vector<Ipp8u> result(static_cast<std::size_t>(36 * pixel), 0);
    // Six by six of the source lie in the rectangle, three by three come of them, and the rest of six by six stays.
    ASSERT_EQ(Run(source.data(), from, 8 * pixel, {2, 2, 20, 20}, result.data(), 6 * pixel, {6, 6}, 0.5, 0.5),
              ippStsNoErr);
    for (int y = 0; y < 6; ++y) {
        for (int byte = 0; byte < 6 * pixel; ++byte) {
            EXPECT_EQ(result[static_cast<std::size_t>(y * 6 * pixel + byte)], y < 3 && byte < 3 * pixel ? 0x77 : 0);
        }
    }
    // More than the destination holds is cut off.
    EXPECT_EQ(Run(source.data(), from, 8 * pixel, {0, 0, 8, 8}, result.data(), 6 * pixel, {6, 6}, 9.0, 9.0),
              ippStsNoErr);
    const auto answer = [&](IppiRect rect, double factor) {
        return Run(source.data(), from, 8 * pixel, rect, result.data(), 6 * pixel, {6, 6}, factor, factor);
    };
    constexpr int kFar = std::numeric_limits<int>::max();
    for (const IppiRect& rect :
         {IppiRect{8, 0, 2, 2}, {0, 0, 0, 4}, {-4, 0, 4, 4}, {kFar, 0, kFar, 4}, {0, 0, 4, -kFar}}) {
        EXPECT_EQ(answer(rect, 1.0), ippStsSizeErr);
    }
    for (const double factor : {0.0, -1.0, 0.01, std::numeric_limits<double>::quiet_NaN()}) {
        EXPECT_EQ(answer({0, 0, 8, 8}, factor), ippStsResizeFactorErr) << factor;
    }
    EXPECT_EQ(answer({0, 0, 8, 8}, std::numeric_limits<double>::infinity()), ippStsNoErr);
}

TEST_P(ResizeTest, RefusesBadArguments) {
    const int pixel = GetParam().channels * GetParam().sampleBytes;
    std::vector<Ipp8u> bytes(static_cast<std::size_t>(16 * pixel), 0);
    std::vector<Ipp8u> out(bytes.size(), 0);
    const auto run = [&](const Ipp8u* source, IppiSize from, int fromStep, Ipp8u* to, IppiSize toSize, int toStep) {
        return Run(source, from, fromStep, {0, 0, 4, 4}, to, toStep, toSize, 1, 1);
    };
    EXPECT_EQ(run(nullptr, {4, 4}, 4 * pixel, out.data(), {4, 4}, 4 * pixel), ippStsNullPtrErr);
    EXPECT_EQ(run(bytes.data(), {0, 4}, 4 * pixel, nullptr, {4, 4}, 4 * pixel), ippStsNullPtrErr);
    EXPECT_EQ(run(bytes.data(), {4, 0}, 4 * pixel, out.data(), {4, 4}, 4 * pixel), ippStsSizeErr);
    EXPECT_EQ(run(bytes.data(), {4, 4}, 4 * pixel, out.data(), {kIppMaxSide + 1, 4}, 4 * pixel), ippStsSizeErr);
    EXPECT_EQ(run(bytes.data(), {4, 4}, 4 * pixel - 1, out.data(), {4, 4}, 4 * pixel), ippStsStepErr);
    EXPECT_EQ(run(bytes.data(), {4, 4}, 4 * pixel, out.data(), {4, 4}, 4 * pixel - 1), ippStsStepErr);
}

INSTANTIATE_TEST_SUITE_P(Kinds, ResizeTest,
                         testing::Values(ResizeCase{"NearestC1", 1, 1, IPPI_INTER_NN, 0},
                                         ResizeCase{"NearestC3", 3, 1, IPPI_INTER_NN, 0},
                                         ResizeCase{"NearestC4", 4, 1, IPPI_INTER_NN, 0},
                                         ResizeCase{"LinearC1", 1, 1, IPPI_INTER_LINEAR, 0.55},
                                         ResizeCase{"LinearC3", 3, 1, IPPI_INTER_LINEAR, 0.51},
                                         ResizeCase{"LinearC4", 4, 1, IPPI_INTER_LINEAR, 0.51},
                                         ResizeCase{"CubicC1", 1, 1, IPPI_INTER_CUBIC, 0.51},
                                         ResizeCase{"SuperC1", 1, 1, IPPI_INTER_SUPER, 0.51},
                                         ResizeCase{"LanczosC3", 3, 1, IPPI_INTER_LANCZOS, 0.51},
                                         ResizeCase{"LinearC1Words", 1, 2, IPPI_INTER_LINEAR, 0.6},
                                         ResizeCase{"CubicC3Words", 3, 2, IPPI_INTER_CUBIC, 0.6},
                                         ResizeCase{"SuperC4Words", 4, 2, IPPI_INTER_SUPER, 0.6}),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(ResizeInterpolation, RefusesWhatItDoesNotKnow) {
    std::vector<Ipp8u> bytes(16, 0);
    std::vector<Ipp8u> out(16, 0);
    for (const int interpolation : {0, 3, 32, -1}) {
        EXPECT_EQ(ippiResize_8u_C1R(bytes.data(), {4, 4}, 4, {0, 0, 4, 4}, out.data(), 4, {4, 4}, 1, 1, interpolation),
                  ippStsInterpolationErr);
        EXPECT_EQ(
            ippiResizeYUV422_8u_C2R(bytes.data(), {2, 2}, 4, {0, 0, 2, 2}, out.data(), 4, {2, 2}, 1, 1, interpolation),
            ippStsInterpolationErr);
    }
}

// Each of the three planes in a packed picture keeps its own value, at odd sizes too.
TEST(ResizePacked422, ResizesThePlanesApart) {
    for (const auto& [from, to] :
         {std::pair{IppiSize{16, 8}, IppiSize{8, 4}}, {{7, 5}, {21, 9}}, {{640, 2}, {333, 7}}}) {
        const auto bytesOf = [](IppiSize size) {
            return static_cast<std::size_t>((size.width + 1) / 2 * 4 * size.height);
        };
        for (const Against side : {Against::kLowerGuard, Against::kUpperGuard}) {
            GuardedPlane source(bytesOf(from), side);
            GuardedPlane result(bytesOf(to), side);
            constexpr Ipp8u kGroup[] = {50, 100, 50, 200};
            for (std::size_t index = 0; index < bytesOf(from); ++index) {
                source.Data()[index] = kGroup[index % 4];
            }
            const int fromStep = (from.width + 1) / 2 * 4;
            const int toStep = (to.width + 1) / 2 * 4;
            const double x = static_cast<double>(to.width) / from.width;
            const double y = static_cast<double>(to.height) / from.height;
            const IppiRect whole = {0, 0, from.width, from.height};
            ASSERT_EQ(ippiResizeYUV422_8u_C2R(source.Data(), from, fromStep, whole, result.Data(), toStep, to, x, y,
                                              IPPI_INTER_LINEAR),
                      ippStsNoErr);
            for (std::size_t index = 0; index < bytesOf(to); ++index) {
                // The second luma of a last group that only half a pair needs has no meaning.
                const bool spare = to.width % 2 != 0 &&
                                   index % static_cast<std::size_t>(toStep) == static_cast<std::size_t>(toStep - 2);
                if (!spare) {
                    ASSERT_EQ(result.Data()[index], kGroup[index % 4]) << index;
                }
            }
            EXPECT_EQ(ippiResizeYUV422_8u_C2R(source.Data(), from, fromStep, {1, 0, 4, 2}, result.Data(), toStep, to, 1,
                                              1, IPPI_INTER_LINEAR),
                      ippStsSizeErr);
            EXPECT_EQ(ippiResizeYUV422_8u_C2R(source.Data(), from, fromStep - 1, whole, result.Data(), toStep, to, x, y,
                                              IPPI_INTER_LINEAR),
                      ippStsStepErr);
            EXPECT_EQ(ippiResizeYUV422_8u_C2R(nullptr, from, fromStep, whole, result.Data(), toStep, to, x, y,
                                              IPPI_INTER_LINEAR),
                      ippStsNullPtrErr);
        }
    }
}

}  // namespace
