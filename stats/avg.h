// stats/avg.h: avg_*, avg_lvl_* and avg_abs_s16, means.
#ifndef LIBSIMD_STATS_AVG_H
#define LIBSIMD_STATS_AVG_H

#include "stats/fold.h"

avg_f32_fn avg_f32_base, avg_f32_sse, avg_f32_avx;
avg_f64_fn avg_f64_base, avg_f64_sse2, avg_f64_avx;
avg_lvl_f32_fn avg_lvl_f32_base, avg_lvl_f32_sse2, avg_lvl_f32_avx, avg_lvl_f32_avx2;
avg_lvl_f64_fn avg_lvl_f64_base, avg_lvl_f64_sse2, avg_lvl_f64_avx, avg_lvl_f64_avx2;
avg_abs_s16_fn avg_abs_s16_base, avg_abs_s16_ssse3, avg_abs_s16_avx2;

#ifdef __SSE2__
// All bits set where a <= b, clear elsewhere and for NaN; and the bits of b that a has too. Pinned
// for the instructions' sake: from a comparison both compilers make a branch.
SIMD_PINNED(at_most, float, "cmpless")
SIMD_PINNED(at_most, double, "cmplesd")
SIMD_PINNED(masked, float, "andps")
SIMD_PINNED(masked, double, "andpd")

/// One element more for the sum and the number of those that do not exceed a level. What exceeds
/// it, or is NaN, changes neither: +0 is added in its place, and not even that to a sum that is a
/// zero, or a subnormal that the host's control word makes one, as it could change the sum's bits.
/// The number is counted in the element type, so that in float it stops at 2^24; kept.
template <class T>
SIMD_INLINE void take(T x, T level, T& sum, T& count)
{
    if (!__builtin_islessgreater(sum, T(0))) [[unlikely]] {
        if (x <= level) {
            sum = add(sum, x);
            count = add(count, T(1));
        }
        return;
    }
    const T counts = at_most(x, level);
    sum = add(sum, masked(counts, x));
    count = add(count, masked(counts, T(1)));
}

/// sum / count, and +0 if nothing was counted.
template <class T>
SIMD_INLINE T mean_or_zero(T sum, T count)
{
    return count == T(0) ? T(0) : div(sum, count);
}

/// |x| as an unsigned 16-bit number: -32768 gives 32768.
SIMD_INLINE std::uint64_t magnitude(std::int16_t x)
{
    return static_cast<std::uint64_t>(x < 0 ? -x : x);
}

/// total / n, and 0 of nothing.
SIMD_INLINE std::uint64_t mean_magnitude(std::uint64_t total, std::size_t n)
{
    return n == 0 ? 0 : total / n;
}

/// The four 32-bit lanes, widened and added.
SIMD_INLINE std::uint64_t fold_u32(__m128i v)
{
    const __m128i zero = _mm_setzero_si128();
    const __m128i pairs = _mm_add_epi64(_mm_unpacklo_epi32(v, zero), _mm_unpackhi_epi32(v, zero));
    const __m128i sum = _mm_add_epi64(pairs, _mm_unpackhi_epi64(pairs, pairs));
    return static_cast<std::uint64_t>(_mm_cvtsi128_si64(sum));
}

/// The two 64-bit lanes, added.
SIMD_INLINE std::uint64_t fold_u64(__m128i v)
{
    return static_cast<std::uint64_t>(
        _mm_cvtsi128_si64(_mm_add_epi64(v, _mm_unpackhi_epi64(v, v))));
}
#endif

#endif
