#include "platform/imaging/CAxisKernel.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "platform/imaging/IppTypes.h"

namespace qrn {
namespace {

double Nearest(double /*distance*/) {
    return 1.0;
}

double Linear(double distance) {
    return std::max(0.0, 1.0 - std::abs(distance));
}

/// Catmull-Rom (R. Keys, "Cubic convolution interpolation for digital image processing", 1981, with a = -1/2).
double Cubic(double distance) {
    const double x = std::abs(distance);
    if (x < 1.0) {
        return (1.5 * x - 2.5) * x * x + 1.0;
    }
    return x < 2.0 ? ((-0.5 * x + 2.5) * x - 4.0) * x + 2.0 : 0.0;
}

double Lanczos(double distance) {
    constexpr double kLobes = 3.0;
    const double x = std::abs(distance) * std::numbers::pi;
    if (x < 1e-9) {
        return 1.0;
    }
    return std::abs(distance) < kLobes ? kLobes * std::sin(x) * std::sin(x / kLobes) / (x * x) : 0.0;
}

struct Method {
    int interpolation;
    int taps;
    double (*weight)(double);
};

constexpr Method kMethods[] = {{IPPI_INTER_NN, 1, Nearest},
                               {IPPI_INTER_LINEAR, 2, Linear},
                               {IPPI_INTER_CUBIC, 4, Cubic},
                               {IPPI_INTER_LANCZOS, 6, Lanczos}};

const Method* FindMethod(int interpolation) {
    const auto* found = std::find_if(std::begin(kMethods), std::end(kMethods),
                                     [&](const Method& method) { return method.interpolation == interpolation; });
    return found == std::end(kMethods) ? nullptr : found;
}

/// Samples that an area of one new sample can touch.
int AreaTaps(double ratio) {
    return static_cast<int>(std::ceil(ratio)) + 1;
}

}  // namespace

bool CAxisKernel::Supports(int interpolation) {
    return interpolation == IPPI_INTER_SUPER || FindMethod(interpolation) != nullptr;
}

CAxisKernel::CAxisKernel(int sourceSize, int destinationSize, int interpolation) {
    const double ratio = static_cast<double>(sourceSize) / destinationSize;
    const Method* method = FindMethod(interpolation);
    const int taps = method != nullptr ? method->taps : AreaTaps(ratio);
    m_taps = std::min(taps, sourceSize);
    m_first.resize(static_cast<std::size_t>(destinationSize));
    m_weights.resize(static_cast<std::size_t>(destinationSize) * static_cast<std::size_t>(m_taps));
    for (int index = 0; index < destinationSize; ++index) {
        const double begin = index * ratio;
        const double centre = (index + 0.5) * ratio - 0.5;
        const int first = method == nullptr ? static_cast<int>(std::floor(begin))
                          : taps == 1       ? static_cast<int>(std::floor(centre + 0.5))
                                            : static_cast<int>(std::floor(centre)) - taps / 2 + 1;
        m_first[static_cast<std::size_t>(index)] = std::clamp(first, 0, sourceSize - m_taps);
        for (int sample = first; sample < first + taps; ++sample) {
            const double covered = std::min(sample + 1.0, begin + ratio) - std::max<double>(sample, begin);
            AddWeight(index, sample, method == nullptr ? std::max(0.0, covered) : method->weight(sample - centre),
                      sourceSize);
        }
        Normalise(index);
    }
}

void CAxisKernel::AddWeight(int index, int sample, double weight, int sourceSize) {
    const int slot = std::clamp(sample, 0, sourceSize - 1) - First(index);
    m_weights[static_cast<std::size_t>(index) * static_cast<std::size_t>(m_taps) + static_cast<std::size_t>(slot)] +=
        static_cast<float>(weight);
}

void CAxisKernel::Normalise(int index) {
    float* weights = m_weights.data() + static_cast<std::size_t>(index) * static_cast<std::size_t>(m_taps);
    float sum = 0;
    for (int tap = 0; tap < m_taps; ++tap) {
        sum += weights[tap];
    }
    for (int tap = 0; tap < m_taps; ++tap) {
        weights[tap] /= sum;
    }
}

}  // namespace qrn
