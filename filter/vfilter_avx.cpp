// filter/vfilter_avx.cpp: vfilter_f32 and vfilter_f64 for AVX, pairs of outputs by the FIR step of
// this level. Other last bits than the baseline's between the ends.
#include "filter/fir_step.h"
#include "filter/vfilter.h"

// left    the first half outputs, folded
// blocks  16 outputs, in 8 steps of two that lie 8 apart
// rest    folded: fewer than 16 outputs, and the last half
void vfilter_f32_avx(const float* x, int32_t n, const float* taps, int32_t len, float* y)
{
    if (len <= 1) { // a single tap is not applied; kept: hosts depend on it
        memcpy_fast(y, x, static_cast<size_t>(n) * sizeof(float));
        _mm256_zeroupper(); // the entry may hold what leaves them in use
        return;
    }

    const int64_t half = len >> 1;
    fold_left_end(x, taps, half, y);

    int64_t i = half;
    for (; n - half - i >= 16; i += 16)
        for (int64_t j = i; j != i + 8; ++j)
            fir_step_c32_avx(x + j - half, x + j + 8 - half, taps,
                             static_cast<size_t>(2 * half + 1), y + j, y + j + 8);

    fold_rest(x, i, n, taps, half, y);
    _mm256_zeroupper();
}

// left    the first half outputs, folded
// blocks  8 outputs, in 4 steps of two that lie 4 apart
// rest    folded: fewer than 8 outputs, and the last half
void vfilter_f64_avx(const double* x, int32_t n, const double* taps, int32_t len, double* y)
{
    if (len <= 1) { // a single tap is not applied; kept: hosts depend on it
        memcpy_fast(y, x, static_cast<size_t>(n) * sizeof(double));
        _mm256_zeroupper(); // the entry may hold what leaves them in use
        return;
    }

    const int64_t half = len >> 1;
    fold_left_end(x, taps, half, y);

    int64_t i = half;
    for (; n - half - i >= 8; i += 8)
        for (int64_t j = i; j != i + 4; ++j)
            fir_step_c64_avx(x + j - half, x + j + 4 - half, taps,
                             static_cast<size_t>(2 * half + 1), y + j, y + j + 4);

    fold_rest(x, i, n, taps, half, y);
    _mm256_zeroupper();
}
