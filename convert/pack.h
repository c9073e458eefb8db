// convert/pack.h: pack_*, a block quantised over its own range. The steps that the levels share.
#ifndef LIBSIMD_CONVERT_PACK_H
#define LIBSIMD_CONVERT_PACK_H

#include "convert/round.h"
#include "lanes/align.h"
#include "lanes/arith.h"

pack_f32_u8_fn pack_f32_u8_base, pack_f32_u8_sse2, pack_f32_u8_avx, pack_f32_u8_avx2;
pack_f32_s16_fn pack_f32_s16_base, pack_f32_s16_sse2, pack_f32_s16_avx, pack_f32_s16_avx2;
pack_f64_u8_fn pack_f64_u8_base, pack_f64_u8_sse2, pack_f64_u8_avx;
pack_f64_s16_fn pack_f64_s16_base, pack_f64_s16_sse2, pack_f64_s16_avx;
pack_f64_u16_fn pack_f64_u16_base, pack_f64_u16_sse2, pack_f64_u16_ssse3, pack_f64_u16_sse41,
    pack_f64_u16_avx;

namespace {

/// What is left of a call: n samples of src, each to become (x - offset) * scale in dst.
template <class T, class U>
struct Packing {
    const T* src;
    std::size_t n;
    U* dst;
    T offset, scale;

    [[gnu::always_inline]] void advance(std::size_t elements)
    {
        src += elements;
        n -= elements;
        dst += elements;
    }
};

template <class T>
struct Grid {
    T step, scale;
};

// The baseline's way to step and scale and the vector variants' way; they can differ in the last
// bit.
struct StepFirst {
    template <class T>
    SIMD_INLINE Grid<T> over(T range, T codes)
    {
        const T step = div(range, codes);
        return {step, div(T(1), step)};
    }
};
struct ScaleFirst {
    template <class T>
    SIMD_INLINE Grid<T> over(T range, T codes)
    {
        const T scale = div(codes, range);
        return {div(T(1), scale), scale};
    }
};

} // namespace

/// How many codes lie above the lowest: 255 or 65535.
template <class T, class U>
SIMD_INLINE T code_range()
{
    return sizeof(U) == 1 ? T(255) : T(65535);
}

/// No store of codes may be moved before the stores of step and mid.
SIMD_INLINE void stored_first() { asm volatile("" : : : "memory"); }

/// Opens a call whose code 0 is the minimum; minmax puts that where the caller wants it.
template <class Way, class T, class U, class Minmax>
SIMD_INLINE Packing<T, U> pack_from_min(Minmax* minmax, const T* src, std::size_t n, U* dst,
                                        T* step, T* min)
{
    T max = 0; // what minmax leaves when n is 0
    minmax(src, n, min, &max);
    const T offset = *min;
    const Grid<T> grid = Way::over(sub(max, offset), code_range<T, U>());
    *step = grid.step;
    stored_first();
    return {src, n, dst, offset, grid.scale};
}

/// Opens a call whose code 0 is the centre: the minimum becomes -32768, the maximum 32767.
template <class Way, class T, class U, class Minmax>
SIMD_INLINE Packing<T, U> pack_from_mid(Minmax* minmax, const T* src, std::size_t n, U* dst,
                                        T* step, T* mid)
{
    T min = 0, max = 0; // what minmax leaves when n is 0
    minmax(src, n, &min, &max);
    const Grid<T> grid = Way::over(sub(max, min), code_range<T, U>());
    const T offset = mul(add(add(min, max), grid.step), T(0.5));
    *step = grid.step;
    *mid = offset;
    stored_first();
    return {src, n, dst, offset, grid.scale};
}

template <class T, class U>
SIMD_INLINE void pack_single(Packing<T, U>& run)
{
    *run.dst = truncate_to<U>(mul(sub(*run.src, run.offset), run.scale));
    run.advance(1);
}

/// Single samples until src is aligned; one that is off its element alignment never is.
template <std::size_t Block, class T, class U>
SIMD_INLINE void pack_until_src(Packing<T, U>& run)
{
    while (run.n != 0 && !aligned<Block>(run.src))
        pack_single(run);
}

/// Single samples until dst is aligned, wherever that leaves src.
template <std::size_t Block, class T, class U>
SIMD_INLINE void pack_until_dst(Packing<T, U>& run)
{
    while (run.n != 0 && !aligned<Block>(run.dst))
        pack_single(run);
}

template <class T, class U>
SIMD_INLINE void pack_rest(Packing<T, U>& run)
{
    while (run.n != 0)
        pack_single(run);
}

// In blocks samples are rounded to the nearest 32-bit code, ties to even; aligned loads.
#ifdef __AVX__
SIMD_INLINE __m256i round8(const float* src, __m256 offset, __m256 scale)
{
    return _mm256_cvtps_epi32(mul(sub(Aligned::load256(src), offset), scale));
}
SIMD_INLINE __m128i round4(const double* src, __m256d offset, __m256d scale)
{
    return _mm256_cvtpd_epi32(mul(sub(Aligned::load256(src), offset), scale));
}
#else
SIMD_INLINE __m128i round4(const float* src, __m128 offset, __m128 scale)
{
    return _mm_cvtps_epi32(mul(sub(Aligned::load128(src), offset), scale));
}
SIMD_INLINE __m128i round4(const double* src, __m128d offset, __m128d scale)
{
    const __m128i low = _mm_cvtpd_epi32(mul(sub(Aligned::load128(src), offset), scale));
    const __m128i high = _mm_cvtpd_epi32(mul(sub(Aligned::load128(src + 2), offset), scale));
    return low_quads(low, high);
}
#endif

#endif
