// stats/minmax_avx.cpp: min_*, max_* and minmax_* of f32 and f64 for AVX, 8 and 4 lanes.
#include "stats/minmax.h"

namespace {

// head    single elements until p is 32-byte aligned, into h
// blocks  8 elements, from the first aligned one on
// fold    halvings: upper 4 lanes with lower 4, L0 with L2 and L1 with L3, then the two
// tail    single elements, into the folded lanes; at last the head, second operand
template <class Sel>
SIMD_INLINE float extreme_f32(const float* p, std::size_t n)
{
    float h = *p;
    for (; !aligned<32>(p); --n)
        h = Sel::of(*p++, h);

    const float* const rest = p + n / 8 * 8;
    __m256 v = Aligned::load256(p);
    for (p += 8; p != rest; p += 8)
        v = Sel::of(v, Aligned::load256(p));

    float r = fold<Sel>(v);
    _mm256_zeroupper();
    for (n %= 8; n != 0; --n)
        r = Sel::of(*p++, r);
    return Sel::of(r, h);
}

// blocks  4 elements, from p on, which is 32-byte aligned
// fold    L0 with L1 and L2 with L3, then the two
// tail    single elements, into the folded lanes
template <class Sel>
SIMD_INLINE double extreme_after_head(const double* p, std::size_t n)
{
    const double* const rest = p + n / 4 * 4;
    __m256d v = Aligned::load256(p);
    for (p += 4; p != rest; p += 4)
        v = Sel::of(v, Aligned::load256(p));

    double r = fold<Sel>(v);
    _mm256_zeroupper();
    for (n %= 4; n != 0; --n)
        r = Sel::of(*p++, r);
    return r;
}

} // namespace

float min_f32_avx(const float* p, size_t n)
{
    if (n <= 31) {
        _mm256_zeroupper();
        return min_f32_base(p, n);
    }
    return extreme_f32<Min>(p, n);
}

float max_f32_avx(const float* p, size_t n)
{
    if (n <= 31) {
        _mm256_zeroupper();
        return max_f32_base(p, n);
    }
    return extreme_f32<Max>(p, n);
}

// head    single elements until p is 32-byte aligned, into h
// then    blocks, fold and tail as above; at last the head, second operand
double min_f64_avx(const double* p, size_t n)
{
    if (n <= 15) {
        _mm256_zeroupper();
        return min_f64_base(p, n);
    }

    double h = *p;
    for (; !aligned<32>(p); --n)
        h = minsel(*p++, h);
    return minsel(extreme_after_head<Min>(p, n), h);
}

// head    stepped over
// then    blocks, fold and tail as above
double max_f64_avx(const double* p, size_t n)
{
    if (n <= 15) {
        _mm256_zeroupper();
        return max_f64_base(p, n);
    }

    // The up to three elements before the boundary are not looked at; kept, hosts depend on it.
    const std::size_t skipped = (32 - offset_in<32>(p)) % 32 / sizeof(double);
    return extreme_after_head<Max>(p + skipped, n - skipped);
}

// head    single elements until p is 32-byte aligned, into hmin and hmax
// blocks  8 elements, from the first aligned one on
// fold    as in min_f32, then joined with the head and stored
// tail    single elements, into the stored values
void minmax_f32_avx(const float* p, size_t n, float* min, float* max)
{
    if (n <= 31 || min == nullptr || max == nullptr) { // the baseline makes the null tests too
        _mm256_zeroupper();
        return minmax_f32_base(p, n, min, max);
    }

    float hmin = *p;
    float hmax = *p;
    for (; !aligned<32>(p); --n, ++p) {
        hmin = minsel(*p, hmin);
        hmax = maxsel(*p, hmax);
    }

    const float* const rest = p + n / 8 * 8;
    __m256 vmin = Aligned::load256(p);
    __m256 vmax = vmin;
    for (p += 8; p != rest; p += 8) {
        const __m256 v = Aligned::load256(p);
        vmin = minsel(vmin, v);
        vmax = maxsel(vmax, v);
    }
    *min = minsel(fold<Min>(vmin), hmin);
    *max = maxsel(fold<Max>(vmax), hmax);
    _mm256_zeroupper();

    for (n %= 8; n != 0; --n)
        widen_range(*p++, min, max);
}

// As minmax_f32, in blocks of 4; fold as in min_f64.
void minmax_f64_avx(const double* p, size_t n, double* min, double* max)
{
    if (n <= 31 || min == nullptr || max == nullptr) {
        _mm256_zeroupper();
        return minmax_f64_base(p, n, min, max);
    }

    double hmin = *p;
    double hmax = *p;
    for (; !aligned<32>(p); --n, ++p) {
        hmin = minsel(*p, hmin);
        hmax = maxsel(*p, hmax);
    }

    const double* const rest = p + n / 4 * 4;
    __m256d vmin = Aligned::load256(p);
    __m256d vmax = vmin;
    for (p += 4; p != rest; p += 4) {
        const __m256d v = Aligned::load256(p);
        vmin = minsel(vmin, v);
        vmax = maxsel(vmax, v);
    }
    *min = minsel(fold<Min>(vmin), hmin);
    *max = maxsel(fold<Max>(vmax), hmax);
    _mm256_zeroupper();

    for (n %= 4; n != 0; --n)
        widen_range(*p++, min, max);
}
