#include "audiocoding/g726/CG72xState.h"

#include <algorithm>
#include <bit>

#include "audiocoding/g726/CG726Predictor.h"
#include "audiocoding/g726/G726Tables.h"

namespace {

using qrn::ApplySign;
using qrn::FirstPole;
using qrn::PackedPoles;
using qrn::PackPoles;
using qrn::SecondPole;
using qrn::SignMask;
using qrn::Wrap16;

constexpr int kLimitOfSecondPole = 12288;  // 0.75 in 2^-14
constexpr int kLimitOfBothPoles = 15360;   // 1 - 2^-4 in 2^-14
constexpr int kToneLimit = -11776;         // -0.71875 in 2^-14
constexpr int kFastSpeed = 512;
constexpr int kTransitionSpeed = 256;
constexpr int kFullSpeed = 64;
constexpr int kIdleScale = 1536;
constexpr int kLowestScale = 544;
constexpr int kHighestScale = 5120;
constexpr int kOutputLimit = 32767;

constexpr int kNothing = -2048;
/// Below no other; the scale factor adds 136 at least.
constexpr int kLowestReconstruction = -66;

/// A quantised difference.
struct Decision {
    int magnitude;  ///< of its word
    int sign;       ///< mask; set for a difference of nothing, whose word is all ones
    int moves;      ///< mask; 0 for a difference of nothing
    int size;       ///< reconstructed
};

/// CG72xState with its fields in local variables, which is where the compiler keeps them in registers.
///
/// A sample's word decides what the next one is predicted from, so the time of a sample is the length of that way, and
/// everything here is without branches but for what seldom happens.
template <int Bits>
class CStepper {
public:
    using Tables = qrn::G726Tables<Bits>;

    explicit CStepper(const CG72xState::Fields& s)
        : m_predictor(s.b, s.a, s.dq, s.sr),
          m_yl(s.yl),
          m_yu(s.yu),
          m_dms(s.dms),
          m_dml(s.dml),
          m_ap(s.ap),
          m_pk1(-s.pk[0]),
          m_pk2(-s.pk[1]),
          m_td(s.td),
          m_poles(PackPoles(s.a[0], s.a[1])) {
        PreparePoles();
        Predict();
    }

    void Store(CG72xState::Fields& s) const {
        m_predictor.Store(s.b, s.dq, s.sr);
        s.yl = m_yl;
        s.yu = static_cast<std::int16_t>(m_yu);
        s.dms = static_cast<std::int16_t>(m_dms);
        s.dml = static_cast<std::int16_t>(m_dml);
        s.ap = static_cast<std::int16_t>(m_ap);
        s.a = {static_cast<std::int16_t>(FirstPole(m_poles)), static_cast<std::int16_t>(SecondPole(m_poles))};
        s.pk = {static_cast<std::int16_t>(-m_pk1), static_cast<std::int16_t>(-m_pk2)};
        s.td = static_cast<std::int16_t>(m_td);
    }

    [[gnu::always_inline]] Decision Quantise(int pcm) const {
        const int difference = (pcm >> 2) - m_estimate;
        const int sign = SignMask(difference);
        const int size = ApplySign(difference, sign);
        // With few intervals it is quicker to have all limits and sizes ready before the difference is known.
        return Bits < 5 ? QuantiseByLimits(size, sign) : QuantiseByLogarithm(size, sign);
    }
    [[gnu::always_inline]] Decision DecisionOf(int word) const {
        const int sign = -(word >> (Bits - 1) & 1);
        const int magnitude = (word ^ sign) & (Tables::kMagnitudes - 1);
        const int reconstruction = Tables::kLevels[static_cast<std::size_t>(magnitude)].reconstruction;
        const int moves = MovesFor(reconstruction);
        return {magnitude, sign, moves, SizeOf(reconstruction) & moves};
    }
    [[gnu::always_inline]] static std::uint8_t WordOf(const Decision& decision) {
        return static_cast<std::uint8_t>((decision.magnitude ^ decision.sign) & (2 * Tables::kMagnitudes - 1));
    }

