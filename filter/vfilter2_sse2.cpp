// filter/vfilter2_sse2.cpp: vfilter2_chunk for SSE2, 4 lanes. Other bits than the baseline's: its
// blocks compute the exponential, and sum in lanes.
#include "filter/exp.h"
#include "filter/vfilter2.h"
#include "lanes/sum_lanes.h"

// blocks  4 samples, unaligned loads, a sum per lane
// fold    ((L0 + L2) + (L1 + L3)) + 0
// tail    single samples onto that
float vfilter2_chunk_sse2(const float* x, const float* w, size_t n, float c)
{
    if (n <= 7)
        return vfilter2_chunk_base(x, w, n, c);

    const __m128 centre = _mm_set1_ps(c);
    const __m128 width = _mm_set1_ps(gauss_width);
    __m128 nums = _mm_setzero_ps();
    __m128 dens = _mm_setzero_ps();
    size_t i = 0;
    for (; n - i >= 4; i += 4) {
        const __m128 samples = _mm_loadu_ps(x + i);
        const __m128 d = mul(sub(samples, centre), width);
        const __m128 e = exponential(mul(sub(_mm_setzero_ps(), d), d));
        const __m128 g = mul(e, _mm_loadu_ps(w + i));
        nums = add(nums, mul(samples, g));
        dens = add(dens, g);
    }

    float num = add(sum_lanes(nums), 0.0F);
    float den = add(sum_lanes(dens), 0.0F);
    for (; i != n; ++i)
        add_sample(x[i], w[i], c, num, den);
    return div(num, den);
}
