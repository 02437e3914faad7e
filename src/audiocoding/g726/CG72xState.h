#pragma once
/// One coder of the ITU-T G.726 family: 16, 24, 32 or 40 kbit/s at 8000 samples a second.

#include <array>
#include <cstdint>
#include <span>

/// The state of one direction of one channel, and the coder that advances it: ITU-T G.726 (12/90) with linear input and
/// output in place of the A-law and mu-law steps. All arithmetic gives what that of the Recommendation gives, word
/// lengths and wrap-around included, so that every conforming coder has the same words and samples. Belongs to one
/// thread at a time; allocates nothing and owns nothing outside itself.
class CG72xState {
public:
    /// Named as in the Recommendation. A value of dq and sr is a small floating-point number of 11 bits: sign, 4 bits
    /// of exponent, 6 bits of mantissa; 32 is its zero.
    struct Fields {
        std::int32_t yl = 34816;
        std::int16_t yu = 544;
        std::int16_t dms = 0;
        std::int16_t dml = 0;
        std::int16_t ap = 0;
        std::array<std::int16_t, 2> a{};
        std::array<std::int16_t, 6> b{};
        std::array<std::int16_t, 2> pk{};
        std::array<std::int16_t, 6> dq{32, 32, 32, 32, 32, 32};
        std::array<std::int16_t, 2> sr{32, 32};
        std::int16_t td = 0;
    };

    /// @param bitsPerSample 2, 3, 4 or 5; what else is asked counts as the nearest of them.
    explicit CG72xState(int bitsPerSample);

    int BitsPerSample() const { return m_bitsPerSample; }

    /// Codes samples one by one: `words` gets one word of BitsPerSample() bits for each. The shorter span ends it.
    /// @param pcm 16-bit linear; the two lowest bits have no influence.
    void Encode(std::span<const std::int16_t> pcm, std::span<std::uint8_t> words);

    /// Decodes words one by one: `pcm` gets one sample in -32767..32767 for each. The shorter span ends it.
    /// @param words only their lowest BitsPerSample() bits count.
    void Decode(std::span<const std::uint8_t> words, std::span<std::int16_t> pcm);

private:
    const int m_bitsPerSample;
    Fields m_fields;
};
