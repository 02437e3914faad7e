#pragma once
/// The vector operations of RowKernelsFor.h in 16 bytes, which every processor of x86-64 has.

#include <emmintrin.h>

#include <cstdint>
#include <cstring>

#include "platform/imaging/IppTypes.h"

namespace qrn {
namespace {

struct VectorSse2 {
    static constexpr int kBytes = 16;
    static constexpr const char* kName = "SSE2";
    using Register = __m128i;
    struct Two {
        Register low;
        Register high;
    };

    static Register Load(const void* from) { return _mm_loadu_si128(static_cast<const __m128i*>(from)); }
    static void Store(void* to, Register value) { _mm_storeu_si128(static_cast<__m128i*>(to), value); }
    static Register All8(int value) { return _mm_set1_epi8(static_cast<char>(value)); }
    static Register All16(int value) { return _mm_set1_epi16(static_cast<short>(value)); }
    static Register All32(int value) { return _mm_set1_epi32(value); }
    static Register And(Register a, Register b) { return _mm_and_si128(a, b); }
    static Register Or(Register a, Register b) { return _mm_or_si128(a, b); }
    static Register Xor(Register a, Register b) { return _mm_xor_si128(a, b); }
    static Register Sub8(Register a, Register b) { return _mm_sub_epi8(a, b); }
    static Register Mean8(Register a, Register b) { return _mm_avg_epu8(a, b); }
    static Register Mean16(Register a, Register b) { return _mm_avg_epu16(a, b); }
    static Register Add16(Register a, Register b) { return _mm_add_epi16(a, b); }
    static Register Sub16(Register a, Register b) { return _mm_sub_epi16(a, b); }
    static Register MulLow16(Register a, Register b) { return _mm_mullo_epi16(a, b); }
    static Register MulHigh16(Register a, Register b) { return _mm_mulhi_epi16(a, b); }
    static Register MulHighU16(Register a, Register b) { return _mm_mulhi_epu16(a, b); }
    template <int Bits>
    static Register Left16(Register a) {
        return _mm_slli_epi16(a, Bits);
    }
    template <int Bits>
    static Register Right16(Register a) {
        return _mm_srli_epi16(a, Bits);
    }
    template <int Bits>
    static Register SignedRight16(Register a) {
        return _mm_srai_epi16(a, Bits);
    }
    static Register Add32(Register a, Register b) { return _mm_add_epi32(a, b); }
    template <int Bits>
    static Register SignedRight32(Register a) {
        return _mm_srai_epi32(a, Bits);
    }
    static Register MulAdd16(Register a, Register b) { return _mm_madd_epi16(a, b); }
    static Register PackToBytes(Register a, Register b) { return _mm_packus_epi16(a, b); }
    static Register PackTo16(Register a, Register b) { return _mm_packs_epi32(a, b); }
    static Register UnpackLow8(Register a, Register b) { return _mm_unpacklo_epi8(a, b); }
    static Register UnpackHigh8(Register a, Register b) { return _mm_unpackhi_epi8(a, b); }
    static Register UnpackLow16(Register a, Register b) { return _mm_unpacklo_epi16(a, b); }
    static Register UnpackHigh16(Register a, Register b) { return _mm_unpackhi_epi16(a, b); }

