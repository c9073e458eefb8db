// spectrum/decibels.h: the vector logarithm, a block of spec_log_f32 at the file's level.
#ifndef LIBSIMD_SPECTRUM_DECIBELS_H
#define LIBSIMD_SPECTRUM_DECIBELS_H

#include "lanes/align.h"
#include "lanes/rows.h"

namespace decibel_rows {
#pragma GCC visibility push(hidden)
extern const Row flt_min, minus_127, but_exponent, half, one, minus_one, ten, sqrt_half, ln10;
extern const Row q1, q2;
extern const Row p0, p1, p2, p3, p4, p5, p6, p7, p8;
#pragma GCC visibility pop
} // namespace decibel_rows

// All steps are written as instructions, so that no compiler drops the guards that have no effect.
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
#endif

/// 10 * log10(x) - offset: ln of the mantissa by a polynomial, plus the exponent times ln 2. The
/// exponent of infinity counts like any other.
SIMD_INLINE Block decibels(Block x, Block offset)
{
    using namespace decibel_rows;
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
