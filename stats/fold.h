// stats/fold.h: what the statistics kernels share: the selections, and how lanes become one value.
//
// The order in which lanes are joined decides the last bits of a sum, and which NaN or which zero a
// minimum returns. Lanes are named L0, L1... from the lowest address on.
#ifndef LIBSIMD_STATS_FOLD_H
#define LIBSIMD_STATS_FOLD_H

#include "lanes/align.h"
#include "lanes/arith.h"

SIMD_INLINE std::int16_t minsel(std::int16_t a, std::int16_t b) { return a < b ? a : b; }
SIMD_INLINE std::int16_t maxsel(std::int16_t a, std::int16_t b) { return a > b ? a : b; }

// For bytes: a running int costs less than one that is cut to a byte at each step.
SIMD_INLINE int minsel(int a, int b) { return a < b ? a : b; }
SIMD_INLINE int maxsel(int a, int b) { return a > b ? a : b; }

/// A count as a T, rounded once, 2^63 and above too. Hidden, for from an array of that many elements
/// compilers conclude that there are fewer, and take it for signed.
template <class T>
SIMD_INLINE T as_real(std::size_t n)
{
    asm("" : "+r"(n));
    return static_cast<T>(n);
}

#ifdef __SSE2__
// Pinned for the instructions' sake: with the intrinsics g++ moves every result once more.
SIMD_PINNED(min_u8_lanes, __m128i, "pminub")
SIMD_PINNED(max_u8_lanes, __m128i, "pmaxub")
SIMD_PINNED(min_s16_lanes, __m128i, "pminsw")
SIMD_PINNED(max_s16_lanes, __m128i, "pmaxsw")
#endif

namespace {

// What a kernel looks for. Bodies `of` are for scalars and for floating-point lanes; integer lanes
// have their element type in the name.
struct Min {
    template <class T>
    SIMD_INLINE T of(T a, T b)
    {
        return minsel(a, b);
    }
    SIMD_INLINE int of(int a, int b) { return minsel(a, b); }
#ifdef __SSE2__
    SIMD_INLINE __m128i u8(__m128i a, __m128i b) { return min_u8_lanes(a, b); }
    SIMD_INLINE __m128i s16(__m128i a, __m128i b) { return min_s16_lanes(a, b); }
#endif
#ifdef __AVX2__
    SIMD_INLINE __m256i u8(__m256i a, __m256i b) { return _mm256_min_epu8(a, b); }
    SIMD_INLINE __m256i s16(__m256i a, __m256i b) { return _mm256_min_epi16(a, b); }
#endif
};

struct Max {
    template <class T>
    SIMD_INLINE T of(T a, T b)
    {
        return maxsel(a, b);
    }
    SIMD_INLINE int of(int a, int b) { return maxsel(a, b); }
#ifdef __SSE2__
    SIMD_INLINE __m128i u8(__m128i a, __m128i b) { return max_u8_lanes(a, b); }
    SIMD_INLINE __m128i s16(__m128i a, __m128i b) { return max_s16_lanes(a, b); }
#endif
#ifdef __AVX2__
    SIMD_INLINE __m256i u8(__m256i a, __m256i b) { return _mm256_max_epu8(a, b); }
    SIMD_INLINE __m256i s16(__m256i a, __m256i b) { return _mm256_max_epi16(a, b); }
#endif
};

} // namespace

/// One element more for a running minimum and maximum. The outputs hold the running state; a NaN
/// changes neither.
template <class T>
SIMD_INLINE void widen_range(T x, T* min, T* max)
{
    if (*min > x)
        *min = x;
    if (x > *max)
        *max = x;
}

SIMD_INLINE float lane0(__m128 v) { return _mm_cvtss_f32(v); }
SIMD_INLINE float lane1(__m128 v) { return _mm_cvtss_f32(_mm_shuffle_ps(v, v, 1)); }

/// sel(sel(L0, L2), sel(L1, L3))
template <class Sel>
SIMD_INLINE float fold(__m128 v)
{
    v = Sel::of(v, _mm_movehl_ps(v, v));
    return Sel::of(lane0(v), lane1(v));
}

/// (L1 + L3) + (L0 + L2)
SIMD_INLINE float fold_sum(__m128 v)
{
    v = add(v, _mm_movehl_ps(v, v));
    return add(lane1(v), lane0(v));
}

#ifdef __SSE2__
SIMD_INLINE double lane0(__m128d v) { return _mm_cvtsd_f64(v); }
SIMD_INLINE double lane1(__m128d v) { return _mm_cvtsd_f64(_mm_unpackhi_pd(v, v)); }

template <class Sel>
SIMD_INLINE std::uint8_t fold_u8(__m128i v)
{
    v = Sel::u8(v, _mm_srli_si128(v, 8));
    v = Sel::u8(v, _mm_srli_si128(v, 4));
    v = Sel::u8(v, _mm_srli_si128(v, 2));
    v = Sel::u8(v, _mm_srli_si128(v, 1));
    return static_cast<std::uint8_t>(_mm_cvtsi128_si32(v));
}

template <class Sel>
SIMD_INLINE std::int16_t fold_s16(__m128i v)
{
    v = Sel::s16(v, _mm_srli_si128(v, 8));
    v = Sel::s16(v, _mm_srli_si128(v, 4));
    v = Sel::s16(v, _mm_srli_si128(v, 2));
    return static_cast<std::int16_t>(_mm_cvtsi128_si32(v));
}
#endif

#ifdef __AVX__
SIMD_INLINE __m128 low(__m256 v) { return _mm256_castps256_ps128(v); }
SIMD_INLINE __m128 high(__m256 v) { return _mm256_extractf128_ps(v, 1); }
SIMD_INLINE __m128d low(__m256d v) { return _mm256_castpd256_pd128(v); }
SIMD_INLINE __m128d high(__m256d v) { return _mm256_extractf128_pd(v, 1); }
SIMD_INLINE __m128i low(__m256i v) { return _mm256_castsi256_si128(v); }
SIMD_INLINE __m128i high(__m256i v) { return _mm256_extractf128_si256(v, 1); }

/// sel(L4, L0)... upper half first, then the 4 lanes as above.
template <class Sel>
SIMD_INLINE float fold(__m256 v)
{
    return fold<Sel>(Sel::of(high(v), low(v)));
}

/// sel(sel(L0, L1), sel(L2, L3))
template <class Sel>
SIMD_INLINE double fold(__m256d v)
{
    const __m128d even = _mm_unpacklo_pd(low(v), high(v));
    const __m128d odd = _mm_unpackhi_pd(low(v), high(v));
    const __m128d pairs = Sel::of(even, odd);
    return Sel::of(lane0(pairs), lane1(pairs));
}

/// (L0 + L2) + (L1 + L3)
SIMD_INLINE double fold_sum(__m256d v)
{
    const __m128d sums = add(low(v), high(v));
    return add(lane0(sums), lane1(sums));
}
#endif

#endif