    /// Takes what became of one sample into the state. @return the reconstructed signal.
    [[gnu::always_inline]] int Step(const Decision& decision) {
        const qrn::G726Level& level = Tables::kLevels[static_cast<std::size_t>(decision.magnitude)];
        const int size = decision.size;
        // Less the sign it is the difference; the sign is known before the size.
        const int flipped = size ^ decision.sign;
        const int reconstructed = Wrap16(flipped + (m_estimate - decision.sign));
        const bool transition = m_td != 0 && size > TransitionThreshold();

        AdaptPoles(Wrap16(flipped + (m_estimateOfZeros - decision.sign)));
        m_predictor.template AdaptZeros<Bits == 5 ? 9 : 8>(decision.sign, decision.moves);
        m_td = SecondPole(m_poles) < kToneLimit ? 1 : 0;
        AdaptSpeed(level);
        if (transition) [[unlikely]] {
            m_poles = 0;
            m_td = 0;
            m_predictor.ClearZeros();
            m_ap = kTransitionSpeed;
        }
        m_yu = std::clamp(m_y + ((level.multiplier - m_y) >> 5), kLowestScale, kHighestScale);
        m_yl += m_yu + (-m_yl >> 6);
        m_predictor.SetPoles(m_poles);
        m_predictor.Push(size, decision.sign, reconstructed);
        PreparePoles();
        Predict();
        return reconstructed;
    }

private:
    [[gnu::always_inline]] Decision QuantiseByLimits(int size, int sign) const {
        using Levels = qrn::G726Levels<Bits>;
        int magnitude = 0;
        int moves = -1;
        int reconstructed = SizeOrNothing(Levels::kReconstruction[0]);
#pragma GCC unroll 7
        for (std::size_t i = 0; i < Levels::kDecisionLevels.size(); ++i) {
            const int reached = size >= PowerOf<true>(Levels::kDecisionLevels[i]) ? -1 : 0;
            const int below = SizeOrNothing(Levels::kReconstruction[i]);
            reconstructed += (SizeOf(Levels::kReconstruction[i + 1]) - below) & reached;
            magnitude -= reached;
            moves = i == 0 && Bits > 2 ? reached : moves;
        }
        return {magnitude, sign | ~moves, moves, reconstructed};
    }
    [[gnu::always_inline]] Decision QuantiseByLogarithm(int size, int sign) const {
        const int exponent = std::countl_zero(static_cast<std::uint32_t>(size) | 1) ^ 31;
        const int log = (exponent << 7) + (((size << 7) >> exponent) & 127);
        const int entry = log - (m_y >> 2) - Tables::kLowestLog;
        const int decision = Tables::kDecisions[static_cast<std::size_t>(entry)];
        const int moves = MovesFor(decision >> 4);
        return {decision & 15, sign | ~moves, moves, SizeOf(decision >> 4) & moves};
    }

    /// With more than two bits the reconstruction of magnitude 0 is below all logarithms: nothing.
    [[gnu::always_inline]] static int MovesFor(int reconstruction) {
        return Bits > 2 ? ~SignMask(reconstruction - kNothing - 1) : -1;
    }
    template <bool RoundUp>
    [[gnu::always_inline]] int PowerOf(int log) const {
        const int entry = log + (m_y >> 2);
        return qrn::kPowerOf<RoundUp>[static_cast<std::size_t>(entry)];
    }
    [[gnu::always_inline]] int SizeOf(int reconstruction) const {
        return PowerOf<false>(std::max(reconstruction, kLowestReconstruction));
    }
    [[gnu::always_inline]] int SizeOrNothing(int reconstruction) const {
        return reconstruction == kNothing ? 0 : SizeOf(reconstruction);
    }

    int TransitionThreshold() const {
        const int integer = m_yl >> 15;
        const int threshold = integer > 9 ? 31 << 10 : ((m_yl >> 10 & 31) + 32) << integer;
        return (threshold + (threshold >> 1)) >> 1;
    }

