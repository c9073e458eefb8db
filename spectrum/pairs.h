// spectrum/pairs.h: what interleaves pairs of doubles and takes them apart, within 128-bit halves.
//
// Written as shufpd: compilers would choose unpcklpd and unpckhpd, which move the same bits but run
// on one port where recent processors have two for shufpd.
#ifndef LIBSIMD_SPECTRUM_PAIRS_H
#define LIBSIMD_SPECTRUM_PAIRS_H

#include "lanes/variant.h"

#include <immintrin.h>

#ifdef __AVX__
/// [a0 b0 | a2 b2]
SIMD_INLINE __m256d firsts(__m256d a, __m256d b)
{
    __m256d r;
    asm("vshufpd $0, %2, %1, %0" : "=x"(r) : "x"(a), "x"(b));
    return r;
}

/// [a1 b1 | a3 b3]
SIMD_INLINE __m256d seconds(__m256d a, __m256d b)
{
    __m256d r;
    asm("vshufpd $15, %2, %1, %0" : "=x"(r) : "x"(a), "x"(b));
    return r;
}

/// [a0 a1 | b0 b1]
SIMD_INLINE __m256d low_halves(__m256d a, __m256d b) { return _mm256_permute2f128_pd(a, b, 0x20); }

/// [a2 a3 | b2 b3]
SIMD_INLINE __m256d high_halves(__m256d a, __m256d b) { return _mm256_permute2f128_pd(a, b, 0x31); }
#else
/// [a0 b0]
SIMD_INLINE __m128d firsts(__m128d a, __m128d b)
{
    asm("shufpd $0, %1, %0" : "+x"(a) : "x"(b));
    return a;
}

/// [a1 b1]
SIMD_INLINE __m128d seconds(__m128d a, __m128d b)
{
    asm("shufpd $3, %1, %0" : "+x"(a) : "x"(b));
    return a;
}
#endif

#endif
