// bench/chain_others.h: the chains by other libraries, each in a file of its own.
#pragma once

#include "bench/chain.h"

#include <complex>

namespace bench {

using Complex = std::complex<float>;

constexpr double filter_apart = 1e-4; ///< single precision beside double

std::vector<Complex> complex_samples(std::size_t n);
std::vector<float> real_samples(std::size_t n);
/// Real and imaginary parts in turns.
std::vector<double> parts(const Complex* values, std::size_t n);

Work volk_fir(std::size_t samples, std::size_t taps);
Work volk_smoothing(std::size_t samples, std::size_t taps);
Work volk_quantising(std::size_t samples);
Work volk_whole(std::size_t samples);
Work volk_waterfall(std::size_t samples);
Work liquid_fir(std::size_t samples, std::size_t taps);
Work liquid_smoothing(std::size_t samples, std::size_t taps);

} // namespace bench
