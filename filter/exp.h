// filter/exp.h: the exponential of a block of floats, e^v lane by lane. The SSE2 variant has it
// four lanes wide, the AVX2 variant eight, with the same bits.
#ifndef LIBSIMD_FILTER_EXP_H
#define LIBSIMD_FILTER_EXP_H

#include "lanes/rows.h"

namespace exp_rows {
#pragma GCC visibility push(hidden)
extern const Row largest, smallest, log2e, half, one, bias;
extern const Row q1, q2;
extern const Row c0, c1, c2, c3, c4;
#pragma GCC visibility pop
} // namespace exp_rows

#ifdef __AVX2__
SIMD_INLINE Block above(Block a, Block b) { return _mm256_cmp_ps(a, b, _CMP_GT_OS); }
SIMD_INLINE Block truncated(Block a) { return _mm256_castsi256_ps(_mm256_cvttps_epi32(a)); }
SIMD_INLINE Block to_exponent(Block a)
{
    return _mm256_castsi256_ps(_mm256_slli_epi32(_mm256_castps_si256(a), 23));
}
#else
SIMD_INLINE Block above(Block a, Block b) { return _mm_cmpgt_ps(a, b); }
SIMD_INLINE Block truncated(Block a) { return _mm_castsi128_ps(_mm_cvttps_epi32(a)); }
SIMD_INLINE Block to_exponent(Block a)
{
    return _mm_castsi128_ps(_mm_slli_epi32(_mm_castps_si128(a), 23));
}
#endif

/// e^v = 2^t * e^r with t the integer next to v / ln 2. Below about -87.683 it is exactly 0, never
/// subnormal; a NaN counts as the largest v.
SIMD_INLINE Block exponential(Block v)
{
    using namespace exp_rows;
    v = minsel(v, largest);
    v = maxsel(v, smallest);

    const Block f = add(mul(v, log2e), half);
    Block t = to_float(truncated(f));
    t = sub(t, bits_and(above(t, f), one)); // floor
    Block r = sub(v, mul(t, q1));
    r = sub(r, mul(t, q2));
    const Block s = to_exponent(add_integers(truncated(t), bias)); // 2^t, or 0 for t = -127

    Block p = add(mul(r, c0), c1);
    p = add(mul(p, r), c2);
    p = add(mul(p, r), c3);
    p = add(mul(p, r), c4);
    p = add(mul(p, r), half);
    const Block q = add(add(mul(p, mul(r, r)), r), one);
    return mul(q, s);
}

#endif
