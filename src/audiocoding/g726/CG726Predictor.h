#pragma once
/// The predictor of ITU-T G.726: six zeros and two poles over a history of small floating-point numbers.

#include <bit>
#include <cstdint>

namespace qrn {

/// -1 for a negative value, else 0.
[[gnu::always_inline]] inline int SignMask(int value) {
    return value >> 31;
}
/// `value` or, for a mask of -1, its negative.
[[gnu::always_inline]] inline int ApplySign(int value, int mask) {
    return (value ^ mask) - mask;
}
[[gnu::always_inline]] inline int Wrap16(int value) {
    return static_cast<std::int16_t>(value);
}

/// The coefficients a1 and a2, in the order and place that they have in the predictor's vectors.
using PackedPoles = std::uint64_t;
constexpr int kPlaceOfFirstPole = std::endian::native == std::endian::little ? 32 : 0;
constexpr int kPlaceOfSecondPole = 32 - kPlaceOfFirstPole;

[[gnu::always_inline]] inline PackedPoles PackPoles(int a1, int a2) {
    const auto inPlace = [](int coefficient, int place) {
        return PackedPoles{static_cast<std::uint32_t>(coefficient) << 16} << place;
    };
    return inPlace(a1, kPlaceOfFirstPole) | inPlace(a2, kPlaceOfSecondPole);
}
[[gnu::always_inline]] inline int FirstPole(PackedPoles poles) {
    return static_cast<std::int32_t>(poles >> kPlaceOfFirstPole) >> 16;
}
[[gnu::always_inline]] inline int SecondPole(PackedPoles poles) {
    return static_cast<std::int32_t>(poles >> kPlaceOfSecondPole) >> 16;
}

/// The blocks FMULT, ACCUM, FLOATA, FLOATB and UPB of the Recommendation, eight products at a time in vectors of the
/// compiler's own kind, which every target has. Lives in local variables while a block of samples is coded.
///
/// FMULT multiplies numbers of 6 bits of mantissa and rounds the product to fewer bits. Single-precision numbers hold
/// all that occurs there exactly, so the vector unit normalises (by conversion), cuts (by masks) and shifts (by
/// multiplication with powers of two); no operation but the last conversion ever rounds.
class CG726Predictor {
public:
    /// Of the predicted signal, in 2^-1 and modulo 2^16 as the Recommendation has it.
    struct Sums {
        int zeros;
        int all;
    };

    /// @param b coefficients of the zeros; @param dq, sr history as numbers of 11 bits, the newest first.
    template <class Zeros, class Poles>
    CG726Predictor(const Zeros& b, const Poles& a, const Zeros& dq, const Poles& sr)
        : m_front(Int4{b[0], b[1], b[2], b[3]} << kFraction),
          m_back(Int4{b[4], b[5], a[1], a[0]} << kFraction),
          m_newer{FromPacked(dq[0]), FromPacked(dq[1]), FromPacked(dq[2]), FromPacked(dq[3])},
          m_older{FromPacked(dq[4]), FromPacked(dq[5]), FromPacked(sr[1]), FromPacked(sr[0])} {}

    template <class Zeros, class Poles>
    void Store(Zeros& b, Zeros& dq, Poles& sr) const {
        for (int i = 0; i < 6; ++i) {
            const auto at = static_cast<std::size_t>(i);
            b[at] = static_cast<std::int16_t>((i < 4 ? m_front[i] : m_back[i - 4]) >> kFraction);
            dq[at] = ToPacked(i < 4 ? m_newer[i] : m_older[i - 4]);
        }
        sr = {ToPacked(m_older[3]), ToPacked(m_older[2])};
    }

    /// Moves each coefficient of the zeros towards agreement of its signal's sign with the new one.
    /// @param sign mask of the new difference's sign; @param moves mask, 0 when the difference is nothing.
    template <int LeakShift>
    [[gnu::always_inline]] void AdaptZeros(int sign, int moves) {
        const Int4 signs = Int4{} + sign;
        const Int4 step = Int4{} + (moves & (128 << kFraction));
        m_front = Adapted<LeakShift>(m_front, (AsInts(m_newer) ^ signs) >> 31, step);
        m_back = Adapted<LeakShift>(m_back, (AsInts(m_older) ^ signs) >> 31, step);
    }
    [[gnu::always_inline]] void ClearZeros() { m_front = m_back = Int4{}; }
    [[gnu::always_inline]] void SetPoles(PackedPoles poles) {
        m_back = reinterpret_cast<Int4>(Poles2{reinterpret_cast<Poles2>(m_back)[0], poles});
    }

    /// Puts the quantised difference and the reconstructed signal in front of the history.
    [[gnu::always_inline]] void Push(int magnitude, int sign, int reconstructed) {
        const Float4 signal = FromDoubled(reconstructed == kNothingNegative ? -1
                                          : reconstructed == 0              ? 1
                                                                            : 2 * reconstructed);
        const Float4 difference = FromDoubled(ApplySign(DoubledOrOne(magnitude), sign));
        const Float4 shifted = __builtin_shufflevector(m_newer, m_older, 3, 4, 7, 7);
        const Float4 poles = __builtin_shufflevector(shifted, signal, 2, 2, 4, 4);
        m_older = __builtin_shufflevector(shifted, poles, 0, 1, 5, 6);
        m_newer = __builtin_shufflevector(m_newer, difference, 4, 0, 1, 2);
        const bool isWide = (magnitude | (reconstructed ^ SignMask(reconstructed))) >= kWide;
        m_sinceWide = isWide ? 0 : m_sinceWide + 1;
    }

