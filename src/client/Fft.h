#pragma once
/// The fast Fourier transform that the comparison of sounds needs.

#include <complex>
#include <cstddef>
#include <span>
#include <vector>

namespace qrn {

/// Transforms `values` in place (radix 2, decimation in time; Cooley and Tukey 1965). Their count is a power of two.
/// The inverse includes the division by the count. Any thread.
void Fft(std::span<std::complex<double>> values);
void InverseFft(std::span<std::complex<double>> values);

/// The smallest power of two that is not below `count`.
std::size_t FftSizeFor(std::size_t count);

}  // namespace qrn
