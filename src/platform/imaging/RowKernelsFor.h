#pragma once
/// RowKernels over the vector operations of a type V. Only for the sources that compile it for one kind of processor:
/// all is local to them, since a function that the linker takes from one for another could use instructions that the
/// processor lacks. That is also why nothing of the standard library is called that is not a compiler's own.
///
/// A row goes in blocks of V::kBytes pixels; what is left at its end goes through copies of a block's size.

#include <cstring>

#include "platform/imaging/RowKernels.h"

namespace qrn {
namespace {

constexpr int kToBgrBits = 5;
constexpr int kFromBgrBits = 15;
constexpr int kLumaZero = 16;
constexpr int kChromaZero = 128;

/// A block of colours, byte by byte in the order of pixels.
template <class V>
struct Colours {
    typename V::Register blue;
    typename V::Register green;
    typename V::Register red;
};

template <class V>
struct Write32 {
    static constexpr int kPixelBytes = 4;
    static void Block(Ipp8u* to, const Colours<V>& from, typename V::Register alpha) {
        const auto blueGreenLow = V::UnpackLow8(from.blue, from.green);
        const auto blueGreenHigh = V::UnpackHigh8(from.blue, from.green);
        const auto redAlphaLow = V::UnpackLow8(from.red, alpha);
        const auto redAlphaHigh = V::UnpackHigh8(from.red, alpha);
        V::StoreFour(to, V::UnpackLow16(blueGreenLow, redAlphaLow), V::UnpackHigh16(blueGreenLow, redAlphaLow),
                     V::UnpackLow16(blueGreenHigh, redAlphaHigh), V::UnpackHigh16(blueGreenHigh, redAlphaHigh));
    }
};

template <class V>
struct Write24 {
    static constexpr int kPixelBytes = 3;
    static void Block(Ipp8u* to, const Colours<V>& from, typename V::Register /*alpha*/) {
        V::StoreThree(to, from.blue, from.green, from.red);
    }
};

/// Words with the upper bits of each colour, blue lowest.
template <class V, int BlueBits, int GreenBits, int RedBits>
struct Write16 {
    static constexpr int kPixelBytes = 2;
    static void Block(Ipp8u* to, const Colours<V>& from, typename V::Register /*alpha*/) {
        constexpr int kGreenEnd = BlueBits + GreenBits;
        // Blue and red where they stand in the lower and the upper byte.
        const auto blue = V::And(V::template Right16<8 - BlueBits>(from.blue), V::All8((1 << BlueBits) - 1));
        const auto red = V::And(V::template Right16<16 - kGreenEnd - RedBits>(from.red),
                                V::All8(((1 << RedBits) - 1) << (kGreenEnd - 8)));
        const auto green = V::And(from.green, V::All8(0x100 - (1 << (8 - GreenBits))));
        const auto zero = V::All8(0);
        const auto place = [](auto words) { return V::template Left16<kGreenEnd - 8>(words); };
        V::StoreTwo(to, V::Or(V::UnpackLow8(blue, red), place(V::UnpackLow8(green, zero))),
                    V::Or(V::UnpackHigh8(blue, red), place(V::UnpackHigh8(green, zero))));
    }
};

/// What chroma adds to each colour, for the lower and the upper half of what unpacking makes of a block.
template <class V>
struct ChromaTerms {
    typename V::Register blue[2];
    typename V::Register green[2];
    typename V::Register red[2];
};

template <class V>
class CToBgr {
public:
    using Register = typename V::Register;

    explicit CToBgr(const ToBgrFactors& factors)
        : m_luma(V::All16(factors.luma)),
          m_blueOfCb(V::All16(factors.blueOfCb)),
          m_greenOfCb(V::All16(factors.greenOfCb)),
          m_greenOfCr(V::All16(factors.greenOfCr)),
          m_redOfCr(V::All16(factors.redOfCr)),
          m_blueOffset(V::All16(factors.blueOffset)),
          m_greenOffset(V::All16(factors.greenOffset)),
          m_redOffset(V::All16(factors.redOffset)) {}

