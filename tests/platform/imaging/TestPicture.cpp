#include "TestPicture.h"

#include <cstring>
#include <random>

namespace qrn::test {
namespace {

int DivideUp(int value, int by) {
    return (value + by - 1) / by;
}

bool IsPacked(Layout layout) {
    return layout == Layout::kYuy2 || layout == Layout::kUyvy || layout == Layout::kYvyu;
}

int PixelBytes(Layout layout) {
    return layout == Layout::kBgr24 ? 3 : layout == Layout::kBgr32 ? 4 : 2;
}

/// Bits of blue, green and red in a 16-bit pixel, blue lowest.
std::array<int, 3> BitsOf(Layout layout) {
    switch (layout) {
        case Layout::kBgr565:
            return {5, 6, 5};
        case Layout::kBgr555:
            return {5, 5, 5};
        case Layout::kBgr444:
            return {4, 4, 4};
        default:
            return {8, 8, 8};
    }
}

bool HasWords(Layout layout) {
    return BitsOf(layout)[0] != 8;
}

}  // namespace

bool IsBgr(Layout layout) {
    return layout >= Layout::kBgr24;
}

int PlaneCount(Layout layout) {
    return IsBgr(layout) || IsPacked(layout) ? 1 : layout == Layout::kNv12 ? 2 : 3;
}

TestPicture::TestPicture(Layout layout, IppiSize size, Placing placing)
    : m_layout(layout),
      m_size(size),
      m_padding(placing.padding) {
    for (int plane = 0; plane < PlaneCount(layout); ++plane) {
        const auto index = static_cast<std::size_t>(plane);
        const int chromaWidth = DivideUp(size.width, ChromaColumns());
        m_rowBytes[index] = IsPacked(layout)            ? 4 * chromaWidth
                            : IsBgr(layout)             ? PixelBytes(layout) * size.width
                            : plane == 0                ? size.width
                            : m_layout == Layout::kNv12 ? 2 * chromaWidth
                                                        : chromaWidth;
        m_rows[index] = plane == 0 ? size.height : DivideUp(size.height, ChromaRows());
        m_steps[index] = m_rowBytes[index] + placing.padding;
        const int bytes = m_steps[index] * (m_rows[index] - 1) + m_rowBytes[index];
        m_memory.emplace_back(static_cast<std::size_t>(bytes), placing.side);
        m_pointers[index] = m_memory.back().Data();
    }
}

void TestPicture::FillWith(Ipp8u value) {
    for (int plane = 0; plane < PlaneCount(m_layout); ++plane) {
        const auto bytes = m_steps[static_cast<std::size_t>(plane)] * (Rows(plane) - 1) + RowBytes(plane);
        std::memset(m_pointers[static_cast<std::size_t>(plane)], value, static_cast<std::size_t>(bytes));
    }
}

void TestPicture::Fill(Content content, unsigned seed) {
    std::minstd_rand random(seed);
    for (int plane = 0; plane < PlaneCount(m_layout); ++plane) {
        for (int row = 0; row < Rows(plane); ++row) {
            auto* bytes = const_cast<Ipp8u*>(At(plane, row));
            for (int column = 0; column < RowBytes(plane); ++column) {
                const auto drawn = static_cast<unsigned>(random() >> 12);
                const unsigned slope = static_cast<unsigned>(column + 3 * row + 85 * plane) + seed;
                const unsigned extreme = drawn % 2 == 0 ? 0U : 255U;
                bytes[column] = static_cast<Ipp8u>(content == Content::kRandom     ? drawn
                                                   : content == Content::kExtremes ? extreme
                                                                                   : slope);
            }
        }
    }
}

int TestPicture::ChromaColumns() const {
    return IsBgr(m_layout) ? 1 : m_layout == Layout::kI411 ? 4 : 2;
}

int TestPicture::ChromaRows() const {
    return m_layout == Layout::kNv12 || m_layout == Layout::kI420 || m_layout == Layout::kYv12 ? 2 : 1;
}

const Ipp8u* TestPicture::At(int plane, int row) const {
    return m_pointers[static_cast<std::size_t>(plane)] + m_steps[static_cast<std::size_t>(plane)] * row;
}

int TestPicture::Ycc(int component, int column, int row) const {
    if (IsPacked(m_layout)) {
        const int luma = m_layout == Layout::kUyvy ? 1 : 0;
        const int cb = m_layout == Layout::kUyvy ? 0 : m_layout == Layout::kYuy2 ? 1 : 3;
        return At(0, row)[component == 0 ? 2 * column + luma : 4 * column + (component == 1 ? cb : (cb + 2) % 4)];
    }
    if (component == 0) {
        return At(0, row)[column];
    }
    if (m_layout == Layout::kNv12) {
        return At(1, row)[2 * column + component - 1];
    }
    return At(m_layout == Layout::kYv12 ? 3 - component : component, row)[column];
}

int TestPicture::Word(int column, int row) const {
    Ipp16u word = 0;
    std::memcpy(&word, At(0, row) + 2 * column, sizeof(word));
    return word;
}

int TestPicture::BgrFloor(int component, int column, int row) const {
    if (!HasWords(m_layout)) {
        return At(0, row)[PixelBytes(m_layout) * column + component];
    }
    int shift = 0;
    const auto bits = BitsOf(m_layout);
    for (int below = 0; below < component; ++below) {
        shift += bits[static_cast<std::size_t>(below)];
    }
    const int count = bits[static_cast<std::size_t>(component)];
    return ((Word(column, row) >> shift) & ((1 << count) - 1)) << (8 - count);
}

int TestPicture::Bgr(int component, int column, int row) const {
    const int value = BgrFloor(component, column, row);
    return HasWords(m_layout) ? value | (value >> BitsOf(m_layout)[static_cast<std::size_t>(component)]) : value;
}

int TestPicture::LostRange(int component) const {
    return component > 2 ? 0 : (1 << (8 - BitsOf(m_layout)[static_cast<std::size_t>(component)])) - 1;
}

int TestPicture::SpareBits(int column, int row) const {
    const auto bits = BitsOf(m_layout);
    return HasWords(m_layout) ? Word(column, row) >> (bits[0] + bits[1] + bits[2]) : 0;
}

bool TestPicture::PaddingIs(Ipp8u value) const {
    for (int plane = 0; plane < PlaneCount(m_layout); ++plane) {
        for (int row = 0; row + 1 < Rows(plane); ++row) {
            const Ipp8u* end = At(plane, row) + RowBytes(plane);
            for (int column = 0; column < m_padding; ++column) {
                if (end[column] != value) {
                    return false;
                }
            }
        }
    }
    return true;
}

std::vector<Ipp8u> TestPicture::Bytes() const {
    std::vector<Ipp8u> bytes;
    for (int plane = 0; plane < PlaneCount(m_layout); ++plane) {
        for (int row = 0; row < Rows(plane); ++row) {
            bytes.insert(bytes.end(), At(plane, row), At(plane, row) + RowBytes(plane));
        }
    }
    return bytes;
}

}  // namespace qrn::test
