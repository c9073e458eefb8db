// filter/vfilter2.h: vfilter2_chunk, a mean weighted by a Gaussian around a centre.
#ifndef LIBSIMD_FILTER_VFILTER2_H
#define LIBSIMD_FILTER_VFILTER2_H

#include "filter/exp.h"
#include "lanes/sum_lanes.h"

#include <math.h>

vfilter2_chunk_fn vfilter2_chunk_base, vfilter2_chunk_sse2, vfilter2_chunk_avx2;

/// What distances from the centre are multiplied by: 0.15.
constexpr float gauss_width = __builtin_bit_cast(float, 0x3E19999AU);

/// One sample onto both sums, singly: with the system's exponential.
SIMD_INLINE void add_sample(float x, float w, float c, float& num, float& den)
{
    const float d = mul(sub(x, c), gauss_width);
    const float g = mul(expf(mul(-d, d)), w);
    num = add(num, mul(x, g));
    den = add(den, g);
}

/// The exponent of a block of samples: -(0.15 * (x - c))^2, lane by lane.
template <class Lanes>
SIMD_INLINE Lanes gauss_exponent(Lanes x, Lanes centre, Lanes width, Lanes zero)
{
    const Lanes d = mul(sub(x, centre), width);
    return mul(sub(zero, d), d);
}

/// A block of samples onto both sums; e is the exponential of each, w its weight.
template <class Lanes>
SIMD_INLINE void add_samples(Lanes x, Lanes w, Lanes e, Lanes& nums, Lanes& dens)
{
    const Lanes g = mul(e, w);
    nums = add(nums, mul(x, g));
    dens = add(dens, g);
}

/// Blocks of 4 samples from i on, while they last, by the exponential of four floats.
SIMD_INLINE void add_fours(const float* x, const float* w, size_t& i, size_t n, float c,
                           __m128& nums, __m128& dens)
{
    for (; n - i >= 4; i += 4) {
        const __m128 samples = _mm_loadu_ps(x + i);
        const __m128 e = exp_f32x4(
            gauss_exponent(samples, _mm_set1_ps(c), _mm_set1_ps(gauss_width), _mm_setzero_ps()));
        add_samples(samples, _mm_loadu_ps(w + i), e, nums, dens);
    }
}

#endif
