#include "platform/imaging/RowKernels.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "GuardedPlane.h"

namespace {

using qrn::RowKernels;
using qrn::test::Against;
using qrn::test::GuardedPlane;

constexpr int kMaxWidth = 140;

/// Rows of random bytes that end where nobody may touch, and one row that is made.
class Rows {
public:
    explicit Rows(int width) : m_width(width) {}

    template <class Sample = Ipp8u>
    const Sample* From(int samples) {
        GuardedPlane& plane = m_from.emplace_back(sizeof(Sample) * static_cast<std::size_t>(samples), kSide);
        std::generate_n(plane.Data(), sizeof(Sample) * static_cast<std::size_t>(samples),
                        [&] { return static_cast<Ipp8u>(m_random() >> 9); });
        return reinterpret_cast<const Sample*>(plane.Data());
    }
    Ipp8u* To(int bytes) {
        m_bytes.push_back(static_cast<std::size_t>(bytes));
        return m_to.emplace_back(m_bytes.back(), kSide).Data();
    }
    [[nodiscard]] int Width() const { return m_width; }
    [[nodiscard]] std::vector<Ipp8u> Made() const {
        std::vector<Ipp8u> all;
        for (std::size_t index = 0; index < m_to.size(); ++index) {
            all.insert(all.end(), m_to[index].Data(), m_to[index].Data() + m_bytes[index]);
        }
        return all;
    }

private:
    int m_width;
    static constexpr Against kSide = Against::kUpperGuard;
    std::minstd_rand m_random{11};
    std::vector<GuardedPlane> m_from;
    std::vector<GuardedPlane> m_to;
    std::vector<std::size_t> m_bytes;
};

struct KernelCase {
    std::string name;
    void (*run)(const RowKernels&, Rows&);
};

/// One row, and two that share their chroma.
template <qrn::BgrFormat Format, int PixelBytes>
void ToBgr(const RowKernels& kernels, Rows& rows) {
    constexpr auto kFormat = static_cast<int>(Format);
    const int half = (rows.Width() + 1) / 2;
    const auto to = [&] { return rows.To(PixelBytes * rows.Width()); };
    const qrn::YccRowPair pair = {{rows.From(rows.Width()), rows.From(rows.Width())}, rows.From(half), rows.From(half)};
    Ipp8u* const toRows[3] = {to(), to(), to()};
    kernels.pairToBgr[kFormat](pair, toRows, rows.Width(), qrn::kBt709ToBgr, 77);
    kernels.toBgr[kFormat]({{pair.luma[1]}, pair.cb, pair.cr}, toRows + 2, rows.Width(), qrn::kBt709ToBgr, 77);
}

void FineToBgr(const RowKernels& kernels, Rows& rows) {
    const qrn::FineYccRow from = {
        {rows.From(rows.Width())}, rows.From<std::uint16_t>(rows.Width()), rows.From<std::uint16_t>(rows.Width())};
    Ipp8u* const to = rows.To(4 * rows.Width());
    kernels.fineToBgr32(from, &to, rows.Width(), qrn::kBt601ToBgr, 78);
}

template <int PixelBytes>
void FromBgr(const RowKernels& kernels, Rows& rows) {
    const auto kernel = PixelBytes == 3 ? kernels.fromBgr24 : kernels.fromBgr32;
    const int half = (rows.Width() + 1) / 2;
    const Ipp8u* upper = rows.From(PixelBytes * rows.Width());
    const Ipp8u* lower = rows.From(PixelBytes * rows.Width());
    const qrn::YccRows to = {rows.To(rows.Width()), rows.To(rows.Width()), rows.To(half), rows.To(half)};
    kernel(upper, lower, to, rows.Width(), qrn::kBgrToBt709);
}

template <int Side>
void Triangle(const RowKernels& kernels, Rows& rows) {
    const Ipp8u* above = rows.From(rows.Width());
    const Ipp8u* row = rows.From(rows.Width());
    kernels.triangle(above, row, rows.From(rows.Width()), rows.To(rows.Width()), rows.Width(), Side, 256 - 2 * Side);
}

/// Two rows of bytes made wider or narrower, and rows of which they may be a part, one for each weight down.
/// @param Sixteenths  a sample's distance to the next one, in sixteenths of a source sample
template <int Sixteenths>
void Linear(const RowKernels& kernels, Rows& rows) {
    constexpr int kGroup = Sixteenths < 16 ? 2 * qrn::kWindowGroup : Sixteenths <= 32 ? qrn::kWindowGroup : 0;
    const int samples = (rows.Width() + qrn::kAcrossBlock - 1) / qrn::kAcrossBlock * qrn::kAcrossBlock;
    const int source = std::max(samples * Sixteenths / 16 + 2, qrn::kWindowBytes);
    const Ipp8u* const from[2] = {rows.From(source), rows.From(source)};
    const auto* random = rows.From<std::uint16_t>(samples);
    std::vector<std::int32_t> first;
    std::vector<std::int32_t> windows;
    std::vector<std::int16_t> weights;
    std::vector<Ipp8u> places;
    for (int column = 0; column < samples; ++column) {
        first.push_back(column * Sixteenths / 16);
        weights.push_back(static_cast<std::int16_t>(random[column] % 8 == 0 ? 0x7FFF : random[column] / 2));
        if (kGroup != 0 && column % kGroup == 0) {
            windows.push_back(std::min(first.back(), source - qrn::kWindowBytes));
        }
        for (int neighbour = 0; neighbour < 2 && kGroup != 0; ++neighbour) {
            places.push_back(static_cast<Ipp8u>(first.back() + neighbour - windows.back()));
        }
    }
    std::vector<std::int16_t> made[2] = {std::vector<std::int16_t>(static_cast<std::size_t>(samples)),
                                         std::vector<std::int16_t>(static_cast<std::size_t>(samples))};
    std::int16_t* const to[2] = {made[0].data(), made[1].data()};
    kernels.across(from, {first.data(), weights.data(), windows.data(), places.data(), kGroup}, to, samples);
    for (const int weight : {0, 12345, 0x4000, 0x7FFF}) {
        kernels.down(to[0], to[1], rows.To(rows.Width()), rows.Width(), weight);
    }
}

class RowKernelsTest : public testing::TestWithParam<KernelCase> {};

// All agree to the bit, at every remainder that a block can leave; the fastest is what the conversions are compared
// with their formulas by.
TEST_P(RowKernelsTest, AreTheSameOnEveryProcessor) {
    const auto available = qrn::AvailableRowKernels();
    for (int width = 1; width <= kMaxWidth; ++width) {
        Rows plain(width);
        GetParam().run(*available.front(), plain);
        for (const RowKernels* kernels : available.subspan(1)) {
            Rows made(width);
            GetParam().run(*kernels, made);
            ASSERT_EQ(made.Made(), plain.Made()) << kernels->name << " at " << width;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(All, RowKernelsTest,
                         testing::Values(KernelCase{"ToBgr32", ToBgr<qrn::BgrFormat::k32, 4>},
                                         KernelCase{"ToBgr24", ToBgr<qrn::BgrFormat::k24, 3>},
                                         KernelCase{"ToBgr565", ToBgr<qrn::BgrFormat::k565, 2>},
                                         KernelCase{"ToBgr555", ToBgr<qrn::BgrFormat::k555, 2>},
                                         KernelCase{"ToBgr444", ToBgr<qrn::BgrFormat::k444, 2>},
                                         KernelCase{"FineToBgr", FineToBgr}, KernelCase{"FromBgr32", FromBgr<4>},
                                         KernelCase{"FromBgr24", FromBgr<3>}, KernelCase{"TriangleHalf", Triangle<64>},
                                         KernelCase{"TriangleOdd", Triangle<85>}, KernelCase{"LinearWider", Linear<11>},
                                         KernelCase{"LinearNarrower", Linear<29>}, KernelCase{"LinearFar", Linear<70>}),
                         [](const auto& row) { return row.param.name; });

TEST(RowKernelsChoice, TakesTheLast) {
    EXPECT_EQ(&qrn::BestRowKernels(), qrn::AvailableRowKernels().back());
#ifdef __x86_64__
    EXPECT_STREQ(qrn::BestRowKernels().name, __builtin_cpu_supports("avx2") != 0 ? "AVX2" : "SSE2");
#endif
}

}  // namespace
