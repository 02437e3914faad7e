#pragma once

#include <array>
#include <string>
#include <vector>

#include "GuardedPlane.h"
#include "platform/imaging/IppTypes.h"

namespace qrn::test {

enum class Layout { kYuy2, kUyvy, kYvyu, kNv12, kI420, kYv12, kI422, kI411, kBgr24, kBgr32, kBgr565, kBgr555, kBgr444 };

bool IsBgr(Layout layout);
int PlaneCount(Layout layout);

/// How bytes are laid out beyond what the layout says.
struct Placing {
    Against side = Against::kUpperGuard;
    int padding = 0;  ///< bytes between rows
};

enum class Content { kRandom, kExtremes, kGradient };

/// A picture in guarded memory of exactly the size that its layout needs, and access to its samples by meaning.
class TestPicture {
public:
    TestPicture(Layout layout, IppiSize size, Placing placing);

    void Fill(Content content, unsigned seed);
    /// Every byte, those between rows too.
    void FillWith(Ipp8u value);

    [[nodiscard]] IppiSize Size() const { return m_size; }
    [[nodiscard]] Layout GetLayout() const { return m_layout; }
    Ipp8u* const* Planes() const { return m_pointers.data(); }
    const int* Steps() const { return m_steps.data(); }
    [[nodiscard]] int RowBytes(int plane) const { return m_rowBytes[static_cast<std::size_t>(plane)]; }
    [[nodiscard]] int Rows(int plane) const { return m_rows[static_cast<std::size_t>(plane)]; }

    /// Pixels that one sample of chroma stands for.
    [[nodiscard]] int ChromaColumns() const;
    [[nodiscard]] int ChromaRows() const;

    /// @param component  0 luma, 1 Cb, 2 Cr, with the place of the sample among those of its kind.
    [[nodiscard]] int Ycc(int component, int column, int row) const;
    /// @param component  0 blue, 1 green, 2 red, 3 the fourth byte; fewer bits are spread over 8 as displays do.
    [[nodiscard]] int Bgr(int component, int column, int row) const;
    /// How far above Bgr's cut-off value the value may lie: 0 for 8 bits.
    [[nodiscard]] int LostRange(int component) const;
    /// The bits of a 16-bit pixel that have no colour.
    [[nodiscard]] int SpareBits(int column, int row) const;
    /// With the lost bits 0.
    [[nodiscard]] int BgrFloor(int component, int column, int row) const;

    /// True when every byte between rows still has this value.
    [[nodiscard]] bool PaddingIs(Ipp8u value) const;
    [[nodiscard]] std::vector<Ipp8u> Bytes() const;

private:
    [[nodiscard]] const Ipp8u* At(int plane, int row) const;
    [[nodiscard]] int Word(int column, int row) const;

    Layout m_layout;
    IppiSize m_size;
    int m_padding;
    std::vector<GuardedPlane> m_memory;
    std::array<Ipp8u*, 3> m_pointers{};
    std::array<int, 3> m_steps{};
    std::array<int, 3> m_rowBytes{};
    std::array<int, 3> m_rows{};
};

}  // namespace qrn::test
