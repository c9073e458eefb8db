#include "waterfall/channel.h"

#include "libsimd.h"
#include "waterfall/unpack.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <numbers>
#include <numeric>

namespace waterfall {

namespace {

using std::numbers::pi;

double sinc(double x) { return x == 0 ? 1.0 : std::sin(pi * x) / (pi * x); }

/// e to the power of 2 pi j times the fraction of turns: exact after any number of samples.
std::complex<double> turned(double turns)
{
    return std::polar(1.0, 2 * pi * std::fmod(turns, 1.0));
}

struct LowPass {
    std::size_t taps;
    double slope, cutoff; // shares of the rate
};

// Blackman's window falls from pass to stop within 5.5 / taps of the rate. With 32 taps per step of
// decimation the stop band begins at the new band's edge, and the outer third is the slope.
LowPass low_pass(unsigned decimate, std::size_t taps)
{
    const std::size_t n = taps == 0 ? 32UL * decimate + 1 : taps;
    const double slope = 5.5 / static_cast<double>(n);
    return {n, slope, std::max(0.5 / decimate - slope / 2, 0.25 / decimate)};
}

} // namespace

double flat_share(unsigned decimate, std::size_t taps)
{
    if (decimate == 1)
        return 1.0;
    const LowPass filter = low_pass(decimate, taps);
    return std::clamp(2.0 * decimate * (filter.cutoff - filter.slope / 2), 0.25, 1.0);
}

std::vector<double> channel_taps(unsigned decimate, std::size_t taps)
{
    if (decimate == 1)
        return {1.0};
    const auto [n, slope, cutoff] = low_pass(decimate, taps);
    std::vector<double> out(n);
    const double middle = static_cast<double>(n - 1) / 2;
    for (std::size_t i = 0; i < n; ++i) {
        const double at = static_cast<double>(i) - middle;
        const double phase = 2 * pi * (at + middle + 1) / static_cast<double>(n + 1);
        const double window = 0.42 - 0.5 * std::cos(phase) + 0.08 * std::cos(2 * phase);
        out[i] = sinc(2 * cutoff * at) * window;
    }
    const double sum = std::accumulate(out.begin(), out.end(), 0.0);
    for (double& tap : out)
        tap /= sum;
    return out;
}

Channel::Channel(Format format, double rate, const Settings& settings, std::size_t most)
    : format_(format), turns_(-settings.channel.value_or(0.0) / rate),
      mixed_(turns_ != 0 || !is_complex(format) || bytes_per_sample(format) == 2),
      decimate_(settings.decimate), taps_(channel_taps(settings.decimate, settings.taps)),
      history_re_(taps_.size()), history_im_(taps_.size()), next_((taps_.size() - 1) / 2),
      mixed_block_(2 * most), filtered_(2 * most)
{
}

void Channel::unpack_mixed(const void* block, std::size_t samples, Timings& timings)
{
    double* const out = mixed_block_.data();
    if (is_complex(format_)) {
        unpack(format_, block, samples, out, timings);
    } else {
        // Twice the real part: a sine has half of its amplitude at the positive frequency.
        unpack(format_, block, samples, filtered_.data(), timings);
        for (std::size_t i = 0; i < samples; ++i) {
            out[2 * i] = 2 * filtered_[i];
            out[2 * i + 1] = 0;
        }
    }
    std::complex<double> phase = turned(turns_ * static_cast<double>(count_));
    const std::complex<double> step = turned(turns_);
    for (std::size_t i = 0; i < samples; ++i, phase *= step) {
        const double re = out[2 * i];
        const double im = out[2 * i + 1];
        out[2 * i] = re * phase.real() - im * phase.imag();
        out[2 * i + 1] = re * phase.imag() + im * phase.real();
    }
}

// The ring of the filter belongs to the host. 16-bit and float samples go in as they are where no
// oscillator stands before the filter; the rest as doubles.
void Channel::filter(const void* block, std::size_t samples, Timings& timings)
{
    const Timed timed(timings.kernels);
    const std::uint64_t last = taps_.size() - 1;
    double* const re = history_re_.data();
    double* const im = history_im_.data();
    double* const out = filtered_.data();
    if (mixed_) {
        fir_c64_alt(mixed_block_.data(), samples, taps_.data(), last, &position_, re, im, out);
    } else if (format_ == Format::cs16) {
        const Scale scale = scale_of(format_);
        fir_c16_alt(static_cast<const std::int16_t*>(block), samples, taps_.data(), last,
                    &position_, re, im, out, scale.step, scale.offset);
    } else if (format_ == Format::cf32) {
        fir_c32_alt(static_cast<const float*>(block), samples, taps_.data(), last, &position_, re,
                    im, out);
    } else {
        fir_c64_alt(static_cast<const double*>(block), samples, taps_.data(), last, &position_, re,
                    im, out);
    }
}

std::size_t Channel::run(const void* block, std::size_t samples, double* out, Timings& timings)
{
    if (mixed_)
        unpack_mixed(block, samples, timings);
    filter(block, samples, timings);
    std::size_t kept = 0;
    for (; next_ < count_ + samples; next_ += decimate_, ++kept) {
        const std::size_t at = 2 * static_cast<std::size_t>(next_ - count_);
        out[2 * kept] = filtered_[at];
        out[2 * kept + 1] = filtered_[at + 1];
    }
    count_ += samples;
    return kept;
}

} // namespace waterfall
