// convert/unpack.h: unpack_*, integer codes restored as code * step + offset. The steps that the
// levels share.
#ifndef LIBSIMD_CONVERT_UNPACK_H
#define LIBSIMD_CONVERT_UNPACK_H

#include "lanes/align.h"
#include "lanes/arith.h"

unpack_u8_f32_fn unpack_u8_f32_base, unpack_u8_f32_sse2, unpack_u8_f32_avx, unpack_u8_f32_avx2;
unpack_s16_f32_fn unpack_s16_f32_sse2, unpack_s16_f32_avx, unpack_s16_f32_avx2;
unpack_u8_f64_fn unpack_u8_f64_base, unpack_u8_f64_sse2, unpack_u8_f64_avx;
unpack_s16_f64_fn unpack_s16_f64_base, unpack_s16_f64_sse2, unpack_s16_f64_avx;
unpack_u16_f64_fn unpack_u16_f64_base, unpack_u16_f64_sse2, unpack_u16_f64_avx;

namespace {

/// What is left of a call: n codes of src, each to become code * step + offset in dst.
template <class U, class T>
struct Unpacking {
    const U* src;
    std::size_t n;
    T* dst;
    T step, offset;

    [[gnu::always_inline]] void advance(std::size_t elements)
    {
        src += elements;
        n -= elements;
        dst += elements;
    }
};

/// Codes widened to twice their bits: the first half of them, the second half.
struct Widened {
    __m128i low, high;
};

} // namespace

/// One code; the product is rounded, then the sum.
template <class U, class T>
SIMD_INLINE T restore(U code, T step, T offset)
{
    return add(mul(static_cast<T>(code), step), offset);
}

template <class U, class T>
SIMD_INLINE void unpack_single(Unpacking<U, T>& run)
{
    *run.dst = restore(*run.src, run.step, run.offset);
    run.advance(1);
}

/// Single codes until dst is aligned; one that is off its element alignment never is.
template <std::size_t Block, class U, class T>
SIMD_INLINE void unpack_until_dst(Unpacking<U, T>& run)
{
    while (run.n != 0 && !aligned<Block>(run.dst))
        unpack_single(run);
}

/// Single codes until src is aligned, wherever that leaves dst.
template <std::size_t Block, class U, class T>
SIMD_INLINE void unpack_until_src(Unpacking<U, T>& run)
{
    while (run.n != 0 && !aligned<Block>(run.src))
        unpack_single(run);
}

template <class U, class T>
SIMD_INLINE void unpack_rest(Unpacking<U, T>& run)
{
    while (run.n != 0)
        unpack_single(run);
}

// Unsigned codes: the low half by SSE4.1's zero-extending move, which the SSE2 variants demand, the
// high half interleaved with zero.
SIMD_INLINE Widened widen_u8(__m128i bytes)
{
    __m128i low;
#ifdef __AVX__
    asm("vpmovzxbw %1, %0" : "=x"(low) : "x"(bytes));
#else
    asm("pmovzxbw %1, %0" : "=x"(low) : "x"(bytes));
#endif
    return {low, _mm_unpackhi_epi8(bytes, _mm_setzero_si128())};
}
SIMD_INLINE Widened widen_u16(__m128i words)
{
    __m128i low;
#ifdef __AVX__
    asm("vpmovzxwd %1, %0" : "=x"(low) : "x"(words));
#else
    asm("pmovzxwd %1, %0" : "=x"(low) : "x"(words));
#endif
    return {low, _mm_unpackhi_epi16(words, _mm_setzero_si128())};
}

/// Signed codes: a negative word's upper half is all ones.
SIMD_INLINE Widened widen_s16(__m128i words)
{
    __m128i signs = _mm_setzero_si128();
#ifdef __AVX__
    asm("vpcmpgtw %1, %0, %0" : "+x"(signs) : "x"(words));
#else
    asm("pcmpgtw %1, %0" : "+x"(signs) : "x"(words));
#endif
    return {_mm_unpacklo_epi16(words, signs), _mm_unpackhi_epi16(words, signs)};
}

// Blocks of restored codes, by register width.
#ifdef __AVX__
template <class Store>
SIMD_INLINE void restore8(float* dst, __m256i codes, __m256 step, __m256 offset)
{
    Store::store256(dst, add(mul(_mm256_cvtepi32_ps(codes), step), offset));
}
template <class Store>
SIMD_INLINE void restore4(double* dst, __m128i codes, __m256d step, __m256d offset)
{
    Store::store256(dst, add(mul(_mm256_cvtepi32_pd(codes), step), offset));
}
#else
template <class Store>
SIMD_INLINE void restore4(float* dst, __m128i codes, __m128 step, __m128 offset)
{
    Store::store128(dst, add(mul(_mm_cvtepi32_ps(codes), step), offset));
}
template <class Store>
SIMD_INLINE void restore4(double* dst, __m128i codes, __m128d step, __m128d offset)
{
    const __m128i high = _mm_shuffle_epi32(codes, _MM_SHUFFLE(3, 2, 3, 2));
    Store::store128(dst, add(mul(_mm_cvtepi32_pd(codes), step), offset));
    Store::store128(dst + 2, add(mul(_mm_cvtepi32_pd(high), step), offset));
}
#endif

#endif
