// stats/max_array.h: max_array_*, a running element-wise maximum.
#ifndef LIBSIMD_STATS_MAX_ARRAY_H
#define LIBSIMD_STATS_MAX_ARRAY_H

#include "lanes/align.h"
#include "lanes/arith.h"

max_array_f32_fn max_array_f32_base, max_array_f32_sse, max_array_f32_avx;
max_array_f64_fn max_array_f64_base, max_array_f64_sse2, max_array_f64_avx;

/// The baseline's step: nothing is written unless src is greater, a NaN neither way.
template <class T>
SIMD_INLINE void raise_one(T* dst, const T* src)
{
    if (*src > *dst)
        *dst = *src;
}

#endif
