#include "client/Fft.h"

#include <bit>
#include <numbers>
#include <utility>

namespace qrn {
namespace {

void ReorderByReversedIndex(std::span<std::complex<double>> values) {
    for (std::size_t i = 1, j = 0; i < values.size(); ++i) {
        std::size_t bit = values.size() >> 1;
        for (; (j & bit) != 0; bit >>= 1) {
            j ^= bit;
        }
        j ^= bit;
        if (i < j) {
            std::swap(values[i], values[j]);
        }
    }
}

void Transform(std::span<std::complex<double>> values, double sign) {
    ReorderByReversedIndex(values);
    std::vector<std::complex<double>> roots(values.size() / 2);
    for (std::size_t i = 0; i < roots.size(); ++i) {
        const double part = static_cast<double>(i) / static_cast<double>(values.size());
        roots[i] = std::polar(1.0, sign * 2.0 * std::numbers::pi * part);
    }
    for (std::size_t half = 1; half < values.size(); half *= 2) {
        const std::size_t rootStep = values.size() / (2 * half);
        for (std::size_t start = 0; start < values.size(); start += 2 * half) {
            for (std::size_t k = 0; k < half; ++k) {
                const std::complex<double> even = values[start + k];
                const std::complex<double> odd = values[start + half + k] * roots[k * rootStep];
                values[start + k] = even + odd;
                values[start + half + k] = even - odd;
            }
        }
    }
}

}  // namespace

void Fft(std::span<std::complex<double>> values) {
    Transform(values, -1.0);
}

void InverseFft(std::span<std::complex<double>> values) {
    Transform(values, 1.0);
    for (std::complex<double>& value : values) {
        value /= static_cast<double>(values.size());
    }
}

std::size_t FftSizeFor(std::size_t count) {
    return std::bit_ceil(count);
}

}  // namespace qrn
