// stats/minmaxmed_avx.cpp: minmaxmed_f32 and minmaxmed_f64 for AVX, 8 and 4 lanes.
#include "stats/minmaxmed.h"

// head    single elements until p is 32-byte aligned, into hmin, hmax and hsum
// blocks  8 elements, from the first aligned one on
// fold    minima and maxima as in minmax_f32; sum, with Aj = Lj+4 + Lj: (A1 + A3) + (A0 + A2), then
//         + hsum; stored
// tail    single elements, into the stored values
void minmaxmed_f32_avx(const float* p, size_t n, float* min, float* max, float* mean)
{
    // The baseline makes the null tests too.
    if (n <= 31 || min == nullptr || max == nullptr || mean == nullptr) {
        _mm256_zeroupper();
        return minmaxmed_f32_base(p, n, min, max, mean);
    }

    std::size_t left = n;
    float hmin = *p;
    float hmax = *p;
    float hsum = 0.0F;
    for (; !aligned<32>(p); --left, ++p) {
        hmin = minsel(*p, hmin);
        hmax = maxsel(*p, hmax);
        hsum = add(hsum, *p);
    }

    const float* const rest = p + left / 8 * 8;
    __m256 vmin = Aligned::load256(p);
    __m256 vmax = vmin;
    __m256 vsum = vmin;
    for (p += 8; p != rest; p += 8) {
        const __m256 v = Aligned::load256(p);
        vmin = minsel(vmin, v);
        vmax = maxsel(vmax, v);
        vsum = add(vsum, v);
    }
    *min = minsel(fold<Min>(vmin), hmin);
    *max = maxsel(fold<Max>(vmax), hmax);
    *mean = add(fold_sum(add(high(vsum), low(vsum))), hsum);
    _mm256_zeroupper();

    for (left %= 8; left != 0; --left)
        take(*p++, min, max, mean);
    finish(mean, n);
}

// As minmaxmed_f32, in blocks of 4; fold as in minmax_f64, sum (L0 + L2) + (L1 + L3), then + hsum.
void minmaxmed_f64_avx(const double* p, size_t n, double* min, double* max, double* mean)
{
    if (n <= 15 || min == nullptr || max == nullptr || mean == nullptr) {
        _mm256_zeroupper();
        return minmaxmed_f64_base(p, n, min, max, mean);
    }

    std::size_t left = n;
    double hmin = *p;
    double hmax = *p;
    double hsum = 0.0;
    for (; !aligned<32>(p); --left, ++p) {
        hmin = minsel(*p, hmin);
        hmax = maxsel(*p, hmax);
        hsum = add(hsum, *p);
    }

    const double* const rest = p + left / 4 * 4;
    __m256d vmin = Aligned::load256(p);
    __m256d vmax = vmin;
    __m256d vsum = vmin;
    for (p += 4; p != rest; p += 4) {
        const __m256d v = Aligned::load256(p);
        vmin = minsel(vmin, v);
        vmax = maxsel(vmax, v);
        vsum = add(vsum, v);
    }
    *min = minsel(fold<Min>(vmin), hmin);
    *max = maxsel(fold<Max>(vmax), hmax);
    *mean = add(fold_sum(vsum), hsum);
    _mm256_zeroupper();

    for (left %= 4; left != 0; --left)
        take(*p++, min, max, mean);
    finish(mean, n);
}
