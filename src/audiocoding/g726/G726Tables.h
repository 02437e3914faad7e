#pragma once
/// The quantiser and adaptation tables of ITU-T G.726 (12/90), one set for each number of bits a sample.

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <iterator>

namespace qrn {

/// `kDecisionLevels` are the limits of the normalised logarithm (tables 1 to 4 of the Recommendation) that part one
/// interval from the next; the others are by magnitude of the code: normalised logarithm of the reconstructed
/// difference, scale factor multiplier W and rate function F.
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

/// What one code word stands for, the tables scaled as the adaptation uses them.
struct G726Code {
    std::int32_t reconstruction;
    std::int32_t multiplier;  ///< 2^5 W
    std::int32_t shortRate;   ///< 2^9 F
    std::int32_t longRate;    ///< 2^11 F
};

/// The tables of one rate in the forms that the coder looks up without a search or a branch.
template <int Bits>
struct G726Tables {
    using Levels = G726Levels<Bits>;
    static constexpr int kCodeCount = 1 << Bits;
    /// The logarithm of a difference lies in 0..1919, the scale factor's part of it in 136..1280.
    static constexpr int kLowestLog = -1280;
    static constexpr int kHighestLog = 1919 - 136;
    using WordTable = std::array<std::uint8_t, kHighestLog - kLowestLog + 1>;

    /// By code word; a word with its sign bit set is the complement of the one with the same magnitude.
    static constexpr std::array<G726Code, kCodeCount> kCodes = [] {
        std::array<G726Code, kCodeCount> codes{};
        for (std::size_t word = 0; word < codes.size(); ++word) {
            const std::size_t magnitude = word < codes.size() / 2 ? word : codes.size() - 1 - word;
            codes[word] = {Levels::kReconstruction[magnitude], Levels::kMultiplier[magnitude] * 32,
                           Levels::kRate[magnitude] << 9, Levels::kRate[magnitude] << 11};
        }
        return codes;
    }();

    static constexpr WordTable MakeWords(bool negative) {
        const auto& levels = Levels::kDecisionLevels;
        WordTable words{};
        int log = kLowestLog;
        for (std::uint8_t& word : words) {
            const auto magnitude =
                static_cast<int>(std::distance(levels.begin(), std::upper_bound(levels.begin(), levels.end(), log++)));
            // With more than two bits the lowest interval has the word of all ones, whatever the sign.
            const bool complement = negative || (magnitude == 0 && Bits > 2);
            word = static_cast<std::uint8_t>(complement ? kCodeCount - 1 - magnitude : magnitude);
        }
        return words;
    }
    /// The word of a difference by its sign and by its normalised logarithm less kLowestLog.
    static constexpr std::array<WordTable, 2> kWords{MakeWords(false), MakeWords(true)};
};

}  // namespace qrn
