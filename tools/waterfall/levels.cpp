#include "waterfall/levels.h"

#include "libsimd.h"
#include "waterfall/unpack.h"

#include <algorithm>
#include <cmath>

namespace waterfall {

namespace {

/// Extremes of a block and the codes that count as clipped.
template <typename T>
struct Extremes {
    T min, max, low_rail, high_rail;
};

// Counting is a second pass, over the few blocks that touch a rail.
template <typename T>
void count_clipped(const T* p, std::size_t n, const Extremes<T>& e, Levels& levels)
{
    if (e.min > e.low_rail && e.max < e.high_rail)
        return;
    levels.clipped += static_cast<std::uint64_t>(
        std::count_if(p, p + n, [&](T x) { return x <= e.low_rail || x >= e.high_rail; }));
}

Extremes<std::uint8_t> extremes(const std::uint8_t* p, std::size_t n)
{
    return {min_u8(p, n), max_u8(p, n), 0, 255};
}

// The rails of 16 bits are the codes; -32767 is not clipped.
Extremes<std::int16_t> extremes(const std::int16_t* p, std::size_t n)
{
    Extremes<std::int16_t> e{0, 0, INT16_MIN, INT16_MAX};
    minmax_s16(p, n, &e.min, &e.max);
    return e;
}

Extremes<float> extremes(const float* p, std::size_t n)
{
    Extremes<float> e{0, 0, -1, 1};
    minmax_f32(p, n, &e.min, &e.max);
    return e;
}

// minmax_f64, not max_f64: that one's AVX variant leaves out what stands before a 32-byte boundary.
// On an aligned buffer minmax_f64 is exact at every level.
Extremes<double> extremes(const double* p, std::size_t n)
{
    Extremes<double> e{0, 0, -1, 1};
    minmax_f64(p, n, &e.min, &e.max);
    return e;
}

template <typename T>
void measure(const void* block, std::size_t n, Scale scale, Levels& levels, Timings& timings)
{
    const T* const p = static_cast<const T*>(block);
    Extremes<T> e{};
    {
        const Timed timed(timings.kernels);
        e = extremes(p, n);
    }
    const double low = static_cast<double>(e.min) * scale.step + scale.offset;
    const double high = static_cast<double>(e.max) * scale.step + scale.offset;
    levels.peak = std::max({levels.peak, std::abs(low), std::abs(high)});
    count_clipped(p, n, e, levels);
}

// avg_abs_s16 sums in 32 bits a lane: blocks stay below the number that could wrap. Its mean is
// truncated, up to one step of 32768 low.
void measure_mean_abs(const void* block, std::size_t n, Levels& levels, Timings& timings)
{
    const Timed timed(timings.kernels);
    const std::uint64_t mean = avg_abs_s16(static_cast<const std::int16_t*>(block), n);
    const double before = levels.mean_abs * static_cast<double>(levels.parts);
    const double sum = before + static_cast<double>(mean) / 32768.0 * static_cast<double>(n);
    levels.mean_abs = sum / static_cast<double>(levels.parts + n);
}

} // namespace

void measure_levels(Format format, const void* block, std::size_t samples, Levels& levels,
                    Timings& timings)
{
    const std::size_t n = samples * parts_of(format);
    if (n == 0)
        return;
    Scale scale = scale_of(format);
    switch (format) {
    case Format::cs8: // unsigned since prepare()
    case Format::s8:
    case Format::cu8:
    case Format::u8:
        measure<std::uint8_t>(block, n, scale, levels, timings);
        break;
    case Format::cs16:
    case Format::s16:
        measure<std::int16_t>(block, n, scale, levels, timings);
        measure_mean_abs(block, n, levels, timings);
        break;
    case Format::cf32:
    case Format::f32:
        measure<float>(block, n, scale, levels, timings);
        break;
    case Format::cf64:
    case Format::f64:
        measure<double>(block, n, scale, levels, timings);
        break;
    }
    levels.parts += n;
}

void measure_power(const double* values, std::size_t samples, std::size_t parts, Levels& levels,
                   Timings& timings)
{
    constexpr std::size_t piece = 4096;
    const Timed timed(timings.kernels);
    const std::size_t n = samples * parts;
    for (std::size_t at = 0; at < n; at += piece) {
        const double* const x = values + at;
        const std::size_t count = std::min(piece, n - at);
        double squares = 0;
        double same = 0;
        fir_step_c64(x, x, x, count, &squares, &same); // the values as their own taps
        levels.squares += squares;
        if (parts == 1)
            levels.sum += avg_f64(x, count) * static_cast<double>(count);
    }
}

double mean_power(const Levels& levels, bool complex)
{
    const double squares = 2 * levels.squares / static_cast<double>(levels.parts);
    const double mean = levels.sum / static_cast<double>(levels.parts);
    return complex ? squares : std::max(squares - mean * mean, 0.0);
}

void Levels::add(const Levels& other)
{
    if (other.parts == 0)
        return;
    const double all = static_cast<double>(parts + other.parts);
    mean_abs += (other.mean_abs - mean_abs) * static_cast<double>(other.parts) / all;
    peak = std::max(peak, other.peak);
    parts += other.parts;
    clipped += other.clipped;
    sum += other.sum;
    squares += other.squares;
}

} // namespace waterfall
