// spectrum/mult.h: element-wise products, and scale-and-offset in place.
#ifndef LIBSIMD_SPECTRUM_MULT_H
#define LIBSIMD_SPECTRUM_MULT_H

#include "lanes/align.h"
#include "lanes/arith.h"

mult_f32_fn mult_f32_base, mult_f32_sse, mult_f32_avx;
mult_f64_fn mult_f64_base, mult_f64_sse2, mult_f64_avx;
mult_add_f32_fn mult_add_f32_base, mult_add_f32_sse, mult_add_f32_avx;

/// x * scale + offset, the product rounded first.
template <class V>
SIMD_INLINE V scaled(V x, V scale, V offset)
{
    return add(mul(x, scale), offset);
}

#endif