    /// Takes the poles that were made ready.
    /// @param partial the difference and what the zeros estimate, whose signs steer the poles.
    [[gnu::always_inline]] void AdaptPoles(int partial) {
        const int sign = SignMask(partial);
        const PackedPoles before = m_poles;
        m_poles = m_polesForPlus ^ (m_differenceForMinus & static_cast<std::uint64_t>(std::int64_t{sign}));
        if (partial == 0) [[unlikely]] {
            m_poles = Limited(Leaked<8>(FirstPole(before)), Leaked<7>(SecondPole(before)));
        }
        m_pk2 = m_pk1;
        m_pk1 = sign;
    }
    /// Makes them ready for either sign of the next partial signal. Their limits are a long way, which nobody waits for
    /// while the next sample is being predicted.
    [[gnu::always_inline]] void PreparePoles() {
        const int first = Leaked<8>(FirstPole(m_poles));
        const int second = Leaked<7>(SecondPole(m_poles));
        const int turn = ApplySign(std::clamp(FirstPole(m_poles), -8191, 8191) * 4, ~m_pk1);
        const int change1 = ApplySign(192, m_pk1);
        const int change2 = ApplySign(16384, m_pk2) + turn;
        m_polesForPlus = Limited(first + change1, second + (change2 >> 7));
        m_differenceForMinus = m_polesForPlus ^ Limited(first - change1, second + (-change2 >> 7));
    }
    template <int Shift>
    [[gnu::always_inline]] static int Leaked(int coefficient) {
        return coefficient - (coefficient >> Shift);
    }
    [[gnu::always_inline]] static PackedPoles Limited(int a1, int a2) {
        const int second = std::clamp(a2, -kLimitOfSecondPole, kLimitOfSecondPole);
        return PackPoles(std::clamp(a1, second - kLimitOfBothPoles, kLimitOfBothPoles - second), second);
    }

    [[gnu::always_inline]] void AdaptSpeed(const qrn::G726Level& level) {
        m_dms += (level.shortRate - m_dms) >> 5;
        m_dml += (level.longRate - m_dml) >> 7;
        const int change = m_dms * 4 - m_dml;
        const int isSteady = SignMask(ApplySign(change, SignMask(change)) - (m_dml >> 3));
        const int isSlow = ~SignMask(m_y - kIdleScale) & (m_td - 1) & isSteady;
        m_ap += ((kFastSpeed & ~isSlow) - m_ap) >> 4;
    }

    [[gnu::always_inline]] void Predict() {
        const auto sums = m_predictor.Predict();
        m_estimateOfZeros = sums.zeros >> 1;
        m_estimate = sums.all >> 1;
        const int slow = m_yl >> 6;
        const int change = (m_yu - slow) * std::min(m_ap >> 2, kFullSpeed);
        m_y = slow + ((change + (SignMask(change) & 63)) >> 6);  // rounds towards zero
    }

    qrn::CG726Predictor m_predictor;
    // As in CG72xState::Fields, except that the signs pk are masks.
    int m_yl, m_yu, m_dms, m_dml, m_ap, m_pk1, m_pk2, m_td;
    PackedPoles m_poles;
    /// For the next sample: those for a sign of 0, and the bits in which those for -1 are others.
    PackedPoles m_polesForPlus = 0;
    PackedPoles m_differenceForMinus = 0;
    int m_estimateOfZeros = 0;  // sez
    int m_estimate = 0;         // se
    int m_y = 0;
};

template <int Bits>
void EncodeBlock(CG72xState::Fields& fields, std::span<const std::int16_t> pcm, std::uint8_t* words) {
    CStepper<Bits> stepper(fields);
    for (const std::int16_t sample : pcm) {
        const Decision decision = stepper.Quantise(sample);
        *words++ = stepper.WordOf(decision);
        stepper.Step(decision);
    }
    stepper.Store(fields);
}

template <int Bits>
void DecodeBlock(CG72xState::Fields& fields, std::span<const std::uint8_t> words, std::int16_t* pcm) {
    CStepper<Bits> stepper(fields);
    for (const std::uint8_t word : words) {
        const int sample = stepper.Step(stepper.DecisionOf(word)) * 4;
        *pcm++ = static_cast<std::int16_t>(std::clamp(sample, -kOutputLimit, kOutputLimit));
    }
    stepper.Store(fields);
}

}  // namespace

CG72xState::CG72xState(int bitsPerSample) : m_bitsPerSample(std::clamp(bitsPerSample, 2, 5)) {}

void CG72xState::Encode(std::span<const std::int16_t> pcm, std::span<std::uint8_t> words) {
    constexpr decltype(&EncodeBlock<2>) kCoders[] = {EncodeBlock<2>, EncodeBlock<3>, EncodeBlock<4>, EncodeBlock<5>};
    kCoders[m_bitsPerSample - 2](m_fields, pcm.first(std::min(pcm.size(), words.size())), words.data());
}

void CG72xState::Decode(std::span<const std::uint8_t> words, std::span<std::int16_t> pcm) {
    constexpr decltype(&DecodeBlock<2>) kCoders[] = {DecodeBlock<2>, DecodeBlock<3>, DecodeBlock<4>, DecodeBlock<5>};
    kCoders[m_bitsPerSample - 2](m_fields, words.first(std::min(words.size(), pcm.size())), pcm.data());
}
