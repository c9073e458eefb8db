// filter/vfilter2_avx2.cpp: vfilter2_chunk for AVX2, 8 lanes. Other bits than the baseline's: its
// blocks compute the exponential, and sum in lanes.
#include "filter/exp.h"
#include "filter/vfilter2.h"
#include "lanes/sum_lanes.h"

// short   15 samples or fewer: the SSE2 variant, legacy code behind cleared upper halves; it has
//         the 4-lane exponential, and single samples for 7 or fewer
// blocks  8 samples, unaligned loads, a sum per lane
// fold    (((L0 + L4) + (L2 + L6)) + ((L1 + L5) + (L3 + L7))) + 0
// tail    single samples onto that; the upper halves are cleared before the system's exponential
float vfilter2_chunk_avx2(const float* x, const float* w, size_t n, float c)
{
    if (n <= 15) {
        _mm256_zeroupper();
        return vfilter2_chunk_sse2(x, w, n, c);
    }

    const __m256 centre = _mm256_set1_ps(c);
    const __m256 width = _mm256_set1_ps(gauss_width);
    __m256 nums = _mm256_setzero_ps();
    __m256 dens = _mm256_setzero_ps();
    size_t i = 0;
    for (; n - i >= 8; i += 8) {
        const __m256 samples = _mm256_loadu_ps(x + i);
        const __m256 d = mul(sub(samples, centre), width);
        const __m256 e = exponential(mul(sub(_mm256_setzero_ps(), d), d));
        const __m256 g = mul(e, _mm256_loadu_ps(w + i));
        nums = add(nums, mul(samples, g));
        dens = add(dens, g);
    }

    float num = add(sum_lanes(nums), 0.0F);
    float den = add(sum_lanes(dens), 0.0F);
    _mm256_zeroupper();
    for (; i != n; ++i)
        add_sample(x[i], w[i], c, num, den);
    return div(num, den);
}
