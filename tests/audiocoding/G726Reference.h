#pragma once
/// ITU-T G.726 sample by sample, as plainly as its formulas stand there and with nothing in common with the coder under
/// test; and the same with the few steps that FFmpeg takes otherwise. That both give the very words and samples of
/// what they stand for shows that those steps are all that parts the two.

#include <algorithm>
#include <bit>
#include <cstdlib>

#include "Signals.h"

namespace qrn::test {

/// Without the wrap-around of numbers that outgrow their word length, so not for words of no encoder and not for square
/// waves of full scale.
class CG726Reference {
public:
    CG726Reference(int bits, bool asFfmpeg) : m_bits(bits), m_asFfmpeg(asFfmpeg), m_tables(kTables[bits - 2]) {}

    std::uint8_t Encode(int sample) {
        // FFmpeg rounds the input towards zero.
        const int difference = (m_asFfmpeg ? sample / 4 : sample >> 2) - m_estimate;
        const int size = std::abs(difference);
        const int exponent = size == 0 ? 0 : Length(size) - 1;
        const int log = (exponent << 7) + ((size << 7 >> exponent) & 127) - (m_scale >> 2);
        int level = 0;
        while (level < (1 << (m_bits - 1)) - 1 && log >= m_tables.limits[level] + Shift(level)) {
            ++level;
        }
        const int last = (1 << m_bits) - 1;
        const int word = difference < 0 || (level == 0 && m_bits > 2) ? last - level : level;
        Adapt(word);
        return static_cast<std::uint8_t>(word);
    }
    /// @return the reconstructed signal in 16 bits, neither limited nor cut to them.
    int Decode(int word) {
        Adapt(word);
        return m_reconstructed * 4;
    }

private:
    struct Tables {
        int limits[15];
        int logs[16];
        int multipliers[16];
        int rates[16];
    };
    struct Small {
        int sign, exponent, mantissa;
    };
    static constexpr Tables kTables[] = {
        {{261}, {116, 365}, {-22, 439}, {0, 7}},
        {{8, 218, 331}, {-2048, 135, 273, 373}, {-4, 30, 137, 582}, {0, 1, 2, 7}},
        {{-124, 80, 178, 246, 300, 349, 400},
         {-2048, 4, 135, 213, 273, 323, 373, 425},
         {-12, 18, 41, 64, 112, 198, 355, 1122},
         {0, 0, 0, 1, 1, 1, 3, 7}},
        {{-122, -16, 68, 139, 198, 250, 298, 339, 378, 413, 445, 475, 502, 528, 553},
         {-2048, -66, 28, 104, 169, 224, 274, 318, 358, 395, 429, 459, 488, 514, 539, 566},
         {14, 14, 24, 39, 40, 41, 58, 100, 141, 179, 219, 280, 358, 440, 529, 696},
         {0, 0, 0, 0, 0, 1, 1, 1, 1, 1, 2, 3, 4, 5, 6, 6}},
    };

    static int Length(int value) { return std::bit_width(static_cast<unsigned>(value)); }
    static Small ToSmall(int size, bool negative) {
        return {negative ? -1 : 1, Length(size), size == 0 ? 32 : (size << 6) >> Length(size)};
    }
    static int Product(int coefficient, const Small& signal) {
        const Small factor = ToSmall(std::abs(coefficient >> 2), coefficient < 0);
        const int mantissa = (factor.mantissa * signal.mantissa + 48) >> 4;
        return factor.sign * signal.sign * (mantissa << 9 >> (28 - factor.exponent - signal.exponent));
    }
    /// FFmpeg ends the two lowest intervals at 40 kbit/s one step further up.
    int Shift(int level) const { return m_asFfmpeg && m_bits == 5 && level < 2 ? 1 : 0; }

