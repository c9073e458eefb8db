// filter/vfilter_sse2.cpp: vfilter_f64 for SSE2, pairs of outputs by the FIR step of this level.
// Other last bits than the baseline's between the ends.
#include "filter/fir_step.h"
#include "filter/vfilter.h"

// left    the first half outputs, folded
// blocks  4 outputs, in 2 steps of two that lie 2 apart
// rest    folded: fewer than 4 outputs, and the last half
void vfilter_f64_sse2(const double* x, int32_t n, const double* taps, int32_t len, double* y)
{
    if (len <= 1) { // a single tap is not applied; kept: hosts depend on it
        return memcpy_fast(y, x, static_cast<size_t>(n) * sizeof(double));
    }

    const int64_t half = len >> 1;
    fold_left_end(x, taps, half, y);

    int64_t i = half;
    for (; n - half - i >= 4; i += 4)
        for (int64_t j = i; j != i + 2; ++j)
            fir_step_c64_sse2(x + j - half, x + j + 2 - half, taps,
                              static_cast<size_t>(2 * half + 1), y + j, y + j + 2);

    fold_rest(x, i, n, taps, half, y);
}
