#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <random>
#include <string>
#include <vector>

#include "GuardedPlane.h"
#include "platform/imaging/IppDeinterlace.h"
#include "platform/imaging/IppPlane.h"

namespace {

using qrn::test::Against;
using qrn::test::GuardedPlane;

/// A plane between faulting pages with no byte behind its last row.
class Plane {
public:
    Plane(IppiSize size, int pixelBytes, int padding, Against side)
        : m_size(size),
          m_rowBytes(size.width * pixelBytes),
          m_step(m_rowBytes + padding),
          m_memory(static_cast<std::size_t>(m_step * (size.height - 1) + m_rowBytes), side) {}

    void Fill(unsigned seed) {
        std::minstd_rand random(seed);
        std::generate_n(Data(), m_step * (m_size.height - 1) + m_rowBytes,
                        [&] { return static_cast<Ipp8u>(random() >> 9); });
    }
    [[nodiscard]] Ipp8u* Data() const { return m_memory.Data(); }
    [[nodiscard]] int Step() const { return m_step; }
    [[nodiscard]] int At(int byte, int row) const { return Data()[m_step * row + byte]; }
    [[nodiscard]] std::vector<Ipp8u> AllBytes() const {
        return {Data(), Data() + m_step * (m_size.height - 1) + m_rowBytes};
    }

private:
    IppiSize m_size;
    int m_rowBytes;
    int m_step;
    GuardedPlane m_memory;
};

struct Frame {
    IppiSize size;
    int padding;
    Against side;
};

std::vector<Frame> Frames() {
    std::vector<Frame> frames;
    for (const IppiSize size : {IppiSize{1, 1}, {1, 4}, {2, 2}, {7, 5}, {33, 2}, {67, 9}, {1500, 3}}) {
        frames.push_back({size, 0, Against::kUpperGuard});
        frames.push_back({size, 5, Against::kLowerGuard});
    }
    return frames;
}

struct MirrorCase {
    const char* name;
    int pixelBytes;
    IppStatus (*mirror)(Ipp8u*, int, IppiSize, IppiAxis);
};
class MirrorTest : public testing::TestWithParam<MirrorCase> {};

TEST_P(MirrorTest, TurnsInPlace) {
    const auto [name, bytes, mirror] = GetParam();
    for (const Frame& frame : Frames()) {
        for (const IppiAxis axis : {ippAxsHorizontal, ippAxsVertical, ippAxsBoth}) {
            Plane plane(frame.size, bytes, frame.padding, frame.side);
            plane.Fill(7);
            auto expected = plane.AllBytes();
            for (int row = 0; row < frame.size.height; ++row) {
                for (int column = 0; column < frame.size.width; ++column) {
                    const int fromRow = axis == ippAxsVertical ? row : frame.size.height - 1 - row;
                    const int fromColumn = axis == ippAxsHorizontal ? column : frame.size.width - 1 - column;
                    for (int byte = 0; byte < bytes; ++byte) {
                        expected[static_cast<std::size_t>(plane.Step() * row + column * bytes + byte)] =
                            static_cast<Ipp8u>(plane.At(fromColumn * bytes + byte, fromRow));
                    }
                }
            }
            ASSERT_EQ(mirror(plane.Data(), plane.Step(), frame.size, axis), ippStsNoErr);
            EXPECT_EQ(plane.AllBytes(), expected)
                << name << frame.size.width << "x" << frame.size.height << " " << axis;
        }
    }
    std::array<Ipp8u, 16> pixels{};
    const int step = 2 * bytes;
    EXPECT_EQ(mirror(nullptr, step, {2, 2}, ippAxsBoth), ippStsNullPtrErr);
    EXPECT_EQ(mirror(pixels.data(), step, {2, 0}, ippAxsBoth), ippStsSizeErr);
    EXPECT_EQ(mirror(pixels.data(), step - 1, {2, 2}, ippAxsBoth), ippStsStepErr);
    EXPECT_EQ(mirror(pixels.data(), step, {2, 2}, static_cast<IppiAxis>(3)), ippStsMirrorFlipErr);
}

INSTANTIATE_TEST_SUITE_P(Pixels, MirrorTest,
                         testing::Values(MirrorCase{"C1", 1, ippiMirror_8u_C1IR},
                                         MirrorCase{"C3", 3, ippiMirror_8u_C3IR},
                                         MirrorCase{"C4", 4, ippiMirror_8u_C4IR}),
                         [](const auto& row) { return std::string(row.param.name); });

IppStatus CopyWords(const Ipp8u* source, int sourceStep, Ipp8u* destination, int destinationStep, IppiSize size) {
    return ippiCopy_16s_C1R(reinterpret_cast<const Ipp16s*>(source), sourceStep, reinterpret_cast<Ipp16s*>(destination),
                            destinationStep, size);
}

// The kernels of one plane to another, as bytes of a row at a time; what each makes is told by `expected`.
struct PlaneCase {
    const char* name;
    int pixelBytes;
    IppStatus (*run)(const Ipp8u*, int, Ipp8u*, int, IppiSize);
    int (*expected)(const Plane& source, IppiSize size, int byte, int row);
};

int Same(const Plane& source, IppiSize /*size*/, int byte, int row) {
    return source.At(byte, row);
}

template <int Weight>
int Triangle(const Plane& source, IppiSize size, int byte, int row) {
    if (row == 0 || row == size.height - 1) {
        return source.At(byte, row);
    }
    const int side = (256 - Weight) / 2;
    const int sum =
        side * (source.At(byte, row - 1) + source.At(byte, row + 1)) + (256 - 2 * side) * source.At(byte, row);
    return (sum + 128) / 256;
}

/// Rows above and below an odd one.
std::array<int, 2> Around(IppiSize size, int row) {
    return {row - 1, row + 1 < size.height ? row + 1 : row - 1};
}

constexpr int kThreshold = 20;

int MedianOf(const Plane& source, IppiSize size, int byte, int row) {
    const auto [above, below] = Around(size, row);
    std::array<int, 3> values = {source.At(byte, above), source.At(byte, row), source.At(byte, below)};
    std::sort(values.begin(), values.end());
    return values[1];
}

int MedianThreshold(const Plane& source, IppiSize size, int byte, int row) {
    const int own = source.At(byte, row);
    return row % 2 == 0 || std::abs(own - MedianOf(source, size, byte, row)) <= kThreshold
               ? own
               : MedianOf(source, size, byte, row);
}

int Edge(const Plane& source, IppiSize size, int byte, int row) {
    const int own = source.At(byte, row);
    const auto [above, below] = Around(size, row);
    if (row % 2 == 0 || std::abs(own - (source.At(byte, above) + source.At(byte, below) + 1) / 2) <= kThreshold) {
        return own;
    }
    int mean = -1;
    int least = 256;
    for (const int slope : {0, -1, 1}) {
        if (slope != 0 && (byte == 0 || byte == size.width - 1)) {
            continue;
        }
        const int upper = source.At(byte + slope, above);
        const int lower = source.At(byte - slope, below);
        if (std::abs(upper - lower) < least) {
            least = std::abs(upper - lower);
            mean = (upper + lower + 1) / 2;
        }
    }
    return mean;
}

int Adaptive(const Plane& source, IppiSize size, int byte, int row) {
    const int own = source.At(byte, row);
    if (row % 2 == 0) {
        return own;
    }
    const auto [above, below] = Around(size, row);
    const int upper = source.At(byte, above);
    const int lower = source.At(byte, below);
    const int limit = std::max(kThreshold, std::abs(upper - lower));
    if (std::abs(own - (upper + lower + 1) / 2) <= limit) {
        return own;
    }
    const int farUpper = source.At(byte, std::max(row - 3, 0));
    const int farLower = source.At(byte, row + 3 < size.height ? row + 3 : below);
    return std::clamp((9 * (upper + lower) - farUpper - farLower + 8) >> 4, 0, 255);
}

template <int Weight>
IppStatus RunTriangle(const Ipp8u* source, int sourceStep, Ipp8u* destination, int destinationStep, IppiSize size) {
    return ippiDeinterlaceFilterTriangle_8u_C1R(source, sourceStep, destination, destinationStep, size, Weight, 0x15);
}

template <IppStatus (*Deinterlace)(const Ipp8u*, int, Ipp8u*, int, IppiSize, int)>
IppStatus WithThreshold(const Ipp8u* source, int sourceStep, Ipp8u* destination, int destinationStep, IppiSize size) {
    return Deinterlace(source, sourceStep, destination, destinationStep, size, kThreshold);
}

class PlaneTest : public testing::TestWithParam<PlaneCase> {};

TEST_P(PlaneTest, MakesWhatItSays) {
    const PlaneCase& row = GetParam();
    for (const Frame& frame : Frames()) {
        Plane source(frame.size, row.pixelBytes, frame.padding, frame.side);
        Plane result(frame.size, row.pixelBytes, frame.padding, frame.side);
        source.Fill(3);
        result.Fill(4);
        auto expected = result.AllBytes();
        for (int y = 0; y < frame.size.height; ++y) {
            for (int byte = 0; byte < frame.size.width * row.pixelBytes; ++byte) {
                expected[static_cast<std::size_t>(result.Step() * y + byte)] =
                    static_cast<Ipp8u>(row.expected(source, frame.size, byte, y));
            }
        }
        ASSERT_EQ(row.run(source.Data(), source.Step(), result.Data(), result.Step(), frame.size), ippStsNoErr);
        EXPECT_EQ(result.AllBytes(), expected) << frame.size.width << "x" << frame.size.height;
    }
}

TEST_P(PlaneTest, RefusesBadArguments) {
    const PlaneCase& row = GetParam();
    alignas(2) std::array<Ipp8u, 64> from{};
    alignas(2) std::array<Ipp8u, 64> to{};
    const int step = 4 * row.pixelBytes;
    EXPECT_EQ(row.run(nullptr, step, to.data(), step, {4, 4}), ippStsNullPtrErr);
    EXPECT_EQ(row.run(from.data(), step, nullptr, step, {4, 4}), ippStsNullPtrErr);
    EXPECT_EQ(row.run(from.data(), step, to.data(), step, {0, 4}), ippStsSizeErr);
    EXPECT_EQ(row.run(from.data(), step, to.data(), step, {4, -4}), ippStsSizeErr);
    EXPECT_EQ(row.run(from.data(), step - 1, to.data(), step, {4, 4}), ippStsStepErr);
    EXPECT_EQ(row.run(from.data(), step, to.data(), step - 1, {4, 4}), ippStsStepErr);
}

INSTANTIATE_TEST_SUITE_P(
    Operations, PlaneTest,
    testing::Values(PlaneCase{"CopyBytes", 1, ippiCopy_8u_C1R, Same}, PlaneCase{"CopyWords", 2, CopyWords, Same},
                    PlaneCase{"TriangleHalf", 1, RunTriangle<128>, Triangle<128>},
                    PlaneCase{"TriangleOdd", 1, RunTriangle<85>, Triangle<85>},
                    PlaneCase{"TriangleNone", 1, RunTriangle<256>, Triangle<256>},
                    PlaneCase{"TriangleSides", 1, RunTriangle<0>, Triangle<0>},
                    PlaneCase{"EdgeDetect", 1, WithThreshold<ippiDeinterlaceEdgeDetect_8u_C1R>, Edge},
                    PlaneCase{"MedianThreshold", 1, WithThreshold<ippiDeinterlaceMedianThreshold_8u_C1R>,
                              MedianThreshold},
                    PlaneCase{"Adaptive", 1, WithThreshold<ippiDeinterlaceFilterCAVT_8u_C1R>, Adaptive}),
    [](const auto& row) { return std::string(row.param.name); });

// A slice from the middle of a picture takes the rows around it into account, and a wrong weight or layout is told.
TEST(TriangleLayout, FollowsTheSlice) {
    Plane whole({37, 9}, 1, 3, Against::kUpperGuard);
    whole.Fill(9);
    Plane result({37, 3}, 1, 0, Against::kUpperGuard);
    const Ipp8u* middle = whole.Data() + 3 * whole.Step();
    const auto run = [&](int weight, int layout) {
        return ippiDeinterlaceFilterTriangle_8u_C1R(middle, whole.Step(), result.Data(), result.Step(), {37, 3}, weight,
                                                    layout);
    };
    ASSERT_EQ(run(128, IPP_CENTER), ippStsNoErr);
    for (int row = 0; row < 3; ++row) {
        for (int column = 0; column < 37; ++column) {
            EXPECT_EQ(result.At(column, row), Triangle<128>(whole, {37, 9}, column, row + 3));
        }
    }
    for (const auto& [weight, layout] : {std::pair{-1, 0x15}, {257, 0x15}, {128, 0}, {128, 2}}) {
        EXPECT_EQ(run(weight, layout), ippStsBadArgErr) << weight << " " << layout;
    }
}

TEST(MedianOfPlanes, TakesTheMiddleValue) {
    const IppiSize size = {61, 4};
    std::vector<Plane> planes;
    std::array<const Ipp8u*, 3> sources{};
    for (unsigned index = 0; index < 3; ++index) {
        planes.emplace_back(size, 1, 0, Against::kUpperGuard);
        planes.back().Fill(index + 20);
        sources[index] = planes.back().Data();
    }
    Plane result(size, 1, 2, Against::kUpperGuard);
    ASSERT_EQ(ippiMedian_8u_P3C1R(sources.data(), 61, result.Data(), result.Step(), size), ippStsNoErr);
    for (int row = 0; row < size.height; ++row) {
        for (int column = 0; column < size.width; ++column) {
            std::array<int, 3> values = {planes[0].At(column, row), planes[1].At(column, row),
                                         planes[2].At(column, row)};
            std::sort(values.begin(), values.end());
            EXPECT_EQ(result.At(column, row), values[1]);
        }
    }
    EXPECT_EQ(ippiMedian_8u_P3C1R(nullptr, 61, result.Data(), result.Step(), size), ippStsNullPtrErr);
    EXPECT_EQ(ippiMedian_8u_P3C1R(sources.data(), 60, result.Data(), result.Step(), size), ippStsStepErr);
    EXPECT_EQ(ippiMedian_8u_P3C1R(sources.data(), 61, result.Data(), result.Step(), {61, 0}), ippStsSizeErr);
    sources[1] = nullptr;
    EXPECT_EQ(ippiMedian_8u_P3C1R(sources.data(), 61, result.Data(), result.Step(), size), ippStsNullPtrErr);
    EXPECT_EQ(ippiDeinterlaceEdgeDetect_8u_C1R(planes[0].Data(), 61, result.Data(), result.Step(), size, 256),
              ippStsBadArgErr);
}

}  // namespace
