#include "audiocoding/g726/CG72xState.h"

#include <algorithm>
#include <bit>

#include "audiocoding/g726/G726Tables.h"

namespace {

constexpr int kCoefficientLimitOfSecondPole = 12288;  // 0.75 in 2^-14
constexpr int kStabilityLimit = 15360;                // 1 - 2^-4 in 2^-14
constexpr int kToneLimit = -11776;                    // -0.71875 in 2^-14
constexpr int kTransitionSpeed = 256;
constexpr int kLowestScale = 544;
constexpr int kHighestScale = 5120;

inline int Wrap16(int value) {
    return static_cast<std::int16_t>(value);
}
/// -1 for a negative value, else 0.
inline int SignMask(int value) {
    return value >> 31;
}
/// `value` or, for a mask of -1, its negative.
inline int ApplySign(int value, int mask) {
    return (value ^ mask) - mask;
}
inline int FloorLog2(std::uint32_t positive) {
    return std::bit_width(positive) - 1;
}

/// A small floating-point number, taken apart in the way that Product needs.
struct Factor {
    int sign;                ///< -1 or 0
    std::uint32_t mantissa;  ///< 6 bits, 2^5 times
    int shift;               ///< 28 less the exponent
};

inline Factor FactorOf(int magnitude, int signMask) {
    const auto twice = static_cast<std::uint32_t>(magnitude) * 2;
    const int exponent = FloorLog2(twice | 1);
    return {signMask, (((twice << 5) >> exponent) | 32) << 5, 28 - exponent};
}

inline Factor Unpack(std::int16_t packed) {
    return {-(packed >> 10 & 1), static_cast<std::uint32_t>(packed & 63) << 5, 28 - (packed >> 6 & 15)};
}
inline std::int16_t Pack(const Factor& factor) {
    return static_cast<std::int16_t>((-factor.sign << 10) + ((28 - factor.shift) << 6) +
                                     static_cast<int>(factor.mantissa >> 5));
}

/// FMULT: a coefficient in 2^-14 times a delayed signal, in 2^-1.
inline int Product(int coefficient, const Factor& signal) {
    const int quarter = coefficient >> 2;
    const int sign = SignMask(quarter);
    const auto twice = static_cast<std::uint32_t>(ApplySign(quarter, sign) & 0x1FFF) * 2;
    const int exponent = FloorLog2(twice | 1);
    const std::uint32_t mantissa = ((twice << 5) >> exponent) | 32;
    const std::uint32_t product = (mantissa * signal.mantissa + (48 << 5)) & ~0x1FFU;
    const auto magnitude = static_cast<int>((product >> (signal.shift - exponent)) & 0x7FFF);
    return ApplySign(magnitude, sign ^ signal.sign);
}

}  // namespace

/// The state in local variables while a block is coded.
struct G726Stepper {
    explicit G726Stepper(const CG72xState& s)
        : yl(s.m_yl),
          yu(s.m_yu),
          dms(s.m_dms),
          dml(s.m_dml),
          ap(s.m_ap),
          a1(s.m_a[0]),
          a2(s.m_a[1]),
          pk1(-s.m_pk[0]),
          pk2(-s.m_pk[1]),
          td(s.m_td),
          sr1(Unpack(s.m_sr[0])),
          sr2(Unpack(s.m_sr[1])) {
        for (int i = 0; i < 6; ++i) {
            b[i] = s.m_b[i];
            dq[i] = Unpack(s.m_dq[i]);
        }
        Predict();
    }
    void Store(CG72xState& s) const {
        s.m_yl = yl;
        s.m_yu = static_cast<std::int16_t>(yu);
        s.m_dms = static_cast<std::int16_t>(dms);
        s.m_dml = static_cast<std::int16_t>(dml);
        s.m_ap = static_cast<std::int16_t>(ap);
        s.m_a = {static_cast<std::int16_t>(a1), static_cast<std::int16_t>(a2)};
        s.m_pk = {static_cast<std::int16_t>(-pk1), static_cast<std::int16_t>(-pk2)};
        s.m_td = static_cast<std::int16_t>(td);
        s.m_sr = {Pack(sr1), Pack(sr2)};
        for (int i = 0; i < 6; ++i) {
            s.m_b[i] = static_cast<std::int16_t>(b[i]);
            s.m_dq[i] = Pack(dq[i]);
        }
    }

    void Predict() {
        int sum = 0;
        for (int i = 0; i < 6; ++i) {
            sum += Product(b[i], dq[i]);
        }
        sez = Wrap16(sum) >> 1;
        se = Wrap16(sum + Product(a2, sr2) + Product(a1, sr1)) >> 1;
        const int slow = yl >> 6;
        const int difference = yu - slow;
        const int sign = SignMask(difference);
        const int speed = std::min(ap >> 2, 64);
        y = slow + ApplySign((ApplySign(difference, sign) * speed) >> 6, sign);
    }

    template <int Bits>
    int Quantise(int pcm) const {
        using Tables = qrn::G726Tables<Bits>;
        const int d = (pcm >> 2) - se;
        const int sign = SignMask(d);
        const auto magnitude = static_cast<std::uint32_t>(ApplySign(d, sign));
        const int exponent = FloorLog2(magnitude | 1);
        const int log = (exponent << 7) + static_cast<int>(((magnitude << 7) >> exponent) & 127);
        return Tables::kWords[-sign][log - (y >> 2) - Tables::kLowestLog];
    }

