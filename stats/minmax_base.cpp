// stats/minmax_base.cpp: min_*, max_* and minmax_* as defined.
#include "stats/minmax.h"

namespace {

template <class Sel, class T, class Element>
SIMD_INLINE T extreme(const Element* p, std::size_t n)
{
    T m = p[0]; // read and returned for n = 0 too; kept, hosts depend on it
    if (n >= 5) {
        for (std::size_t i = 1; i < n; ++i)
            m = Sel::of(p[i], m);
        return m;
    }

    // Up to 4 elements the running value comes first, so that a NaN is followed, not skipped; kept.
    if (n >= 2)
        m = Sel::of(m, p[1]);
    if (n >= 3)
        m = Sel::of(m, p[2]);
    if (n == 4)
        m = Sel::of(m, p[3]);
    return m;
}

template <class T>
SIMD_INLINE void extremes(const T* p, std::size_t n, T* min, T* max)
{
    if (min == nullptr || max == nullptr || n == 0)
        return;

    *max = p[0];
    *min = p[0];
    for (std::size_t i = 1; i < n; ++i)
        widen_range(p[i], min, max);
}

} // namespace

uint8_t min_u8_base(const uint8_t* p, size_t n)
{
    return static_cast<uint8_t>(extreme<Min, int>(p, n));
}

uint8_t max_u8_base(const uint8_t* p, size_t n)
{
    return static_cast<uint8_t>(extreme<Max, int>(p, n));
}

int16_t min_s16_base(const int16_t* p, size_t n) { return extreme<Min, int16_t>(p, n); }
int16_t max_s16_base(const int16_t* p, size_t n) { return extreme<Max, int16_t>(p, n); }

void minmax_s16_base(const int16_t* p, size_t n, int16_t* min, int16_t* max)
{
    extremes(p, n, min, max);
}

float min_f32_base(const float* p, size_t n) { return extreme<Min, float>(p, n); }
float max_f32_base(const float* p, size_t n) { return extreme<Max, float>(p, n); }
double min_f64_base(const double* p, size_t n) { return extreme<Min, double>(p, n); }
double max_f64_base(const double* p, size_t n) { return extreme<Max, double>(p, n); }

void minmax_f32_base(const float* p, size_t n, float* min, float* max) { extremes(p, n, min, max); }

void minmax_f64_base(const double* p, size_t n, double* min, double* max)
{
    extremes(p, n, min, max);
}
