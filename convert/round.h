// convert/round.h: single floating-point values to integers, truncating toward zero.
#ifndef LIBSIMD_CONVERT_ROUND_H
#define LIBSIMD_CONVERT_ROUND_H

#include "lanes/variant.h"

#include <immintrin.h>

// NaN and whatever lies outside 32 bits give -2147483648.
SIMD_INLINE std::int32_t truncate(float v) { return _mm_cvttss_si32(_mm_set_ss(v)); }
#ifdef __SSE2__
SIMD_INLINE std::int32_t truncate(double v) { return _mm_cvttsd_si32(_mm_set_sd(v)); }
#endif

/// The low bits of the truncated value, unclamped.
template <class U, class T>
SIMD_INLINE U truncate_to(T v)
{
    return static_cast<U>(truncate(v));
}

#endif