    void Adapt(int word) {
        const bool negative = word >> (m_bits - 1) != 0;
        const int level = negative ? (1 << m_bits) - 1 - word : word;
        const int log = m_tables.logs[level] + (m_scale >> 2);
        const int size = log < 0 ? 0 : (128 + (log & 127)) << 7 >> (14 - (log >> 7));
        const int quantised = negative ? -size : size;
        const int threshold = m_slow >> 15 > 9 ? 31 << 10 : (32 + (m_slow >> 10 & 31)) << (m_slow >> 15);
        const bool transition = m_tone && size > threshold * 3 / 4;
        m_reconstructed = m_estimate + quantised;

        const int partial = m_zeros + quantised;
        const int sign = partial < 0 ? -1 : 1;
        if (transition) {
            std::fill(std::begin(m_a), std::end(m_a), 0);
            std::fill(std::begin(m_b), std::end(m_b), 0);
        } else {
            const int turn = std::clamp(m_a[0], -8191, 8191) * 4;
            const int second = (sign * m_signs[1] * 16384 - sign * m_signs[0] * turn) >> 7;
            m_a[1] += (partial == 0 ? 0 : second) - (m_a[1] >> 7);
            m_a[1] = std::clamp(m_a[1], -12288, 12288);
            m_a[0] += (partial == 0 ? 0 : 192 * sign * m_signs[0]) - (m_a[0] >> 8);
            m_a[0] = std::clamp(m_a[0], m_a[1] - 15360, 15360 - m_a[1]);
            for (int i = 0; i < 6; ++i) {
                const int step = size == 0 ? 0 : 128 * (negative ? -1 : 1) * m_dq[i].sign;
                // FFmpeg's leak is the same at all rates.
                m_b[i] += step - (m_b[i] >> (m_bits == 5 && !m_asFfmpeg ? 9 : 8));
            }
        }
        m_tone = !transition && m_a[1] < -11776;
        std::copy_backward(m_dq, m_dq + 5, m_dq + 6);
        m_dq[0] = ToSmall(size, negative);
        m_sr[1] = m_sr[0];
        m_sr[0] = ToSmall(std::abs(m_reconstructed), m_reconstructed < 0);
        m_signs[1] = m_signs[0];
        m_signs[0] = sign;

        m_short += ((m_tables.rates[level] << 9) - m_short) >> 5;
        m_long += ((m_tables.rates[level] << 11) - m_long) >> 7;
        const bool fast = m_scale < 1536 || m_tone || std::abs(m_short * 4 - m_long) >= m_long >> 3;
        m_speed = transition ? 256 : m_speed + (((fast ? 512 : 0) - m_speed) >> 4);
        m_quick = std::clamp(m_scale + ((32 * m_tables.multipliers[level] - m_scale) >> 5), 544, 5120);
        m_slow += m_quick + (-m_slow >> 6);
        const int mix = std::min(m_speed >> 2, 64);
        const int change = (m_quick - (m_slow >> 6)) * mix;
        // FFmpeg adds the fraction of the slow factor before it rounds down; the Recommendation drops it and rounds the
        // change towards zero.
        m_scale = m_asFfmpeg ? (m_slow + change) >> 6 : (m_slow >> 6) + change / 64;

        int zeros = 0;
        for (int i = 0; i < 6; ++i) {
            zeros += Product(m_b[i], m_dq[i]);
        }
        m_zeros = zeros >> 1;
        m_estimate = (zeros + Product(m_a[0], m_sr[0]) + Product(m_a[1], m_sr[1])) >> 1;
    }

    const int m_bits;
    const bool m_asFfmpeg;
    const Tables& m_tables;
    int m_a[2]{}, m_b[6]{}, m_signs[2]{1, 1};
    Small m_dq[6]{{1, 0, 32}, {1, 0, 32}, {1, 0, 32}, {1, 0, 32}, {1, 0, 32}, {1, 0, 32}},
        m_sr[2]{{1, 0, 32}, {1, 0, 32}};
    int m_short = 0, m_long = 0, m_speed = 0, m_quick = 544, m_slow = 34816, m_scale = 544;
    int m_zeros = 0, m_estimate = 0, m_reconstructed = 0;
    bool m_tone = false;
};

}  // namespace qrn::test
