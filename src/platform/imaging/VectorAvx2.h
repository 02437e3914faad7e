#pragma once
/// The vector operations of RowKernelsFor.h in 32 bytes: as two halves of 16, which unpacking and packing do not leave.

#include <immintrin.h>

#include <cstdint>
#include <cstring>

#include "platform/imaging/IppTypes.h"

namespace qrn {
namespace {

struct VectorAvx2 {
    static constexpr int kBytes = 32;
    static constexpr const char* kName = "AVX2";
    using Register = __m256i;
    struct Two {
        Register low;
        Register high;
    };

    static Register Load(const void* from) { return _mm256_loadu_si256(static_cast<const __m256i*>(from)); }
    static void Store(void* to, Register value) { _mm256_storeu_si256(static_cast<__m256i*>(to), value); }
    static Register All8(int value) { return _mm256_set1_epi8(static_cast<char>(value)); }
    static Register All16(int value) { return _mm256_set1_epi16(static_cast<short>(value)); }
    static Register All32(int value) { return _mm256_set1_epi32(value); }
    static Register And(Register a, Register b) { return _mm256_and_si256(a, b); }
    static Register Or(Register a, Register b) { return _mm256_or_si256(a, b); }
    static Register Xor(Register a, Register b) { return _mm256_xor_si256(a, b); }
    static Register Sub8(Register a, Register b) { return _mm256_sub_epi8(a, b); }
    static Register Mean8(Register a, Register b) { return _mm256_avg_epu8(a, b); }
    static Register Mean16(Register a, Register b) { return _mm256_avg_epu16(a, b); }
    static Register Add16(Register a, Register b) { return _mm256_add_epi16(a, b); }
    static Register Sub16(Register a, Register b) { return _mm256_sub_epi16(a, b); }
    static Register MulLow16(Register a, Register b) { return _mm256_mullo_epi16(a, b); }
    static Register MulHigh16(Register a, Register b) { return _mm256_mulhi_epi16(a, b); }
    static Register MulHighU16(Register a, Register b) { return _mm256_mulhi_epu16(a, b); }
    template <int Bits>
    static Register Left16(Register a) {
        return _mm256_slli_epi16(a, Bits);
    }
    template <int Bits>
    static Register Right16(Register a) {
        return _mm256_srli_epi16(a, Bits);
    }
    template <int Bits>
    static Register SignedRight16(Register a) {
        return _mm256_srai_epi16(a, Bits);
    }
    static Register Add32(Register a, Register b) { return _mm256_add_epi32(a, b); }
    template <int Bits>
    static Register SignedRight32(Register a) {
        return _mm256_srai_epi32(a, Bits);
    }
    static Register MulAdd16(Register a, Register b) { return _mm256_madd_epi16(a, b); }
    static Register PackToBytes(Register a, Register b) { return _mm256_packus_epi16(a, b); }
    static Register PackTo16(Register a, Register b) { return _mm256_packs_epi32(a, b); }
    static Register UnpackLow8(Register a, Register b) { return _mm256_unpacklo_epi8(a, b); }
    static Register UnpackHigh8(Register a, Register b) { return _mm256_unpackhi_epi8(a, b); }
    static Register UnpackLow16(Register a, Register b) { return _mm256_unpacklo_epi16(a, b); }
    static Register UnpackHigh16(Register a, Register b) { return _mm256_unpackhi_epi16(a, b); }

