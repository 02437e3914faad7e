#pragma once
/// The quantiser and adaptation tables of ITU-T G.726 (12/90), one set for each number of bits a sample.

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <iterator>

namespace qrn {

/// `kDecisionLevels` are the limits of the normalised logarithm that part one interval from the next; the others are by
/// magnitude of the code word: normalised logarithm of the reconstructed difference, scale factor multiplier W and rate
/// function F.
template <int Bits>
struct G726Levels;

template <>
struct G726Levels<5> {
    static constexpr std::array<std::int16_t, 15> kDecisionLevels{-122, -16, 68,  139, 198, 250, 298, 339,
                                                                  378,  413, 445, 475, 502, 528, 553};
    static constexpr std::array<std::int16_t, 16> kReconstruction{-2048, -66, 28,  104, 169, 224, 274, 318,
                                                                  358,   395, 429, 459, 488, 514, 539, 566};
    static constexpr std::array<std::int16_t, 16> kMultiplier{14,  14,  24,  39,  40,  41,  58,  100,
                                                              141, 179, 219, 280, 358, 440, 529, 696};
    static constexpr std::array<std::int16_t, 16> kRate{0, 0, 0, 0, 0, 1, 1, 1, 1, 1, 2, 3, 4, 5, 6, 6};
};

template <>
struct G726Levels<4> {
    static constexpr std::array<std::int16_t, 7> kDecisionLevels{-124, 80, 178, 246, 300, 349, 400};
    static constexpr std::array<std::int16_t, 8> kReconstruction{-2048, 4, 135, 213, 273, 323, 373, 425};
    static constexpr std::array<std::int16_t, 8> kMultiplier{-12, 18, 41, 64, 112, 198, 355, 1122};
    static constexpr std::array<std::int16_t, 8> kRate{0, 0, 0, 1, 1, 1, 3, 7};
};

template <>
struct G726Levels<3> {
    static constexpr std::array<std::int16_t, 3> kDecisionLevels{8, 218, 331};
    static constexpr std::array<std::int16_t, 4> kReconstruction{-2048, 135, 273, 373};
    static constexpr std::array<std::int16_t, 4> kMultiplier{-4, 30, 137, 582};
    static constexpr std::array<std::int16_t, 4> kRate{0, 1, 2, 7};
};

template <>
struct G726Levels<2> {
    static constexpr std::array<std::int16_t, 1> kDecisionLevels{261};
    static constexpr std::array<std::int16_t, 2> kReconstruction{116, 365};
    static constexpr std::array<std::int16_t, 2> kMultiplier{-22, 439};
    static constexpr std::array<std::int16_t, 2> kRate{0, 7};
};

/// What a magnitude stands for, the tables scaled as the adaptation uses them.
struct G726Level {
    std::int32_t reconstruction;
    std::int32_t multiplier;  ///< 2^5 W
    std::int32_t shortRate;   ///< 2^9 F
    std::int32_t longRate;    ///< 2^11 F
};

/// Powers of two by their logarithm in 2^-7, from 0 to the largest that a table value and the scale factor add up to:
/// what the tables above have as logarithms. A reconstructed difference is rounded down, the limit of an interval up.
inline constexpr int kPowers = 1280 + 566 + 1;
template <bool RoundUp>
inline constexpr std::array<std::uint16_t, kPowers> kPowerOf = [] {
    std::array<std::uint16_t, kPowers> powers{};
    for (int log = 0; log < kPowers; ++log) {
        const int scaled = (128 + (log & 127)) << (log >> 7);
        powers[static_cast<std::size_t>(log)] = static_cast<std::uint16_t>((scaled + (RoundUp ? 127 : 0)) >> 7);
    }
    return powers;
}();

/// The tables of one rate in the forms that the coder looks up without a search or a branch. With more than two bits
/// magnitude 0 is reconstructed as nothing and has only one word, that of all ones.
template <int Bits>
struct G726Tables {
    using Levels = G726Levels<Bits>;
    static constexpr int kMagnitudes = 1 << (Bits - 1);
    /// The logarithm of a difference lies in 0..1919, the scale factor's part of it in 136..1280.
    static constexpr int kLowestLog = -1280;
    static constexpr int kHighestLog = 1919 - 136;

    /// By magnitude. A word with its sign bit set is the complement of the one with the same magnitude.
    static constexpr std::array<G726Level, kMagnitudes> kLevels = [] {
        std::array<G726Level, kMagnitudes> levels{};
        for (std::size_t i = 0; i < levels.size(); ++i) {
            levels[i] = {Levels::kReconstruction[i], Levels::kMultiplier[i] * 32, Levels::kRate[i] << 9,
                         Levels::kRate[i] << 11};
        }
        return levels;
    }();

    /// By normalised logarithm less kLowestLog: magnitude in the low four bits, reconstruction above them, so that the
    /// way to the reconstructed signal is one access shorter.
    static constexpr std::array<std::int16_t, kHighestLog - kLowestLog + 1> kDecisions = [] {
        const auto& limits = Levels::kDecisionLevels;
        std::array<std::int16_t, kHighestLog - kLowestLog + 1> decisions{};
        int log = kLowestLog;
        for (std::int16_t& decision : decisions) {
            const auto magnitude = static_cast<std::size_t>(
                std::distance(limits.begin(), std::upper_bound(limits.begin(), limits.end(), log++)));
            decision = static_cast<std::int16_t>(Levels::kReconstruction[magnitude] * 16 + static_cast<int>(magnitude));
        }
        return decisions;
    }();
};

}  // namespace qrn