    template <int Rows>
    ChromaTerms<V> Chroma(const YccRowsOf<Rows>& from, int column) const {
        const Register cb = V::LoadChroma(from.cb + column / 2);
        const Register cr = V::LoadChroma(from.cr + column / 2);
        const Register blue = Blue(cb);
        const Register green = Green(cb, cr);
        const Register red = Red(cr);
        // Each stands for two pixels.
        return {{V::UnpackLow16(blue, blue), V::UnpackHigh16(blue, blue)},
                {V::UnpackLow16(green, green), V::UnpackHigh16(green, green)},
                {V::UnpackLow16(red, red), V::UnpackHigh16(red, red)}};
    }
    ChromaTerms<V> Chroma(const FineYccRow& from, int column) const {
        const auto cb = V::LoadTwo(from.cb + column);
        const auto cr = V::LoadTwo(from.cr + column);
        return {{Blue(cb.low), Blue(cb.high)},
                {Green(cb.low, cr.low), Green(cb.high, cr.high)},
                {Red(cr.low), Red(cr.high)}};
    }

    Colours<V> WithLuma(const Ipp8u* luma, const ChromaTerms<V>& terms) const {
        const Register bytes = V::Load(luma);
        const Register low = V::MulHighU16(V::UnpackLow8(V::All8(0), bytes), m_luma);
        const Register high = V::MulHighU16(V::UnpackHigh8(V::All8(0), bytes), m_luma);
        const auto colour = [&](const Register(&term)[2]) {
            return V::PackToBytes(V::template SignedRight16<kToBgrBits>(V::Add16(low, term[0])),
                                  V::template SignedRight16<kToBgrBits>(V::Add16(high, term[1])));
        };
        return {colour(terms.blue), colour(terms.green), colour(terms.red)};
    }

private:
    Register Blue(Register cb) const { return V::Add16(V::MulHighU16(cb, m_blueOfCb), m_blueOffset); }
    Register Green(Register cb, Register cr) const {
        return V::Sub16(V::Sub16(m_greenOffset, V::MulHighU16(cb, m_greenOfCb)), V::MulHighU16(cr, m_greenOfCr));
    }
    Register Red(Register cr) const { return V::Add16(V::MulHighU16(cr, m_redOfCr), m_redOffset); }

    Register m_luma;
    Register m_blueOfCb;
    Register m_greenOfCb;
    Register m_greenOfCr;
    Register m_redOfCr;
    Register m_blueOffset;
    Register m_greenOffset;
    Register m_redOffset;
};

/// The end of rows in memory of a whole block.
template <class V, class Rows>
struct YccTail;

template <class V, int Count>
struct YccTail<V, YccRowsOf<Count>> {
    YccTail(const YccRowsOf<Count>& from, int column, int count) {
        for (int row = 0; row < Count; ++row) {
            std::memcpy(luma[row], from.luma[row] + column, static_cast<std::size_t>(count));
            rows.luma[row] = luma[row];
        }
        std::memcpy(cb, from.cb + column / 2, static_cast<std::size_t>(count + 1) / 2);
        std::memcpy(cr, from.cr + column / 2, static_cast<std::size_t>(count + 1) / 2);
    }

    Ipp8u luma[Count][V::kBytes] = {};
    Ipp8u cb[V::kBytes / 2] = {};
    Ipp8u cr[V::kBytes / 2] = {};
    YccRowsOf<Count> rows = {{}, cb, cr};
};

template <class V>
struct YccTail<V, FineYccRow> {
    YccTail(const FineYccRow& from, int column, int count) {
        std::memcpy(luma, from.luma[0] + column, static_cast<std::size_t>(count));
        std::memcpy(cb, from.cb + column, sizeof(*cb) * static_cast<std::size_t>(count));
        std::memcpy(cr, from.cr + column, sizeof(*cr) * static_cast<std::size_t>(count));
    }

