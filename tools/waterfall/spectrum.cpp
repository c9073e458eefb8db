#include "waterfall/spectrum.h"

#include "libsimd.h"
#include "waterfall/error.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <complex>
#include <numbers>
#include <numeric>

namespace waterfall {

namespace {

/// A sum of cosines with alternating signs.
struct Window {
    std::string_view name;
    std::array<double, 5> terms;
};

constexpr std::array<Window, 5> windows{{
    {"hann", {0.5, 0.5, 0.0, 0.0, 0.0}},
    {"hamming", {0.54, 0.46, 0.0, 0.0, 0.0}},
    {"blackman", {0.42, 0.5, 0.08, 0.0, 0.0}},
    {"flattop", {0.21557895, 0.41663158, 0.277263158, 0.083578947, 0.006947368}},
    {"rect", {1.0, 0.0, 0.0, 0.0, 0.0}},
}};

const Window* find_window(std::string_view name)
{
    const auto* const found = std::find_if(windows.begin(), windows.end(),
                                           [&](const Window& w) { return w.name == name; });
    return found == windows.end() ? nullptr : found;
}

double weight(const Window& window, double phase)
{
    double sum = 0;
    double sign = 1;
    for (std::size_t k = 0; k < window.terms.size(); ++k, sign = -sign)
        sum += sign * window.terms[k] * std::cos(static_cast<double>(k) * phase);
    return sum;
}

const Window& window_named(std::string_view name)
{
    const Window* const window = find_window(name);
    if (window == nullptr)
        throw Error("window \"" + std::string(name) + "\": there are " + window_names());
    return *window;
}

constexpr double per_bin = 256; // places of a WindowShape's table

/// Mean of `size` samples of a tone of so many turns.
std::complex<double> mean_of_turns(double turns, double size)
{
    const double angle = std::numbers::pi * turns / size;
    const double length =
        std::abs(std::sin(angle)) < 1e-12 ? 1.0 : std::sin(angle * size) / (size * std::sin(angle));
    return std::polar(1.0, -angle * (size - 1)) * length;
}

} // namespace

bool is_window(std::string_view name) { return find_window(name) != nullptr; }

std::string window_names()
{
    std::string names;
    for (const Window& window : windows)
        names.append(names.empty() ? "" : ", ").append(window.name);
    return names;
}

std::vector<double> window_weights(std::string_view name, std::size_t size)
{
    const Window& window = window_named(name);
    std::vector<double> weights(size);
    const double step = 2.0 * std::numbers::pi / static_cast<double>(size);
    for (std::size_t i = 0; i < size; ++i)
        weights[i] = weight(window, step * static_cast<double>(i));
    const double sum = std::accumulate(weights.begin(), weights.end(), 0.0);
    for (double& w : weights)
        w /= sum;
    return weights;
}

WindowShape::WindowShape(std::string_view name, std::size_t size) : size_(static_cast<double>(size))
{
    const Window& window = window_named(name);
    for (std::size_t k = 0; k < window.terms.size() && window.terms[k] != 0; ++k)
        terms_.push_back((k % 2 == 0 ? 1 : -1) * window.terms[k] / window.terms[0]);
    reach_ = static_cast<std::ptrdiff_t>(terms_.size());
    for (double bins = 0; bins <= static_cast<double>(reach_) + 1; bins += 1 / per_bin)
        table_.push_back(exact(bins));
    double outside = static_cast<double>(reach_);
    for (int step = 0; step < 40; ++step) {
        const double middle = (half_power_ + outside) / 2;
        (power(middle) >= 0.5 ? half_power_ : outside) = middle;
    }
}

// Between the table's places linear: wrong by less than 1e-4 dB of the peak.
double WindowShape::power(double bins) const
{
    const double at = std::min(std::abs(bins) * per_bin, static_cast<double>(table_.size() - 2));
    const auto below = static_cast<std::size_t>(at);
    return table_[below] + (at - static_cast<double>(below)) * (table_[below + 1] - table_[below]);
}

double WindowShape::exact(double bins) const
{
    std::complex<double> sum = mean_of_turns(bins, size_);
    for (std::size_t k = 1; k < terms_.size(); ++k) {
        const auto turns = static_cast<double>(k);
        sum += terms_[k] / 2 *
               (mean_of_turns(bins - turns, size_) + mean_of_turns(bins + turns, size_));
    }
    return std::norm(sum);
}

Spectrum::Spectrum(std::size_t fft, std::string_view window, bool real)
    : window_(window), real_(real), bins_(real ? fft / 2 : fft), weights_(real ? fft : 2 * fft),
      in_(weights_.size()), out_(2 * fft + 2)
{
    const std::vector<double> weights = window_weights(window, fft);
    double squares = 0;
    for (std::size_t i = 0; i < fft; ++i) {
        squares += weights[i] * weights[i];
        if (real)
            weights_[i] = 2 * weights[i]; // half of a sine lies at the negative frequency
        else
            weights_[2 * i] = weights_[2 * i + 1] = weights[i];
    }
    noise_bins_ = squares * static_cast<double>(fft);

    // Estimated, or measured once for the whole system (fftw-wisdom), but not here: the same input
    // gives the same bits in every run.
    static const bool wisdom = fftw_import_system_wisdom() != 0;
    const int size = static_cast<int>(fft);
    auto* const in = reinterpret_cast<fftw_complex*>(in_.data());
    auto* const out = reinterpret_cast<fftw_complex*>(out_.data());
    const auto planned = [&](unsigned flags) {
        return real ? fftw_plan_dft_r2c_1d(size, in_.data(), out, flags)
                    : fftw_plan_dft_1d(size, in, out, FFTW_FORWARD, flags);
    };
    if (wisdom)
        plan_.reset(planned(FFTW_MEASURE | FFTW_WISDOM_ONLY));
    if (!plan_)
        plan_.reset(planned(FFTW_ESTIMATE));
    if (!plan_)
        throw Error("FFTW has no plan for length " + std::to_string(fft));
}

void Spectrum::power(const double* frame, double* power, Timings& timings)
{
    {
        // Takes any alignment: the frame starts anywhere in the stream.
        const Timed timed(timings.kernels);
        mult_f64(in_.data(), frame, weights_.data(), weights_.size());
    }
    transform(power, timings);
}

void Spectrum::power_of_part(const double* frame, std::size_t samples, double* power,
                             Timings& timings)
{
    constexpr std::size_t fewest = 16; // a shorter window would be next to nothing
    const std::vector<double> weights =
        window_weights(samples < fewest ? "rect" : window_, samples);
    const std::size_t parts = real_ ? 1 : 2;
    std::fill(in_.begin(), in_.end(), 0.0);
    for (std::size_t i = 0; i < samples * parts; ++i)
        in_[i] = frame[i] * weights[i / parts] * (real_ ? 2 : 1);
    transform(power, timings);
}

void Spectrum::transform(double* power, Timings& timings)
{
    {
        const Timed timed(timings.fft);
        fftw_execute(plan_.get());
    }
    // Double precision: the vector variants of fft_abs_f32 do not keep every bin. The length is a
    // multiple of 8, as every level of fft_abs_f64 needs.
    const Timed timed(timings.kernels);
    fft_abs_f64(out_.data(), bins_, power);
    if (real_) {
        // A real transform is in order already: the kernel's exchange is undone.
        double* const middle = power + bins_ / 2;
        std::swap_ranges(power, middle, middle);
        power[0] /= 4; // the zero frequency has no other half
    }
}

} // namespace waterfall