    static Register AddNeighbours(Register a, Register b) {
        const __m256 first = _mm256_castsi256_ps(a);
        const __m256 second = _mm256_castsi256_ps(b);
        const __m256 even = _mm256_shuffle_ps(first, second, _MM_SHUFFLE(2, 0, 2, 0));
        const __m256 odd = _mm256_shuffle_ps(first, second, _MM_SHUFFLE(3, 1, 3, 1));
        return Add16(_mm256_castps_si256(even), _mm256_castps_si256(odd));
    }
    static Register LoadChroma(const Ipp8u* from) {
        return _mm256_slli_epi16(_mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(from))), 8);
    }
    /// In the order of what has been unpacked: the lower halves of two registers, then the upper ones.
    static Two LoadTwo(const void* from) {
        const Register first = Load(from);
        const Register second = Load(static_cast<const Ipp8u*>(from) + kBytes);
        return {LowerHalves(first, second), UpperHalves(first, second)};
    }
    static void StoreTwo(void* to, Register a, Register b) {
        Store(to, LowerHalves(a, b));
        Store(static_cast<Ipp8u*>(to) + kBytes, UpperHalves(a, b));
    }
    static void StoreFour(Ipp8u* to, Register a, Register b, Register c, Register d) {
        Store(to, LowerHalves(a, b));
        Store(to + kBytes, LowerHalves(c, d));
        Store(to + 2 * kBytes, UpperHalves(a, b));
        Store(to + 3 * kBytes, UpperHalves(c, d));
    }
    static void StoreThree(Ipp8u* to, Register a, Register b, Register c) {
        const Register first =
            Or(Or(Shuffle(a, _mm_setr_epi8(0, -1, -1, 1, -1, -1, 2, -1, -1, 3, -1, -1, 4, -1, -1, 5)),
                  Shuffle(b, _mm_setr_epi8(-1, 0, -1, -1, 1, -1, -1, 2, -1, -1, 3, -1, -1, 4, -1, -1))),
               Shuffle(c, _mm_setr_epi8(-1, -1, 0, -1, -1, 1, -1, -1, 2, -1, -1, 3, -1, -1, 4, -1)));
        const Register second =
            Or(Or(Shuffle(a, _mm_setr_epi8(-1, -1, 6, -1, -1, 7, -1, -1, 8, -1, -1, 9, -1, -1, 10, -1)),
                  Shuffle(b, _mm_setr_epi8(5, -1, -1, 6, -1, -1, 7, -1, -1, 8, -1, -1, 9, -1, -1, 10))),
               Shuffle(c, _mm_setr_epi8(-1, 5, -1, -1, 6, -1, -1, 7, -1, -1, 8, -1, -1, 9, -1, -1)));
        const Register third =
            Or(Or(Shuffle(a, _mm_setr_epi8(-1, 11, -1, -1, 12, -1, -1, 13, -1, -1, 14, -1, -1, 15, -1, -1)),
                  Shuffle(b, _mm_setr_epi8(-1, -1, 11, -1, -1, 12, -1, -1, 13, -1, -1, 14, -1, -1, 15, -1))),
               Shuffle(c, _mm_setr_epi8(10, -1, -1, 11, -1, -1, 12, -1, -1, 13, -1, -1, 14, -1, -1, 15)));
        Store(to, LowerHalves(first, second));
        Store(to + kBytes, _mm256_permute2x128_si256(third, first, 0x30));
        Store(to + 2 * kBytes, UpperHalves(second, third));
    }
    static Two LoadPixels24(const Ipp8u* from) {
        const auto* halves = reinterpret_cast<const __m128i_u*>(from);
        const auto* upper = reinterpret_cast<const __m128i_u*>(from + 12);
        const Register both =
            _mm256_inserti128_si256(_mm256_castsi128_si256(_mm_loadu_si128(halves)), _mm_loadu_si128(upper), 1);
        return {Shuffle(both, _mm_setr_epi8(0, -1, 2, -1, 3, -1, 5, -1, 6, -1, 8, -1, 9, -1, 11, -1)),
                Shuffle(both, _mm_setr_epi8(1, -1, -1, -1, 4, -1, -1, -1, 7, -1, -1, -1, 10, -1, -1, -1))};
    }
    static Register InOrder(Register bytes) {
        return _mm256_permutevar8x32_epi32(bytes, _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7));
    }
    static void StoreChroma(Ipp8u* cb, Ipp8u* cr, Register both) {
        const Register apart = _mm256_permute4x64_epi64(both, _MM_SHUFFLE(3, 1, 2, 0));
        const Register ordered = Shuffle(apart, _mm_setr_epi8(0, 1, 8, 9, 2, 3, 10, 11, 4, 5, 12, 13, 6, 7, 14, 15));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(cb), _mm256_castsi256_si128(ordered));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(cr), _mm256_extracti128_si256(ordered, 1));
    }
    static Register PackToBytesInOrder(Register a, Register b) {
        return _mm256_permute4x64_epi64(PackToBytes(a, b), _MM_SHUFFLE(3, 1, 2, 0));
    }
    static Register MulAdd8(Register bytes, Register factors) { return _mm256_maddubs_epi16(bytes, factors); }
    static Register MulRound16(Register a, Register b) { return _mm256_mulhrs_epi16(a, b); }
    template <int Bits>
    static Register RoundRight16(Register a) {
        return _mm256_mulhrs_epi16(a, All16(1 << (15 - Bits)));
    }
    static Register LoadPairs(const Ipp8u* from, const std::int32_t* places) {
        return Both(EightPairs(from, places), EightPairs(from, places + 8));
    }
    static constexpr bool kHasWindows = true;
    static Register PairsInWindow(const Ipp8u* window, const Ipp8u* places) {
        return _mm256_shuffle_epi8(_mm256_broadcastsi128_si256(Window(window)), Load(places));
    }
    static Register PairsInWindows(const Ipp8u* low, const Ipp8u* high, const Ipp8u* places) {
        return _mm256_shuffle_epi8(Both(Window(low), Window(high)), Load(places));
    }

private:
    static Register Both(__m128i low, __m128i high) {
        return _mm256_inserti128_si256(_mm256_castsi128_si256(low), high, 1);
    }
    static __m128i Window(const Ipp8u* from) { return _mm_loadu_si128(reinterpret_cast<const __m128i_u*>(from)); }
    static __m128i EightPairs(const Ipp8u* from, const std::int32_t* places) {
        std::uint16_t pairs[8];
        for (int index = 0; index < 8; ++index) {
            std::memcpy(&pairs[index], from + places[index], sizeof(pairs[index]));
        }
        return _mm_loadu_si128(reinterpret_cast<const __m128i*>(pairs));
    }
    static Register LowerHalves(Register a, Register b) { return _mm256_permute2x128_si256(a, b, 0x20); }
    static Register UpperHalves(Register a, Register b) { return _mm256_permute2x128_si256(a, b, 0x31); }
    /// Of each half the bytes that the mask names; zero for -1.
    static Register Shuffle(Register a, __m128i mask) {
        return _mm256_shuffle_epi8(a, _mm256_broadcastsi128_si256(mask));
    }
};

}  // namespace
}  // namespace qrn
