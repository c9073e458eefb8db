// spectrum/decibels.h: the vector logarithm, a block of spec_log_f32 at the file's level.
#ifndef LIBSIMD_SPECTRUM_DECIBELS_H
#define LIBSIMD_SPECTRUM_DECIBELS_H

#include "memory/align.h"
#include "spectrum/arith.h"

// Constants for 4 or 8 lanes: eight copies of a float's bits, so that both load the same row.
namespace {

struct alignas(32) Row {
    std::uint32_t lane[8];
};

consteval Row row(std::uint32_t bits) { return {{bits, bits, bits, bits, bits, bits, bits, bits}}; }

constexpr Row flt_min = row(0x00800000);
constexpr Row minus_127 = row(0xFFFFFF81);    // the integer
constexpr Row but_exponent = row(0x807FFFFF); // sign and mantissa
constexpr Row half = row(0x3F000000);
constexpr Row one = row(0x3F800000);
constexpr Row minus_one = row(0xBF800000);
constexpr Row ten = row(0x41200000);
constexpr Row sqrt_half = row(0x3F3504F3); //  0.70710677
constexpr Row ln10 = row(0x40135D8E);      //  2.3025851
constexpr Row q1 = row(0xB95E8083);        // -2.12194440e-4, and
constexpr Row q2 = row(0x3F318000);        //  0.693359375: ln 2 in two parts
constexpr Row p0 = row(0x3D9021BB);        //  7.0376836e-2
constexpr Row p1 = row(0xBDEBD1B8);        // -1.1514610e-1
constexpr Row p2 = row(0x3DEF251A);        //  1.1676998e-1
constexpr Row p3 = row(0xBDFE5D4F);        // -1.2420141e-1
constexpr Row p4 = row(0x3E11E9BF);        //  1.4249323e-1
constexpr Row p5 = row(0xBE2AAE50);        // -1.6668057e-1
constexpr Row p6 = row(0x3E4CCEAC);        //  2.0000714e-1
constexpr Row p7 = row(0xBE7FFFFC);        // -2.4999994e-1
constexpr Row p8 = row(0x3EAAAAAA);        //  3.3333331e-1

} // namespace

// The steps on a block. Those with a row take it from memory as their second operand: there are
// more constants than registers. All are written as instructions, so that no compiler drops the
// guards that have no effect, nor puts other constants in place of the rows.
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
SIMD_STEP(div, "divps")
SIMD_STEP(maxsel, "maxps")
SIMD_STEP(less, "cmpltps") // all ones where a < b, else 0
SIMD_STEP(bits_and, "andps")
SIMD_STEP(bits_or, "orps")
SIMD_STEP(add_integers, "paddd")
SIMD_PINNED(bits_or, Block, "orps")
SIMD_PINNED(not_above, Block, "cmpleps") // all ones where a <= b, else 0

#ifdef __AVX2__
SIMD_INLINE Block load(const Row& a)
{
    Block r;
    asm("vmovaps %1, %0" : "=x"(r) : "m"(a));
    return r;
}
SIMD_INLINE Block zeros() { return _mm256_setzero_ps(); }
SIMD_INLINE Block where(Block mask, Block a) { return _mm256_and_ps(mask, a); }
SIMD_INLINE Block exponent(Block a)
{
    return _mm256_castsi256_ps(_mm256_srli_epi32(_mm256_castps_si256(a), 23));
}
SIMD_INLINE Block to_float(Block a) { return _mm256_cvtepi32_ps(_mm256_castps_si256(a)); }
#else
SIMD_INLINE Block load(const Row& a)
{
    Block r;
    asm("movaps %1, %0" : "=x"(r) : "m"(a));
    return r;
}
/// b where the mask is set, else a; SSE4.1, which the baseline and the SSE2 variant demand.
SIMD_INLINE Block blend(Block a, Block b, Block mask)
{
    asm("blendvps %2, %1, %0" : "+x"(a) : "x"(b), "Yz"(mask));
    return a;
}
SIMD_INLINE Block zeros() { return _mm_setzero_ps(); }
SIMD_INLINE Block where(Block mask, Block a) { return blend(zeros(), a, mask); }
SIMD_INLINE Block exponent(Block a)
{
    return _mm_castsi128_ps(_mm_srli_epi32(_mm_castps_si128(a), 23));
}
SIMD_INLINE Block to_float(Block a) { return _mm_cvtepi32_ps(_mm_castps_si128(a)); }
#endif

/// 10 * log10(x) - offset: ln of the mantissa by a polynomial, plus the exponent times ln 2. The
/// exponent of infinity counts like any other.
SIMD_INLINE Block decibels(Block x, Block offset)
{
    x = maxsel(x, flt_min); // NaN too
    x = maxsel(x, flt_min);
    const Block invalid = not_above(x, zeros()); // never, after the clamp

    Block e = add(to_float(add_integers(exponent(x), minus_127)), one);
    Block m = bits_or(bits_and(x, but_exponent), half); // [0.5, 1)
    const Block small = less(m, sqrt_half);
    const Block t = where(small, m);
    m = add(m, minus_one);
    e = sub(e, bits_and(small, one));
    m = add(m, t);

    const Block z = mul(m, m);
    Block y = mul(load(p0), m);
    y = mul(add(y, p1), m);
    y = mul(add(y, p2), m);
    y = mul(add(y, p3), m);
    y = mul(add(y, p4), m);
    y = mul(add(y, p5), m);
    y = mul(add(y, p6), m);
    y = mul(add(y, p7), m);
    y = mul(add(y, p8), m);
    y = mul(y, z);
    y = add(y, mul(e, q1));
    y = sub(y, mul(z, half));
    Block r = add(y, m);
    r = add(r, mul(e, q2));
    r = bits_or(r, invalid);

    r = div(r, ln10);
    return sub(mul(r, ten), offset);
}

#endif
