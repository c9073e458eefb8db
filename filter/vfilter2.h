// filter/vfilter2.h: vfilter2_chunk, a mean weighted by a Gaussian around a centre.
#ifndef LIBSIMD_FILTER_VFILTER2_H
#define LIBSIMD_FILTER_VFILTER2_H

#include "lanes/arith.h"

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

#endif