    Ipp8u luma[V::kBytes] = {};
    std::uint16_t cb[V::kBytes] = {};
    std::uint16_t cr[V::kBytes] = {};
    FineYccRow rows = {{luma}, cb, cr};
};

template <class V, class Writer, class Rows>
void ToBgr(const Rows& from, Ipp8u* const to[], int width, const ToBgrFactors& factors, Ipp8u alpha) {
    const CToBgr<V> converter(factors);
    const auto fourth = V::All8(alpha);
    // In variables of its own, which the pixels that are written cannot be part of.
    const Rows rows = from;
    Ipp8u* ends[Rows::kRows];
    for (int row = 0; row < Rows::kRows; ++row) {
        ends[row] = to[row];
    }
    const auto block = [&](const Rows& own, int column, auto store) {
        const auto terms = converter.Chroma(own, column);
        store(0, converter.WithLuma(own.luma[0] + column, terms));
        if constexpr (Rows::kRows > 1) {
            store(1, converter.WithLuma(own.luma[1] + column, terms));
        }
    };
    int column = 0;
    for (; column + V::kBytes <= width; column += V::kBytes) {
        block(rows, column, [&](int row, const Colours<V>& colours) {
            Writer::Block(ends[row] + Writer::kPixelBytes * column, colours, fourth);
        });
    }
    if (column < width) {
        const YccTail<V, Rows> tail(rows, column, width - column);
        block(tail.rows, 0, [&](int row, const Colours<V>& colours) {
            Ipp8u pixels[Writer::kPixelBytes * V::kBytes];
            Writer::Block(pixels, colours, fourth);
            std::memcpy(ends[row] + Writer::kPixelBytes * column, pixels,
                        Writer::kPixelBytes * static_cast<std::size_t>(width - column));
        });
    }
}

/// A quarter of a block of pixels, as numbers of 16 bits: blue and red, green and the fourth byte.
template <class V>
struct Pixels {
    using Register = typename V::Register;
    explicit Pixels(Register bytes) : blueRed(V::And(bytes, V::All16(0xFF))), green(V::template Right16<8>(bytes)) {}
    Pixels(Register both, Register greens) : blueRed(both), green(greens) {}

    Pixels operator+(const Pixels& other) const {
        return {V::Add16(blueRed, other.blueRed), V::Add16(green, other.green)};
    }
    Pixels Neighbours(const Pixels& next) const {
        return {V::AddNeighbours(blueRed, next.blueRed), V::AddNeighbours(green, next.green)};
    }

    Register blueRed;
    Register green;
};

template <class V>
struct Read32 {
    static constexpr int kPixelBytes = 4;
    /// Pixels beyond a block that loading it touches.
    static constexpr int kBeyond = 0;
    static Pixels<V> Load(const Ipp8u* from) { return Pixels<V>(V::Load(from)); }
};

template <class V>
struct Read24 {
    static constexpr int kPixelBytes = 3;
    static constexpr int kBeyond = 2;
    static Pixels<V> Load(const Ipp8u* from) {
        const auto words = V::LoadPixels24(from);
        return {words.low, words.high};
    }
};

/// One component of YCbCr.
template <class V>
class CComponent {
public:
    using Register = typename V::Register;

    /// @param shift  kFromBgrBits, and as many bits more as the sum of pixels has
    CComponent(const FromBgrFactors::Weights& weights, int zero, int shift)
        : m_blueRed(V::All32(static_cast<std::uint16_t>(weights.blue) | (static_cast<int>(weights.red) * 65536))),
          m_green(V::All32(static_cast<std::uint16_t>(weights.green))),
          m_offset(V::All32(zero * (1 << shift) + (1 << (shift - 1)))) {}

    template <int Shift>
    Register Of(const Pixels<V>& pixels) const {
        const Register sum = V::Add32(V::MulAdd16(pixels.blueRed, m_blueRed), V::MulAdd16(pixels.green, m_green));
        return V::template SignedRight32<Shift>(V::Add32(sum, m_offset));
    }
    template <int Shift>
    Register Of(const Pixels<V>& first, const Pixels<V>& second) const {
        return V::PackTo16(Of<Shift>(first), Of<Shift>(second));
    }

private:
    Register m_blueRed;
    Register m_green;
    Register m_offset;
};

template <class V, class Reader>
class CFromBgr {
public:
    explicit CFromBgr(const FromBgrFactors& factors)
        : m_luma(factors.luma, kLumaZero, kFromBgrBits),
          m_cb(factors.cb, kChromaZero, kFromBgrBits + kFourBits),
          m_cr(factors.cr, kChromaZero, kFromBgrBits + kFourBits) {}

