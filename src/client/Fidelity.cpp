#include "client/Fidelity.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <numbers>
#include <optional>

#include "client/Fft.h"

namespace qrn {
namespace {

using Signal = std::vector<double>;

constexpr int kSegmentMs = 500;
constexpr int kFrameMs = 20;
constexpr int kSearchRate = 8000;  // Hz; the place is found at this rate, then made exact
constexpr double kNearSeconds = 0.3;
// Root mean square of a segment or frame that counts as sound: -45 dB of full scale.
constexpr double kSilenceRms = 32768.0 * 0.0056;
constexpr double kMinFrameSnrDb = -10.0;
constexpr double kMaxFrameSnrDb = 35.0;
constexpr double kLowestBandHz = 100.0;
// A band this far below the strongest one holds nothing to lose.
constexpr double kFaintBandDb = -35.0;
constexpr double kMaxBandLossDb = 60.0;

Signal ChannelOf(PcmFormat format, std::span<const std::int16_t> interleaved, int channel) {
    const auto channels = static_cast<std::size_t>(format.channels);
    Signal signal(interleaved.size() / channels);
    for (std::size_t i = 0; i < signal.size(); ++i) {
        signal[i] = interleaved[i * channels + static_cast<std::size_t>(channel)];
    }
    return signal;
}

double Energy(std::span<const double> signal) {
    double energy = 0;
    for (const double value : signal) {
        energy += value * value;
    }
    return energy;
}

bool IsSound(std::span<const double> signal) {
    return Energy(signal) >= kSilenceRms * kSilenceRms * static_cast<double>(signal.size());
}

double Median(std::vector<double> values) {
    if (values.empty()) {
        return 0;
    }
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

/// The part [start, start + length) of a signal, zero outside it.
Signal Cut(const Signal& signal, std::ptrdiff_t start, std::size_t length) {
    Signal part(length, 0.0);
    const auto size = static_cast<std::ptrdiff_t>(signal.size());
    const std::ptrdiff_t from = std::clamp<std::ptrdiff_t>(start, 0, size);
    const std::ptrdiff_t to = std::clamp<std::ptrdiff_t>(start + static_cast<std::ptrdiff_t>(length), 0, size);
    std::copy(signal.begin() + from, signal.begin() + std::max(from, to), part.begin() + (from - start));
    return part;
}

/// Every `factor`th sample behind a low-pass (windowed sinc, Hann).
Signal Decimate(const Signal& signal, int factor) {
    if (factor <= 1) {
        return signal;
    }
    const int half = 4 * factor;
    Signal taps;
    for (int i = -half; i <= half; ++i) {
        const double x = std::numbers::pi * i / factor;
        const double window = 0.5 + 0.5 * std::cos(std::numbers::pi * i / (half + 1));
        taps.push_back((i == 0 ? 1.0 : std::sin(x) / x) * window / factor);
    }
    Signal slow(signal.size() / static_cast<std::size_t>(factor));
    for (std::size_t n = 0; n < slow.size(); ++n) {
        const auto centre = static_cast<std::ptrdiff_t>(n) * factor;
        for (std::ptrdiff_t i = -half; i <= half; ++i) {
            const std::ptrdiff_t at = centre + i;
            if (at >= 0 && at < static_cast<std::ptrdiff_t>(signal.size())) {
                slow[n] += signal[static_cast<std::size_t>(at)] * taps[static_cast<std::size_t>(i + half)];
            }
        }
    }
    return slow;
}

struct Place {
    std::ptrdiff_t offset = 0;  // samples from the place in the input
    double correlation = 0;
};

/// The normalised cross-correlation of `pattern` with each place of `field`, and the best of them.
Place FindPattern(const Signal& pattern, const Signal& field) {
    const std::size_t size = FftSizeFor(pattern.size() + field.size());
    std::vector<std::complex<double>> a(size);
    std::vector<std::complex<double>> b(size);
    std::copy(pattern.begin(), pattern.end(), a.begin());
    std::copy(field.begin(), field.end(), b.begin());
    Fft(a);
    Fft(b);
    for (std::size_t i = 0; i < size; ++i) {
        b[i] *= std::conj(a[i]);
    }
    InverseFft(b);

    const double patternEnergy = Energy(pattern);
    const double silence = kSilenceRms * kSilenceRms * static_cast<double>(pattern.size()) * 0.01;
    double fieldEnergy = Energy(std::span(field).first(pattern.size()));
    Place best;
    for (std::size_t k = 0; k + pattern.size() <= field.size(); ++k) {
        if (fieldEnergy > silence) {
            const double correlation = b[k].real() / std::sqrt(patternEnergy * fieldEnergy);
            if (correlation > best.correlation) {
                best = {static_cast<std::ptrdiff_t>(k), correlation};
            }
        }
        if (k + pattern.size() < field.size()) {
            fieldEnergy += field[k + pattern.size()] * field[k + pattern.size()] - field[k] * field[k];
        }
    }
    return best;
}

double CorrelationAt(const Signal& segment, const Signal& other) {
    double product = 0;
    for (std::size_t i = 0; i < segment.size(); ++i) {
        product += segment[i] * other[i];
    }
    const double energies = Energy(segment) * Energy(other);
    return energies > 0 ? product / std::sqrt(energies) : 0;
}

/// The classical segmental SNR: the mean over short frames, each bounded, after the gain of the whole segment is
/// matched by least squares (Noll, 1974, as told by Hansen and Pellom, ICSLP 1998).
double SegmentalSnrDb(const Signal& input, const Signal& received, std::size_t frameSamples) {
    double product = 0;
    for (std::size_t i = 0; i < input.size(); ++i) {
        product += input[i] * received[i];
    }
    const double receivedEnergy = Energy(received);
    const double gain = receivedEnergy > 0 ? product / receivedEnergy : 0;
    double sum = 0;
    int frames = 0;
    for (std::size_t start = 0; start + frameSamples <= input.size(); start += frameSamples) {
        const auto frame = std::span(input).subspan(start, frameSamples);
        if (!IsSound(frame)) {
            continue;
        }
        double noise = 1.0;
        for (std::size_t i = 0; i < frameSamples; ++i) {
            const double difference = frame[i] - gain * received[start + i];
            noise += difference * difference;
        }
        sum += std::clamp(10.0 * std::log10(Energy(frame) / noise), kMinFrameSnrDb, kMaxFrameSnrDb);
        ++frames;
    }
    return frames > 0 ? sum / frames : 0;
}

/// Sums the power of aligned segments by octave bands.
class CBandPower {
public:
    CBandPower(int sampleRate, int limitHz) : m_sampleRate(sampleRate) {
        for (double edge = kLowestBandHz; edge * 2 <= limitHz; edge *= 2) {
            m_input.push_back(0);
            m_received.push_back(0);
        }
    }

    void Add(const Signal& input, const Signal& received, double gain) {
        AddSpectrum(input, 1.0, m_input);
        AddSpectrum(received, 1.0 / (gain * gain), m_received);
    }

    double WorstLossDb() const {
        const double strongest = m_input.empty() ? 0 : *std::max_element(m_input.begin(), m_input.end());
        double worst = 0;
        for (std::size_t band = 0; band < m_input.size(); ++band) {
            if (m_input[band] <= strongest * std::pow(10.0, kFaintBandDb / 10.0)) {
                continue;
            }
            const double kept = std::max(m_received[band] / m_input[band], 1e-12);
            worst = std::max(worst, std::min(-10.0 * std::log10(kept), kMaxBandLossDb));
        }
        return worst;
    }

private:
    void AddSpectrum(const Signal& signal, double factor, std::vector<double>& bands) const {
        std::vector<std::complex<double>> spectrum(FftSizeFor(signal.size()));
        for (std::size_t i = 0; i < signal.size(); ++i) {
            const double part = static_cast<double>(i) / static_cast<double>(signal.size());
            spectrum[i] = signal[i] * (0.5 - 0.5 * std::cos(2.0 * std::numbers::pi * part));
        }
        Fft(spectrum);
        const double binHz = static_cast<double>(m_sampleRate) / static_cast<double>(spectrum.size());
        double edge = kLowestBandHz;
        for (double& band : bands) {
            const auto first = static_cast<std::size_t>(edge / binHz);
            const auto last = std::min(static_cast<std::size_t>(2 * edge / binHz), spectrum.size() / 2);
            for (std::size_t i = first; i < last; ++i) {
                band += std::norm(spectrum[i]) * factor;
            }
            edge *= 2;
        }
    }

    const int m_sampleRate;
    std::vector<double> m_input;
    std::vector<double> m_received;
};

/// Compares one channel, segment by segment.
class CChannelComparison {
public:
    CChannelComparison(int sampleRate, Signal input, Signal received, int speechBandHz)
        : m_sampleRate(sampleRate),
          m_factor(std::max(1, sampleRate / kSearchRate)),
          m_input(std::move(input)),
          m_received(std::move(received)),
          m_slowInput(Decimate(m_input, m_factor)),
          m_slowReceived(Decimate(m_received, m_factor)),
          m_bands(sampleRate, speechBandHz) {}

    ChannelFidelity Run() {
        const auto length = Samples(kSegmentMs / 1000.0);
        for (std::size_t start = 0; start + length <= m_input.size(); start += length) {
            const Signal segment = Cut(m_input, static_cast<std::ptrdiff_t>(start), length);
            if (IsSound(segment)) {
                CompareSegment(segment, static_cast<std::ptrdiff_t>(start));
            }
        }
        return Summary();
    }

private:
    std::size_t Samples(double seconds) const { return static_cast<std::size_t>(seconds * m_sampleRate); }

    void CompareSegment(const Signal& segment, std::ptrdiff_t start) {
        const Place place = Find(segment, start);
        m_correlations.push_back(place.correlation);
        if (place.correlation < kMatchedCorrelation) {
            return;
        }
        m_lastOffset = place.offset;
        const Signal received = Cut(m_received, start + place.offset, segment.size());
        const double gain = place.correlation * std::sqrt(Energy(received) / Energy(segment));
        m_delays.push_back(1000.0 * static_cast<double>(place.offset) / m_sampleRate);
        m_gains.push_back(20.0 * std::log10(gain));
        m_snrs.push_back(SegmentalSnrDb(segment, received, Samples(kFrameMs / 1000.0)));
        m_bands.Add(segment, received, gain);
    }

    /// Near the place of the segment before when there is one, everywhere otherwise.
    Place Find(const Signal& segment, std::ptrdiff_t start) const {
        if (m_lastOffset) {
            const double last = static_cast<double>(*m_lastOffset) / m_sampleRate;
            const Place near = FindWithin(segment, start, last - kNearSeconds, last + kNearSeconds);
            if (near.correlation >= kMatchedCorrelation) {
                return near;
            }
        }
        return FindWithin(segment, start, -kSearchBackSeconds, kSearchAheadSeconds);
    }

    Place FindWithin(const Signal& segment, std::ptrdiff_t start, double fromSeconds, double toSeconds) const {
        const auto slow = [this](double value) { return static_cast<std::ptrdiff_t>(value * m_sampleRate / m_factor); };
        const std::size_t length = segment.size() / static_cast<std::size_t>(m_factor);
        const Signal pattern = Cut(m_slowInput, start / m_factor, length);
        const std::ptrdiff_t first = slow(fromSeconds);
        const auto range = static_cast<std::size_t>(slow(toSeconds) - first);
        const Place coarse = FindPattern(pattern, Cut(m_slowReceived, start / m_factor + first, length + range));
        const std::ptrdiff_t centre = (coarse.offset + first) * m_factor;
        Place best;
        for (std::ptrdiff_t offset = centre - m_factor; offset <= centre + m_factor; ++offset) {
            const double correlation = CorrelationAt(segment, Cut(m_received, start + offset, segment.size()));
            if (correlation > best.correlation) {
                best = {offset, correlation};
            }
        }
        return best;
    }

    ChannelFidelity Summary() const {
        ChannelFidelity result;
        result.segments = static_cast<int>(m_correlations.size());
        if (result.segments == 0) {
            return result;
        }
        result.matchedShare = static_cast<double>(m_delays.size()) / result.segments;
        result.correlation = Median(m_correlations);
        result.snrDb = Median(m_snrs);
        result.gainDb = Median(m_gains);
        result.delayMs = Median(m_delays);
        result.bandLossDb = m_bands.WorstLossDb();
        return result;
    }

    const int m_sampleRate;
    const int m_factor;
    const Signal m_input;
    const Signal m_received;
    const Signal m_slowInput;
    const Signal m_slowReceived;
    CBandPower m_bands;
    std::optional<std::ptrdiff_t> m_lastOffset;
    std::vector<double> m_correlations;
    std::vector<double> m_delays;
    std::vector<double> m_gains;
    std::vector<double> m_snrs;
};

}  // namespace

std::vector<ChannelFidelity> CompareSound(PcmFormat format, std::span<const std::int16_t> input,
                                          std::span<const std::int16_t> received, int speechBandHz) {
    std::vector<ChannelFidelity> channels;
    for (int channel = 0; channel < format.channels; ++channel) {
        CChannelComparison comparison(format.sampleRate, ChannelOf(format, input, channel),
                                      ChannelOf(format, received, channel), speechBandHz);
        channels.push_back(comparison.Run());
    }
    return channels;
}

std::optional<std::size_t> FindInLoop(PcmFormat format, std::span<const std::int16_t> part,
                                      std::span<const std::int16_t> sound) {
    const int factor = std::max(1, format.sampleRate / kSearchRate);
    const std::size_t second = format.SamplesPerBlock(1000);
    const Signal pattern = ChannelOf(format, part, 0);
    Signal loop = ChannelOf(format, sound, 0);
    if (pattern.size() < second || loop.size() < second) {
        return std::nullopt;
    }
    const std::size_t length = loop.size();
    loop.reserve(length + second);
    for (std::size_t i = 0; i < second; ++i) {
        loop.push_back(loop[i]);
    }
    const Place place = FindPattern(Decimate(Cut(pattern, 0, second), factor), Decimate(loop, factor));
    if (place.correlation < kMatchedCorrelation) {
        return std::nullopt;
    }
    return static_cast<std::size_t>(place.offset) * static_cast<std::size_t>(factor) % length;
}

}  // namespace qrn
