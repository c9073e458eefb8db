// filter/exp.h: the vector exponential, e^v lane by lane, four lanes wide at SSE2 and eight at AVX2
// with the same bits.
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

/// e^v of four floats: a function of its own, built for SSE2, which the SSE2 variant and the short
/// chunks of the AVX2 variant share.
__m128 exp_f32x4(__m128 v);

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

/// v becomes e^v = 2^t * e^r, with t the integer next to v / ln 2, for some blocks side by side. Below
/// about -87.683 it is exactly 0, never subnormal; a NaN counts as the largest v.
template <std::size_t... k>
SIMD_INLINE void exponential(std::index_sequence<k...> all, Block* v)
{
    using namespace exp_rows;
    constexpr std::size_t blocks = sizeof...(k);
    Block rest[blocks], power[blocks];

    Constant most = constant(largest), least = constant(smallest), scale = constant(log2e);
    Constant ones = constant(one), halves = constant(half), offset = constant(bias);
    Constant high = constant(q1), low = constant(q2);
    for (std::size_t i = 0; i != blocks; ++i) {
        Block x = minsel(v[i], most);
        x = maxsel(x, least);
        const Block f = add(mul(x, scale), halves);
        Block t = to_float(truncated(f));
        t = sub(t, bits_and(above(t, f), ones)); // floor
        Block r = sub(x, mul(t, high));
        rest[i] = sub(r, mul(t, low));
        power[i] = to_exponent(add_integers(truncated(t), offset)); // 2^t, or 0 for t = -127
    }

    Constant first = constant(c0);
    Block p[blocks] = {mul(rest[k], first)...};
    horner(all, p, c1, rest);
    horner(all, p, c2, rest);
    horner(all, p, c3, rest);
    horner(all, p, c4, rest);
    ((p[k] = mul(add(p[k], halves), mul(rest[k], rest[k]))), ...);
    ((p[k] = add(add(p[k], rest[k]), ones)), ...);
    ((v[k] = mul(p[k], power[k])), ...);
}

#endif
