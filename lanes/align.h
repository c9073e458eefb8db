// lanes/align.h: where a pointer lies within a block, and the two ways to reach a block in memory.
#ifndef LIBSIMD_LANES_ALIGN_H
#define LIBSIMD_LANES_ALIGN_H

#include "lanes/variant.h"

#include <immintrin.h>

/// A pointer's offset within its block of `Block` bytes.
template <std::size_t Block>
SIMD_INLINE std::size_t offset_in(const void* p)
{
    return reinterpret_cast<std::uintptr_t>(p) & (Block - 1);
}

template <std::size_t Block>
SIMD_INLINE bool aligned(const void* p)
{
    return offset_in<Block>(p) == 0;
}

/// Whether two pointers reach a block boundary after the same number of bytes.
template <std::size_t Block>
SIMD_INLINE bool same_offset(const void* a, const void* b)
{
    return offset_in<Block>(a) == offset_in<Block>(b);
}

// A kernel that chooses between aligned and unaligned accesses at run time writes its block loop
// once, as a template over one of these. (A choice inside one loop would be merged into the
// unaligned access, and the faults that hosts know would be gone.) Bodies are by register width and
// element type.
namespace {

struct Aligned {
    SIMD_INLINE __m128 load128(const float* p) { return _mm_load_ps(p); }
    SIMD_INLINE void store128(float* p, __m128 v) { _mm_store_ps(p, v); }
#ifdef __SSE2__
    SIMD_INLINE __m128d load128(const double* p) { return _mm_load_pd(p); }
    SIMD_INLINE void store128(double* p, __m128d v) { _mm_store_pd(p, v); }
    SIMD_INLINE __m128i load128i(const void* p)
    {
        return _mm_load_si128(static_cast<const __m128i*>(p));
    }
    SIMD_INLINE void store128i(void* p, __m128i v) { _mm_store_si128(static_cast<__m128i*>(p), v); }
#endif
#ifdef __AVX__
    SIMD_INLINE __m256 load256(const float* p) { return _mm256_load_ps(p); }
    SIMD_INLINE void store256(float* p, __m256 v) { _mm256_store_ps(p, v); }
    SIMD_INLINE __m256d load256(const double* p) { return _mm256_load_pd(p); }
    SIMD_INLINE void store256(double* p, __m256d v) { _mm256_store_pd(p, v); }
    SIMD_INLINE __m256i load256i(const void* p)
    {
        return _mm256_load_si256(static_cast<const __m256i*>(p));
    }
    SIMD_INLINE void store256i(void* p, __m256i v)
    {
        _mm256_store_si256(static_cast<__m256i*>(p), v);
    }
#endif
};

struct Unaligned {
    SIMD_INLINE __m128 load128(const float* p) { return _mm_loadu_ps(p); }
    SIMD_INLINE void store128(float* p, __m128 v) { _mm_storeu_ps(p, v); }
#ifdef __SSE2__
    SIMD_INLINE __m128d load128(const double* p) { return _mm_loadu_pd(p); }
    SIMD_INLINE void store128(double* p, __m128d v) { _mm_storeu_pd(p, v); }
    SIMD_INLINE __m128i load128i(const void* p)
    {
        return _mm_loadu_si128(static_cast<const __m128i*>(p));
    }
    SIMD_INLINE void store128i(void* p, __m128i v)
    {
        _mm_storeu_si128(static_cast<__m128i*>(p), v);
    }
#endif
#ifdef __AVX__
    SIMD_INLINE __m256 load256(const float* p) { return _mm256_loadu_ps(p); }
    SIMD_INLINE void store256(float* p, __m256 v) { _mm256_storeu_ps(p, v); }
    SIMD_INLINE __m256d load256(const double* p) { return _mm256_loadu_pd(p); }
    SIMD_INLINE void store256(double* p, __m256d v) { _mm256_storeu_pd(p, v); }
    SIMD_INLINE __m256i load256i(const void* p)
    {
        return _mm256_loadu_si256(static_cast<const __m256i*>(p));
    }
    SIMD_INLINE void store256i(void* p, __m256i v)
    {
        _mm256_storeu_si256(static_cast<__m256i*>(p), v);
    }
#endif
};

} // namespace

#endif