    /// In place, as Half is: the weights stay in registers, and what lies between does not go through memory.
    [[gnu::always_inline]] void Block(const Ipp8u* upper, const Ipp8u* lower, const YccRows& to, int column) const {
        const Ipp8u* const above = upper + Reader::kPixelBytes * column;
        const Ipp8u* const below = lower + Reader::kPixelBytes * column;
        const Words first = Half(above, below);
        const Words second = Half(above + kHalfBytes, below + kHalfBytes);
        V::Store(to.upperLuma + column, V::InOrder(V::PackToBytes(first.upperLuma, second.upperLuma)));
        V::Store(to.lowerLuma + column, V::InOrder(V::PackToBytes(first.lowerLuma, second.lowerLuma)));
        V::StoreChroma(to.cb + column / 2, to.cr + column / 2,
                       V::PackToBytes(V::PackTo16(first.cb, second.cb), V::PackTo16(first.cr, second.cr)));
    }

private:
    using Register = typename V::Register;
    /// Chroma is that of the sum of four pixels.
    static constexpr int kFourBits = 2;
    static constexpr int kQuarterBytes = Reader::kPixelBytes * (V::kBytes / 4);
    static constexpr int kHalfBytes = 2 * kQuarterBytes;

    /// What comes of half a block: luma as numbers of 16 bits, chroma of 32.
    struct Words {
        Register upperLuma;
        Register lowerLuma;
        Register cb;
        Register cr;
    };

    [[gnu::always_inline]] Words Half(const Ipp8u* upper, const Ipp8u* lower) const {
        const Pixels<V> above[2] = {Reader::Load(upper), Reader::Load(upper + kQuarterBytes)};
        const Pixels<V> below[2] = {Reader::Load(lower), Reader::Load(lower + kQuarterBytes)};
        const Pixels<V> squares = (above[0] + below[0]).Neighbours(above[1] + below[1]);
        return {
            m_luma.template Of<kFromBgrBits>(above[0], above[1]), m_luma.template Of<kFromBgrBits>(below[0], below[1]),
            m_cb.template Of<kFromBgrBits + kFourBits>(squares), m_cr.template Of<kFromBgrBits + kFourBits>(squares)};
    }

    CComponent<V> m_luma;
    CComponent<V> m_cb;
    CComponent<V> m_cr;
};

/// The end of a row, its last pixel twice where that makes a pair, in memory of a whole block.
template <class V, class Reader>
struct PixelTail {
    PixelTail(const Ipp8u* from, int column, int count) {
        const auto used = Reader::kPixelBytes * static_cast<std::size_t>(count);
        std::memcpy(bytes, from + static_cast<std::ptrdiff_t>(Reader::kPixelBytes) * column, used);
        std::memcpy(bytes + used, bytes + used - Reader::kPixelBytes, Reader::kPixelBytes);
    }
    Ipp8u bytes[Reader::kPixelBytes * (V::kBytes + 2 + Reader::kBeyond)] = {};
};

template <class V, class Reader>
void FromBgr(const Ipp8u* upper, const Ipp8u* lower, const YccRows& to, int width, const FromBgrFactors& factors) {
    const CFromBgr<V, Reader> converter(factors);
    int column = 0;
    for (; column + V::kBytes + Reader::kBeyond <= width; column += V::kBytes) {
        converter.Block(upper, lower, to, column);
    }
    for (; column < width; column += V::kBytes) {
        const int count = width - column < V::kBytes ? width - column : V::kBytes;
        const PixelTail<V, Reader> above(upper, column, count);
        const PixelTail<V, Reader> below(lower, column, count);
        Ipp8u made[3][V::kBytes];
        converter.Block(above.bytes, below.bytes, {made[0], made[1], made[2], made[2] + V::kBytes / 2}, 0);
        const auto pixels = static_cast<std::size_t>(count);
        std::memcpy(to.upperLuma + column, made[0], pixels);
        std::memcpy(to.lowerLuma + column, made[1], pixels);
        std::memcpy(to.cb + column / 2, made[2], (pixels + 1) / 2);
        std::memcpy(to.cr + column / 2, made[2] + V::kBytes / 2, (pixels + 1) / 2);
    }
}

template <class V>
struct TriangleWeights {
    typename V::Register side;
    typename V::Register centre;

