// filter/exp.h: the exponential of a block of floats, e^v lane by lane. The SSE2 variant has it
// four lanes wide, the AVX2 variant eight, with the same bits.
#ifndef LIBSIMD_FILTER_EXP_H
#define LIBSIMD_FILTER_EXP_H

#include "spectrum/arith.h"

// Constants for 4 or 8 lanes: eight copies of a float's bits, so that both load the same row.
namespace {

struct alignas(32) Row {
    std::uint32_t lane[8];
};

consteval Row row(std::uint32_t bits) { return {{bits, bits, bits, bits, bits, bits, bits, bits}}; }

constexpr Row largest = row(0x42B0C0A5);  //  88.3762626647949
constexpr Row smallest = row(0xC2B0C0A5); // -88.3762626647949
constexpr Row log2e = row(0x3FB8AA3B);    //  1.44269504088896341
constexpr Row q1 = row(0x3F318000);       //  0.693359375, and
constexpr Row q2 = row(0xB95E8083);       // -2.12194440e-4: ln 2 in two parts
constexpr Row c0 = row(0x39506967);       //  1.9875691500e-4
constexpr Row c1 = row(0x3AB743CE);       //  1.3981999507e-3
constexpr Row c2 = row(0x3C088908);       //  8.3334519073e-3
constexpr Row c3 = row(0x3D2AA9C1);       //  4.1665795894e-2
constexpr Row c4 = row(0x3E2AAAAA);       //  1.6666665459e-1
constexpr Row half = row(0x3F000000);
constexpr Row one = row(0x3F800000);
constexpr Row bias = row(127); // the integer

} // namespace

// The steps on a block. Those with a row take it from memory as their second operand: there are
// more constants than registers.
#ifdef __AVX2__
using Block = __m256;
#define SIMD_STEP(name, instruction)                                                               \
    SIMD_INLINE Block name(Block a, const Row& b)                                                  \
    {                                                                                              \
        Block r;                                                                                   \
        asm("v" instruction " %2, %1, %0" : "=x"(r) : "x"(a), "m"(b));                             \
        return r;                                                                                  \
    }
#else
using Block = __m128;
#define SIMD_STEP(name, instruction)                                                               \
    SIMD_INLINE Block name(Block a, const Row& b)                                                  \
    {                                                                                              \
        asm(instruction " %1, %0" : "+x"(a) : "m"(b));                                             \
        return a;                                                                                  \
    }
#endif

SIMD_STEP(add, "addps")
SIMD_STEP(mul, "mulps")
SIMD_STEP(minsel, "minps")
SIMD_STEP(maxsel, "maxps")
SIMD_STEP(bits_and, "andps")
SIMD_STEP(add_integers, "paddd")

#ifdef __AVX2__
SIMD_INLINE Block above(Block a, Block b) { return _mm256_cmp_ps(a, b, _CMP_GT_OS); }
SIMD_INLINE Block truncated(Block a) { return _mm256_castsi256_ps(_mm256_cvttps_epi32(a)); }
SIMD_INLINE Block to_float(Block a) { return _mm256_cvtepi32_ps(_mm256_castps_si256(a)); }
SIMD_INLINE Block to_exponent(Block a)
{
    return _mm256_castsi256_ps(_mm256_slli_epi32(_mm256_castps_si256(a), 23));
}
#else
SIMD_INLINE Block above(Block a, Block b) { return _mm_cmpgt_ps(a, b); }
SIMD_INLINE Block truncated(Block a) { return _mm_castsi128_ps(_mm_cvttps_epi32(a)); }
SIMD_INLINE Block to_float(Block a) { return _mm_cvtepi32_ps(_mm_castps_si128(a)); }
SIMD_INLINE Block to_exponent(Block a)
{
    return _mm_castsi128_ps(_mm_slli_epi32(_mm_castps_si128(a), 23));
}
#endif

/// e^v = 2^t * e^r with t the integer next to v / ln 2. Below about -87.683 it is exactly 0, never
/// subnormal; a NaN counts as the largest v.
SIMD_INLINE Block exponential(Block v)
{
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
