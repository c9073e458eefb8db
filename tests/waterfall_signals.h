// tests/waterfall_signals.h: known signals for the chain, and what its figures should be, from the
// definitions.
#ifndef WATERFALL_SIGNALS_H
#define WATERFALL_SIGNALS_H

#include "waterfall/chain.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstring>
#include <numbers>
#include <random>
#include <string>
#include <vector>

namespace waterfall_test {

using Complex = std::complex<double>;
using Signal = std::vector<Complex>; // real recordings take the real parts

constexpr double pi = std::numbers::pi;

inline double db(double power) { return 10 * std::log10(power); }

/// Adds a tone; hertz is its offset from the centre.
inline void add_tone(Signal& s, double amplitude, double hertz, double rate, std::size_t first = 0,
                     std::size_t count = SIZE_MAX)
{
    const Complex step = std::polar(1.0, 2 * pi * hertz / rate);
    Complex x;
    for (std::size_t i = first; i < s.size() && i - first < count; ++i, x *= step) {
        if ((i - first) % 256 == 0) { // exact again
            const double turns = std::fmod(hertz / rate * static_cast<double>(i), 1.0);
            x = std::polar(amplitude, 2 * pi * turns);
        }
        s[i] += x;
    }
}

/// Adds white complex noise of this power, the same in every run.
inline void add_noise(Signal& s, double power, unsigned seed = 1)
{
    std::mt19937_64 random(seed);
    const auto uniform = [&] {
        return (static_cast<double>(random() >> 11U) + 0.5) / 9007199254740992.0;
    };
    for (Complex& x : s) {
        const double radius = std::sqrt(-power * std::log(uniform()));
        x += std::polar(radius, 2 * pi * uniform());
    }
}

/// One number in a format's code, and what that code stands for.
struct Coded {
    double code, value;
};

inline Coded coded(waterfall::Format format, double x)
{
    using enum waterfall::Format;
    const auto rounded = [](double v, double low, double high) {
        return std::clamp(std::nearbyint(v), low, high);
    };
    switch (format) {
    case cu8:
    case u8: {
        const double code = rounded(x * 127.5 + 127.5, 0, 255);
        return {code, (code - 127.5) / 127.5};
    }
    case cs8:
    case s8: {
        const double code = rounded(x * 128, -128, 127);
        return {code, code / 128};
    }
    case cs16:
    case s16: {
        const double code = rounded(x * 32768, -32768, 32767);
        return {code, code / 32768};
    }
    case cf32:
    case f32:
        return {x, static_cast<double>(static_cast<float>(x))};
    default:
        return {x, x};
    }
}

template <typename T>
void append(std::vector<unsigned char>& bytes, double code)
{
    const T x = static_cast<T>(code);
    const auto* const p = reinterpret_cast<const unsigned char*>(&x);
    bytes.insert(bytes.end(), p, p + sizeof(T));
}

inline void append_part(std::vector<unsigned char>& bytes, waterfall::Format format, double x)
{
    using enum waterfall::Format;
    const double code = coded(format, x).code;
    switch (format) {
    case cu8:
    case u8:
        return append<std::uint8_t>(bytes, code);
    case cs8:
    case s8:
        return append<std::int8_t>(bytes, code);
    case cs16:
    case s16:
        return append<std::int16_t>(bytes, code);
    case cf32:
    case f32:
        return append<float>(bytes, code);
    case cf64:
    case f64:
        return append<double>(bytes, code);
    }
}

/// A recording in memory.
class MemorySource : public waterfall::Source {
public:
    MemorySource(const Signal& signal, waterfall::Format format, double rate, double center = 0)
    {
        recording_.name = "memory";
        recording_.format = format;
        recording_.rate = rate;
        recording_.center = center;
        for (const Complex& x : signal) {
            append_part(bytes_, format, x.real());
            if (is_complex(format))
                append_part(bytes_, format, x.imag());
        }
    }

    const waterfall::Recording& recording() const override { return recording_; }
    std::size_t read(void* block, std::size_t most) override
    {
        const std::size_t size = bytes_per_sample(recording_.format);
        const std::size_t n = std::min(most, (bytes_.size() - at_) / size);
        std::memcpy(block, bytes_.data() + at_, n * size);
        at_ += n * size;
        return n;
    }

private:
    waterfall::Recording recording_;
    std::vector<unsigned char> bytes_;
    std::size_t at_ = 0;
};

inline waterfall::Analysis analysed(const Signal& signal, waterfall::Format format, double rate,
                                    const waterfall::Settings& settings, double center = 0)
{
    MemorySource source(signal, format, rate, center);
    volatile std::sig_atomic_t stop = 0;
    return analyse(
        source, settings, [](std::uint64_t) {}, stop);
}

inline const waterfall::Line& line_near(const waterfall::Analysis& a, double hertz)
{
    const auto nearer = [&](const waterfall::Line& p, const waterfall::Line& q) {
        return std::abs(p.frequency - hertz) < std::abs(q.frequency - hertz);
    };
    return *std::min_element(a.lines.begin(), a.lines.end(), nearer);
}

/// Hann's window by its definition.
inline double hann(std::size_t i, std::size_t n)
{
    const double s = std::sin(pi * static_cast<double>(i) / static_cast<double>(n));
    return s * s;
}

/// Power at a frequency (turns per sample) of n samples from `first`, by the definition of the
/// transform: 1 for a full-scale exponential of that frequency.
inline double power_at(const Signal& s, std::size_t first, std::size_t n, double turns)
{
    Complex sum;
    double weights = 0;
    for (std::size_t i = 0; i < n; ++i) {
        const double angle = -2 * pi * std::fmod(turns * static_cast<double>(i), 1.0);
        sum += s[first + i] * hann(i, n) * std::polar(1.0, angle);
        weights += hann(i, n);
    }
    return std::norm(sum / weights);
}

} // namespace waterfall_test

#endif // WATERFALL_SIGNALS_H