    template <int Bits>
    int Step(int word) {
        const auto& code = qrn::G726Tables<Bits>::kCodes[word];
        const int sign = -(word >> (Bits - 1));
        const int log = code.reconstruction + (y >> 2);
        const int magnitude = (((log & 127) + 128) << 7 >> (14 - (log >> 7 & 15))) & ~SignMask(log);
        const int d = ApplySign(magnitude, sign);
        const int reconstructed = Wrap16(se + d);
        const int p = Wrap16(sez + d);

        int threshold = 31 << 10;
        const int integer = yl >> 15;
        if (integer <= 9)
            threshold = ((yl >> 10 & 31) + 32) << integer;
        const bool transition = td != 0 && magnitude > (threshold + (threshold >> 1)) >> 1;

        const int pk0 = SignMask(p);
        const int moves = p != 0 ? -1 : 0;
        const int agree1 = pk0 ^ pk1;
        const int agree2 = pk0 ^ pk2;
        const int fa = ApplySign(std::clamp(a1, -8191, 8191) * 4, ~agree1);
        a2 += (((ApplySign(16384, agree2) + fa) >> 7) & moves) - (a2 >> 7);
        a2 = std::clamp(a2, -kCoefficientLimitOfSecondPole, kCoefficientLimitOfSecondPole);
        a1 += (ApplySign(192, agree1) & moves) - (a1 >> 8);
        a1 = std::clamp(a1, a2 - kStabilityLimit, kStabilityLimit - a2);
        const int step = magnitude != 0 ? 128 : 0;
        for (int i = 0; i < 6; ++i) {
            b[i] = Wrap16(b[i] + ApplySign(step, sign ^ dq[i].sign) - (b[i] >> (Bits == 5 ? 9 : 8)));
        }
        td = a2 < kToneLimit;
        dms += (code.shortRate - dms) >> 5;
        dml += (code.longRate - dml) >> 7;
        const int change = (dms << 2) - dml;
        const bool fast = y < 1536 || td != 0 || ApplySign(change, SignMask(change)) >= dml >> 3;
        ap += ((fast ? 512 : 0) - ap) >> 4;
        if (transition) [[unlikely]] {
            a1 = a2 = 0;
            for (int i = 0; i < 6; ++i)
                b[i] = 0;
            td = 0;
            ap = kTransitionSpeed;
        }
        yu = std::clamp(y + ((code.multiplier - y) >> 5), kLowestScale, kHighestScale);
        yl += yu + (-yl >> 6);

        for (int i = 5; i > 0; --i)
            dq[i] = dq[i - 1];
        dq[0] = FactorOf(magnitude, sign);
        sr2 = sr1;
        const int srs = SignMask(reconstructed);
        sr1 = FactorOf(ApplySign(reconstructed, srs) & 0x7FFF, srs);
        pk2 = pk1;
        pk1 = pk0;
        Predict();
        return reconstructed;
    }

    int yl, yu, dms, dml, ap, a1, a2, pk1, pk2, td;
    Factor sr1, sr2;
    int b[6];
    Factor dq[6];
    int se, sez, y;
};

namespace {
template <int Bits>
void EncodeBlock(CG72xState& state, std::span<const std::int16_t> pcm, std::uint8_t* words) {
    G726Stepper s(state);
    for (const std::int16_t sample : pcm) {
        const int word = s.Quantise<Bits>(sample);
        *words++ = static_cast<std::uint8_t>(word);
        s.Step<Bits>(word);
    }
    s.Store(state);
}
template <int Bits>
void DecodeBlock(CG72xState& state, std::span<const std::uint8_t> words, std::int16_t* pcm) {
    G726Stepper s(state);
    for (const std::uint8_t word : words) {
        *pcm++ = static_cast<std::int16_t>(std::clamp(s.Step<Bits>(word & ((1 << Bits) - 1)) * 4, -32767, 32767));
    }
    s.Store(state);
}
}  // namespace

CG72xState::CG72xState(int bitsPerSample) : m_bitsPerSample(std::clamp(bitsPerSample, 2, 5)) {}

void CG72xState::Encode(std::span<const std::int16_t> pcm, std::span<std::uint8_t> words) {
    switch (m_bitsPerSample) {
        case 2:
            return EncodeBlock<2>(*this, pcm, words.data());
        case 3:
            return EncodeBlock<3>(*this, pcm, words.data());
        case 4:
            return EncodeBlock<4>(*this, pcm, words.data());
        default:
            return EncodeBlock<5>(*this, pcm, words.data());
    }
}

void CG72xState::Decode(std::span<const std::uint8_t> words, std::span<std::int16_t> pcm) {
    switch (m_bitsPerSample) {
        case 2:
            return DecodeBlock<2>(*this, words, pcm.data());
        case 3:
            return DecodeBlock<3>(*this, words, pcm.data());
        case 4:
            return DecodeBlock<4>(*this, words, pcm.data());
        default:
            return DecodeBlock<5>(*this, words, pcm.data());
    }
}
