// stats/avg_base.cpp: avg_*, avg_lvl_* and avg_abs_s16 as defined.
#include "stats/avg.h"

namespace {

template <class T>
SIMD_INLINE T average(const T* x, std::size_t n)
{
    T sum = 0;
    for (std::size_t i = 0; i < n; ++i)
        sum = add(sum, x[i]);
    return div(sum, as_real<T>(n)); // n = 0 gives 0 / 0, a NaN; kept
}

template <class T>
SIMD_INLINE T average_to_level(const T* x, std::size_t n, T level)
{
    T sum = 0;
    T count = 0;
    for (std::size_t i = 0; i < n; ++i)
        take(x[i], level, sum, count);
    return mean_or_zero(sum, count);
}

} // namespace

float avg_f32_base(const float* x, size_t n) { return average(x, n); }
double avg_f64_base(const double* x, size_t n) { return average(x, n); }

float avg_lvl_f32_base(const float* x, size_t n, float level)
{
    return average_to_level(x, n, level);
}

double avg_lvl_f64_base(const double* x, size_t n, double level)
{
    return average_to_level(x, n, level);
}

uint64_t avg_abs_s16_base(const int16_t* x, size_t n)
{
    std::uint64_t total = 0;
    for (std::size_t i = 0; i < n; ++i)
        total += magnitude(x[i]);
    return mean_magnitude(total, n);
}