    auto Half(typename V::Register above, typename V::Register row, typename V::Register below) const {
        // 16 bits hold the whole sum: 255 * 256 + 128.
        const auto sum = V::Add16(V::MulLow16(V::Add16(above, below), side), V::MulLow16(row, centre));
        return V::template Right16<8>(V::Add16(sum, V::All16(128)));
    }
    auto Of(typename V::Register above, typename V::Register row, typename V::Register below) const {
        const auto zero = V::All8(0);
        return V::PackToBytes(
            Half(V::UnpackLow8(above, zero), V::UnpackLow8(row, zero), V::UnpackLow8(below, zero)),
            Half(V::UnpackHigh8(above, zero), V::UnpackHigh8(row, zero), V::UnpackHigh8(below, zero)));
    }
};

/// Weights of a quarter, a half and a quarter: the mean of the row and of what the other two have for a mean when it is
/// cut off, which gives the same as the sum.
template <class V>
struct QuarterWeights {
    auto Of(typename V::Register above, typename V::Register row, typename V::Register below) const {
        const auto odd = V::And(V::Xor(above, below), V::All8(1));
        return V::Mean8(V::Sub8(V::Mean8(above, below), odd), row);
    }
};

template <class V, class Weights>
void TriangleRow(const Ipp8u* above, const Ipp8u* row, const Ipp8u* below, Ipp8u* to, int width,
                 const Weights& weights) {
    int column = 0;
    for (; column + V::kBytes <= width; column += V::kBytes) {
        V::Store(to + column, weights.Of(V::Load(above + column), V::Load(row + column), V::Load(below + column)));
    }
    if (column < width) {
        const auto count = static_cast<std::size_t>(width - column);
        Ipp8u rest[3][V::kBytes] = {};
        std::memcpy(rest[0], above + column, count);
        std::memcpy(rest[1], row + column, count);
        std::memcpy(rest[2], below + column, count);
        V::Store(rest[0], weights.Of(V::Load(rest[0]), V::Load(rest[1]), V::Load(rest[2])));
        std::memcpy(to + column, rest[0], count);
    }
}

template <class V>
void Triangle(const Ipp8u* above, const Ipp8u* row, const Ipp8u* below, Ipp8u* to, int width, int side, int centre) {
    if (side == 64) {
        TriangleRow<V>(above, row, below, to, width, QuarterWeights<V>());
    } else {
        TriangleRow<V>(above, row, below, to, width, TriangleWeights<V>{V::All16(side), V::All16(centre)});
    }
}

/// Neighbours stand side by side.
template <class V>
typename V::Register BetweenNeighbours(typename V::Register pairs, typename V::Register weights) {
    constexpr int kUnit = 1 << kAcrossBits;
    const auto first = V::MulAdd8(pairs, V::All16(kUnit));
    const auto change = V::MulAdd8(pairs, V::All16((kUnit * 256) | (256 - kUnit)));
    return V::Add16(first, V::MulRound16(change, weights));
}

/// @param load  the neighbours in a row of the samples from a column on, V::kBytes of them
template <class V, class Load>
void AcrossBlocks(const Ipp8u* const from[2], const std::int16_t* weights, std::int16_t* const to[2], int width,
                  Load load) {
    // In variables of their own, which the samples that are written cannot be part of.
    const Ipp8u* const one = from[0];
    const Ipp8u* const two = from[1];
    std::int16_t* const toOne = to[0];
    std::int16_t* const toTwo = to[1];
    for (std::ptrdiff_t column = 0; column < width; column += V::kBytes / 2) {
        const auto own = V::Load(weights + column);
        const auto madeOne = BetweenNeighbours<V>(load(one, column), own);
        const auto madeTwo = BetweenNeighbours<V>(load(two, column), own);
        V::Store(toOne + column, madeOne);
        V::Store(toTwo + column, madeTwo);
    }
}

template <class V>
void Across(const Ipp8u* const from[2], const PairColumns& columns, std::int16_t* const to[2], int width) {
    const PairColumns own = columns;
    if constexpr (V::kHasWindows) {
        if (own.windowSamples == 2 * kWindowGroup) {
            AcrossBlocks<V>(from, own.weights, to, width, [=](const Ipp8u* row, std::ptrdiff_t column) {
                return V::PairsInWindow(row + own.windows[column / (2 * kWindowGroup)], own.places + 2 * column);
            });
            return;
        }
        if (own.windowSamples == kWindowGroup) {
            AcrossBlocks<V>(from, own.weights, to, width, [=](const Ipp8u* row, std::ptrdiff_t column) {
                const std::int32_t* const windows = own.windows + column / kWindowGroup;
                return V::PairsInWindows(row + windows[0], row + windows[1], own.places + 2 * column);
            });
            return;
        }
    }
    AcrossBlocks<V>(from, own.weights, to, width,
                    [=](const Ipp8u* row, std::ptrdiff_t column) { return V::LoadPairs(row, own.first + column); });
}

template <class V>
struct WeightedRows {
    typename V::Register weight;
    auto Of(typename V::Register upper, typename V::Register lower) const {
        return V::Add16(upper, V::MulRound16(V::Sub16(lower, upper), weight));
    }
};

/// Half of each.
template <class V>
struct MeanRows {
    auto Of(typename V::Register upper, typename V::Register lower) const { return V::Mean16(upper, lower); }
};

template <class V, class Weights>
void DownBlock(const std::int16_t* upper, const std::int16_t* lower, Ipp8u* to, const Weights& weights) {
    constexpr int kHalf = V::kBytes / 2;
    const auto one = weights.Of(V::Load(upper), V::Load(lower));
    const auto two = weights.Of(V::Load(upper + kHalf), V::Load(lower + kHalf));
    V::Store(to, V::PackToBytesInOrder(V::template RoundRight16<kAcrossBits>(one),
                                       V::template RoundRight16<kAcrossBits>(two)));
}

template <class V, class Weights>
void DownRow(const std::int16_t* upper, const std::int16_t* lower, Ipp8u* to, int width, const Weights& weights) {
    int column = 0;
    for (; column + V::kBytes <= width; column += V::kBytes) {
        DownBlock<V>(upper + column, lower + column, to + column, weights);
    }
    if (column == width) {
        return;
    }
    if (width > V::kBytes) {
        // The last samples that make a block, some of them once more.
        column = width - V::kBytes;
        DownBlock<V>(upper + column, lower + column, to + column, weights);
    } else {
        Ipp8u rest[V::kBytes];
        DownBlock<V>(upper, lower, rest, weights);
        std::memcpy(to, rest, static_cast<std::size_t>(width));
    }
}

template <class V>
void Down(const std::int16_t* upper, const std::int16_t* lower, Ipp8u* to, int width, int weight) {
    if (weight == 1 << (kLinearWeightBits - 1)) {
        DownRow<V>(upper, lower, to, width, MeanRows<V>());
    } else {
        DownRow<V>(upper, lower, to, width, WeightedRows<V>{V::All16(weight)});
    }
}

template <class V>
constexpr RowKernels KernelsFor() {
    return {
        V::kName,
        {ToBgr<V, Write32<V>, YccRow>, ToBgr<V, Write24<V>, YccRow>, ToBgr<V, Write16<V, 5, 6, 5>, YccRow>,
         ToBgr<V, Write16<V, 5, 5, 5>, YccRow>, ToBgr<V, Write16<V, 4, 4, 4>, YccRow>},
        {ToBgr<V, Write32<V>, YccRowPair>, ToBgr<V, Write24<V>, YccRowPair>, ToBgr<V, Write16<V, 5, 6, 5>, YccRowPair>,
         ToBgr<V, Write16<V, 5, 5, 5>, YccRowPair>, ToBgr<V, Write16<V, 4, 4, 4>, YccRowPair>},
        ToBgr<V, Write32<V>, FineYccRow>,
        FromBgr<V, Read32<V>>,
        FromBgr<V, Read24<V>>,
        Triangle<V>,
        Across<V>,
        Down<V>};
}

}  // namespace
}  // namespace qrn