    [[gnu::always_inline]] Sums Predict() const {
        Int4 front = Products(m_front, m_newer);
        Int4 back = Products(m_back, m_older);
        if (m_sinceWide < kHistory) [[unlikely]] {
            front = Low15Bits(front);
            back = Low15Bits(back);
        }
        // front b1 b2 b3 b4, back b5 b6 a2 a1: the zeros gather in lane 0, the poles in lane 2.
        const Int4 zeros = front + __builtin_shufflevector(back, Int4{}, 0, 1, 4, 4);
        const Int4 pairs =
            __builtin_shufflevector(zeros, back, 0, 1, 6, 7) + __builtin_shufflevector(zeros, Int4{}, 2, 3, 4, 4);
        const Int4 sums = pairs + __builtin_shufflevector(pairs, pairs, 1, 1, 3, 3);
        return {Wrap16(sums[0]), Wrap16(sums[0] + sums[2])};
    }

private:
    using Int4 = std::int32_t __attribute__((vector_size(16)));
    using Bits4 = std::uint32_t __attribute__((vector_size(16)));
    using Poles2 = PackedPoles __attribute__((vector_size(16)));
    using Float4 = float __attribute__((vector_size(16)));

    /// Coefficients lie in the upper halves of their words, where they wrap around at 16 bits by themselves.
    static constexpr int kFraction = 16;
    static constexpr std::uint32_t kHistory = 6;
    /// From this value on a product can have more than 15 bits; signals of 14 bits hardly ever come there.
    static constexpr int kWide = 8192;
    /// The value whose magnitude of 15 bits is nothing, with a sign.
    static constexpr int kNothingNegative = -32768;
    /// History is 2^-13 of itself, which makes a product come out in the unit of the sums.
    static constexpr int kHistoryExponent = 13;

    static constexpr int kExponentBit = 23;
    static constexpr int kSignAndExponent = static_cast<int>(0xFF800000);
    static constexpr int kMantissaOf6 = static_cast<int>(0xFFFC0000);
    static constexpr int kMantissaOf9 = static_cast<int>(0xFFFF8000);

    [[gnu::always_inline]] static Int4 AsInts(Float4 value) { return reinterpret_cast<Int4>(value); }
    [[gnu::always_inline]] static Float4 AsFloats(Int4 bits) { return reinterpret_cast<Float4>(bits); }
    [[gnu::always_inline]] static Float4 Keep(Float4 value, int mask) { return AsFloats(AsInts(value) & mask); }

    /// A magnitude of nothing counts as one half: mantissa 32 with exponent 0. Hence the doubling everywhere.
    [[gnu::always_inline]] static int DoubledOrOne(int value) { return 2 * value + (value == 0 ? 1 : 0); }

    [[gnu::always_inline]] static Float4 FromDoubled(int doubled) {
        const Float4 value = __builtin_convertvector(Int4{doubled}, Float4);
        return AsFloats((AsInts(value) & kMantissaOf6) - (kHistoryExponent << kExponentBit));
    }

    static float FromPacked(std::int16_t packed) {
        const int exponent = (packed >> 6 & 15) + 127 - kHistoryExponent;
        const int bits = (packed >> 10 & 1) << 31 | exponent << kExponentBit | (packed & 31) << 18;
        return std::bit_cast<float>(bits);
    }
    static std::int16_t ToPacked(float value) {
        const int bits = std::bit_cast<int>(value);
        const int exponent = (bits >> kExponentBit & 255) - 127 + kHistoryExponent;
        return static_cast<std::int16_t>((bits >> 31) * 1024 + (exponent << 6) + 32 + (bits >> 18 & 31));
    }

    template <int LeakShift>
    [[gnu::always_inline]] static Int4 Adapted(Int4 coefficients, Int4 differs, Int4 step) {
        const Int4 leak = (coefficients >> LeakShift) & ~((1 << kFraction) - 1);
        const Int4 change = ((step ^ differs) - differs) - leak;
        return reinterpret_cast<Int4>(reinterpret_cast<Bits4>(coefficients) + reinterpret_cast<Bits4>(change));
    }

    /// Four of FMULT: p, the product of two 6-bit mantissas, becomes (p + 48) / 16 without fraction and then is shifted
    /// to the unit of the sums, which again drops what is below it.
    [[gnu::always_inline]] static Int4 Products(Int4 coefficients, Float4 signal) {
        const Int4 quarter = coefficients >> (kFraction + 2);
        // As DoubledOrOne, and -8192 counts as nothing with a sign, since magnitudes have 13 bits here.
        const Int4 doubled = (quarter + quarter - (quarter == 0)) | (quarter == -8192);
        const Float4 factor = __builtin_convertvector(doubled, Float4);
        // 4096 times the place of p's lowest bit. Added to p it makes the sum lie between two powers of two, whatever p
        // is, so that one mask cuts off the last 4 bits; 48 of it are left in for the rounding.
        const Float4 place =
            Keep(factor, kSignAndExponent) * AsFloats((AsInts(signal) & kSignAndExponent) + (2 << kExponentBit));
        const Float4 sum = Keep(factor, kMantissaOf6) * signal + place;
        return __builtin_convertvector(Keep(sum, kMantissaOf9) - place * ((4096.0F - 48.0F) / 4096.0F), Int4);
    }

    [[gnu::always_inline]] static Int4 Low15Bits(Int4 products) {
        const Int4 sign = products >> 31;
        return ((((products ^ sign) - sign) & 0x7FFF) ^ sign) - sign;
    }

    Int4 m_front;
    Int4 m_back;
    Float4 m_newer;
    Float4 m_older;
    /// Samples since one whose products need care. Wraps around, since more care does no harm.
    std::uint32_t m_sinceWide = 0;
};

}  // namespace qrn
