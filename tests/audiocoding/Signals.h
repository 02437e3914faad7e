#pragma once
/// PCM and payloads that the tests of this folder share. All of them are the same on every run.

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <numbers>
#include <random>
#include <string>
#include <vector>

namespace qrn::test {

using Pcm = std::vector<std::int16_t>;
using Bytes = std::vector<std::uint8_t>;

/// Names a parameterised case by the `name` of its row.
struct CaseName {
    template <class Info>
    std::string operator()(const Info& test) const {
        return test.param.name;
    }
};

inline Pcm Sine(int samples, double frequencyHz, int sampleRateHz, double amplitude) {
    Pcm pcm(static_cast<std::size_t>(samples));
    for (std::size_t i = 0; i < pcm.size(); ++i) {
        const double phase = 2.0 * std::numbers::pi * frequencyHz * static_cast<double>(i) / sampleRateHz;
        pcm[i] = static_cast<std::int16_t>(std::lround(amplitude * std::sin(phase)));
    }
    return pcm;
}

/// A voiced sound: harmonics of a gliding pitch that fade towards high frequencies, in syllables of 200 ms.
inline Pcm Voice(int samples, int sampleRateHz, double pitchHz = 120.0) {
    Pcm pcm(static_cast<std::size_t>(samples));
    double phase = 0.0;
    for (std::size_t i = 0; i < pcm.size(); ++i) {
        const double seconds = static_cast<double>(i) / sampleRateHz;
        phase += 2.0 * std::numbers::pi * pitchHz * (1.0 + 0.2 * std::sin(3.0 * seconds)) / sampleRateHz;
        double sum = 0.0;
        for (int harmonic = 1; harmonic <= 12; ++harmonic) {
            sum += std::sin(harmonic * phase) / harmonic;
        }
        const double syllable = 0.6 + 0.4 * std::sin(2.0 * std::numbers::pi * 5.0 * seconds);
        pcm[i] = static_cast<std::int16_t>(std::lround(7000.0 * syllable * sum));
    }
    return pcm;
}

template <class T>
std::vector<T> Random(std::size_t count, std::uint32_t seed) {
    std::mt19937 generator(seed);
    std::vector<T> values(count);
    for (T& value : values) {
        value = static_cast<T>(generator());
    }
    return values;
}

/// Power of the signal over the power of the difference, in decibels, over `count` samples of both.
inline double SignalToNoiseDb(const std::int16_t* signal, const std::int16_t* other, std::size_t count) {
    double power = 1.0;
    double noise = 1.0;
    for (std::size_t i = 0; i < count; ++i) {
        const double difference = static_cast<double>(signal[i]) - other[i];
        power += static_cast<double>(signal[i]) * signal[i];
        noise += difference * difference;
    }
    return 10.0 * std::log10(power / noise);
}

/// The same at the delay of `other`, up to `maxDelay`, that fits best; the ends are left out.
inline double AlignedSignalToNoiseDb(const Pcm& signal, const Pcm& other, std::size_t maxDelay) {
    double best = -100.0;
    const std::size_t skip = maxDelay;
    const std::size_t count = std::min(signal.size(), other.size()) - 2 * maxDelay;
    for (std::size_t delay = 0; delay <= maxDelay; ++delay) {
        best = std::max(best, SignalToNoiseDb(signal.data() + skip, other.data() + skip + delay, count));
    }
    return best;
}

}  // namespace qrn::test