    static Register AddNeighbours(Register a, Register b) {
        const __m128 first = _mm_castsi128_ps(a);
        const __m128 second = _mm_castsi128_ps(b);
        const __m128 even = _mm_shuffle_ps(first, second, _MM_SHUFFLE(2, 0, 2, 0));
        const __m128 odd = _mm_shuffle_ps(first, second, _MM_SHUFFLE(3, 1, 3, 1));
        return Add16(_mm_castps_si128(even), _mm_castps_si128(odd));
    }
    static Register LoadChroma(const Ipp8u* from) {
        return UnpackLow8(_mm_setzero_si128(), _mm_loadl_epi64(reinterpret_cast<const __m128i*>(from)));
    }
    static Two LoadTwo(const void* from) { return {Load(from), Load(static_cast<const Ipp8u*>(from) + kBytes)}; }
    static void StoreTwo(void* to, Register a, Register b) {
        Store(to, a);
        Store(static_cast<Ipp8u*>(to) + kBytes, b);
    }
    static void StoreFour(Ipp8u* to, Register a, Register b, Register c, Register d) {
        StoreTwo(to, a, b);
        StoreTwo(to + 2 * kBytes, c, d);
    }
    static void StoreThree(Ipp8u* to, Register a, Register b, Register c) {
        const Register zero = _mm_setzero_si128();
        const Register firstLow = UnpackLow8(a, b);
        const Register firstHigh = UnpackHigh8(a, b);
        const Register lastLow = UnpackLow8(c, zero);
        const Register lastHigh = UnpackHigh8(c, zero);
        const Register one = DropFourth(UnpackLow16(firstLow, lastLow));
        const Register two = DropFourth(UnpackHigh16(firstLow, lastLow));
        const Register three = DropFourth(UnpackLow16(firstHigh, lastHigh));
        const Register four = DropFourth(UnpackHigh16(firstHigh, lastHigh));
        StoreTwo(to, Or(one, _mm_slli_si128(two, 12)), Or(_mm_srli_si128(two, 4), _mm_slli_si128(three, 8)));
        Store(to + 2 * kBytes, Or(_mm_srli_si128(three, 8), _mm_slli_si128(four, 4)));
    }
    static Two LoadPixels24(const Ipp8u* from) {
        const Register bytes = Load(from);
        const Register pairs = _mm_unpacklo_epi64(bytes, _mm_srli_si128(bytes, 6));
        const Register pixels = Or(And(pairs, _mm_set1_epi64x(0x0000000000FFFFFF)),
                                   And(_mm_slli_epi64(pairs, 8), _mm_set1_epi64x(0x00FFFFFF00000000)));
        return {And(pixels, All16(0xFF)), Right16<8>(pixels)};
    }
    static Register InOrder(Register bytes) { return bytes; }
    static void StoreChroma(Ipp8u* cb, Ipp8u* cr, Register both) {
        _mm_storel_epi64(reinterpret_cast<__m128i*>(cb), both);
        _mm_storel_epi64(reinterpret_cast<__m128i*>(cr), _mm_unpackhi_epi64(both, both));
    }
    static Register PackToBytesInOrder(Register a, Register b) { return PackToBytes(a, b); }
    static Register MulAdd8(Register bytes, Register factors) {
        const Register even = MulLow16(And(bytes, All16(0xFF)), SignedRight16<8>(Left16<8>(factors)));
        return Add16(even, MulLow16(Right16<8>(bytes), SignedRight16<8>(factors)));
    }
    static Register MulRound16(Register a, Register b) {
        // The product's bit below the result and the lowest of the result, halved: the mean with zero rounds up.
        const Register lowest = Mean16(Right16<14>(MulLow16(a, b)), All16(0));
        return Add16(Left16<1>(MulHigh16(a, b)), lowest);
    }
    template <int Bits>
    static Register RoundRight16(Register a) {
        return SignedRight16<Bits>(Add16(a, All16(1 << (Bits - 1))));
    }
    static Register LoadPairs(const Ipp8u* from, const std::int32_t* places) {
        Register pairs = _mm_setzero_si128();
        pairs = _mm_insert_epi16(pairs, PairAt(from + places[0]), 0);
        pairs = _mm_insert_epi16(pairs, PairAt(from + places[1]), 1);
        pairs = _mm_insert_epi16(pairs, PairAt(from + places[2]), 2);
        pairs = _mm_insert_epi16(pairs, PairAt(from + places[3]), 3);
        pairs = _mm_insert_epi16(pairs, PairAt(from + places[4]), 4);
        pairs = _mm_insert_epi16(pairs, PairAt(from + places[5]), 5);
        pairs = _mm_insert_epi16(pairs, PairAt(from + places[6]), 6);
        return _mm_insert_epi16(pairs, PairAt(from + places[7]), 7);
    }
    static constexpr bool kHasWindows = false;

private:
    static std::uint16_t PairAt(const Ipp8u* from) {
        std::uint16_t pair = 0;
        std::memcpy(&pair, from, sizeof(pair));
        return pair;
    }
    static Register DropFourth(Register pixels) {
        const Register pairs = Or(And(pixels, _mm_set1_epi64x(0x0000000000FFFFFF)),
                                  And(_mm_srli_epi64(pixels, 8), _mm_set1_epi64x(0x0000FFFFFF000000)));
        return Or(_mm_move_epi64(pairs), _mm_slli_si128(_mm_srli_si128(pairs, 8), 6));
    }
};

}  // namespace
}  // namespace qrn
