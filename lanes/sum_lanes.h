// lanes/sum_lanes.h: the lanes of a sum added up, always in the same pairs.
//
//   2 lanes  L0 + L1
//   4 lanes  (L0 + L2) + (L1 + L3)
//   8 lanes  ((L0 + L4) + (L2 + L6)) + ((L1 + L5) + (L3 + L7))
//
// Each wider form adds its upper half to its lower one and goes on as the narrower one. The last
// sum is made among lanes, too: with scalars g++ moves the accumulators within the caller's loop.
#ifndef LIBSIMD_LANES_SUM_LANES_H
#define LIBSIMD_LANES_SUM_LANES_H

#include "lanes/arith.h"

SIMD_INLINE float sum_lanes(__m128 lanes)
{
    const __m128 pairs = add(lanes, _mm_movehl_ps(lanes, lanes));
    return _mm_cvtss_f32(add_low(pairs, _mm_shuffle_ps(pairs, pairs, 1)));
}

#ifdef __SSE2__
SIMD_INLINE double sum_lanes(__m128d lanes)
{
    return _mm_cvtsd_f64(add_low(lanes, _mm_unpackhi_pd(lanes, lanes)));
}
#endif

#ifdef __AVX__
SIMD_INLINE float sum_lanes(__m256 lanes)
{
    return sum_lanes(add(_mm256_castps256_ps128(lanes), _mm256_extractf128_ps(lanes, 1)));
}

SIMD_INLINE double sum_lanes(__m256d lanes)
{
    return sum_lanes(add(_mm256_castpd256_pd128(lanes), _mm256_extractf128_pd(lanes, 1)));
}
#endif

#endif
