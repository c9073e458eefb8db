// span_host.cpp: a host in C++20 on libsimd.hpp. A block of any length is windowed, stored in 8 bits by
// its own range and restored; then its spectrum's floor and peak are told.
//
//     c++ -std=c++20 span_host.cpp $(pkg-config --cflags --libs libsimd)
#include "libsimd.hpp"

#include <cmath>
#include <complex>
#include <cstdio>
#include <vector>

namespace {

constexpr double pi = 3.14159265358979323846;

/// The Fourier transform by its definition: short blocks only.
std::vector<std::complex<double>> transform(const std::vector<double>& samples)
{
    std::vector<std::complex<double>> bins(samples.size());
    const double turn = 2 * pi / static_cast<double>(samples.size());
    for (std::size_t k = 0; k < bins.size(); ++k)
        for (std::size_t i = 0; i < samples.size(); ++i)
            bins[k] +=
                samples[i] * std::polar(1.0, -turn * static_cast<double>(k * i % samples.size()));
    return bins;
}

} // namespace

int main()
try {
    std::vector<double> samples(250), window(250); // no power of two, no alignment asked for
    for (std::size_t i = 0; i < samples.size(); ++i) {
        const double t = static_cast<double>(i) / static_cast<double>(samples.size());
        samples[i] = std::sin(2 * pi * 40 * t);
        window[i] = 0.5 - 0.5 * std::cos(2 * pi * t);
    }
    simd::mult(samples, samples, window);

    std::vector<std::uint8_t> codes(samples.size());
    const auto [step, offset] = simd::pack_u8(samples, codes);
    simd::unpack_u8(codes, samples, step, offset);

    const auto bins = transform(samples);
    std::vector<double> power(bins.size()), decibels(bins.size());
    simd::fft_abs(simd::parts(bins), power);
    simd::spec_log(power, decibels, 0);
    std::printf("step %.5f, peak %.1f dB, floor %.1f dB\n", step, simd::max(decibels),
                10 * std::log10(simd::avg_lvl(power, 1.0)));
} catch (const std::exception& e) { // simd::bad_argument, simd::unsupported
    std::fprintf(stderr, "span_host: %s\n", e.what());
    return 1;
}
