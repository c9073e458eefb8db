// spectrum/decibels.h: the vector logarithm, blocks of spec_log_f32 at the file's level.
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

#ifdef __AVX2__
SIMD_INLINE Block load(const float* p) { return Aligned::load256(p); }
SIMD_INLINE void store(float* p, Block v) { Aligned::store256(p, v); }
SIMD_INLINE Block where(Block mask, Block a) { return _mm256_and_ps(mask, a); }
SIMD_INLINE Block exponent(Block a)
{
    return _mm256_castsi256_ps(_mm256_srli_epi32(_mm256_castps_si256(a), 23));
}
#else
SIMD_INLINE Block load(const float* p) { return Aligned::load128(p); }
SIMD_INLINE void store(float* p, Block v) { Aligned::store128(p, v); }
/// b where the mask is set, else a; SSE4.1, which the baseline and the SSE2 variant demand.
SIMD_INLINE Block blend(Block a, Block b, Block mask)
{
    asm("blendvps %2, %1, %0" : "+x"(a) : "x"(b), "Yz"(mask));
    return a;
}
SIMD_INLINE Block where(Block mask, Block a) { return blend(zeros(), a, mask); }
SIMD_INLINE Block exponent(Block a)
{
    return _mm_castsi128_ps(_mm_srli_epi32(_mm_castps_si128(a), 23));
}
#endif

/// 10 * log10(x) - offset of some blocks side by side: ln of the mantissa by a polynomial, plus the
/// exponent times ln 2. The exponent of infinity counts like any other. All blocks are read before
/// the first is written.
template <std::size_t... k>
SIMD_INLINE void decibels(std::index_sequence<k...> all, const float* in, float* out, Block offset)
{
    using namespace decibel_rows;
    constexpr std::size_t blocks = sizeof...(k);
    constexpr std::size_t lanes = sizeof(Block) / sizeof(float);
    Block invalid[blocks], mantissa[blocks], exponents[blocks], logarithm[blocks];

    Constant least = constant(flt_min), bias = constant(minus_127), halves = constant(half);
    Constant ones = constant(one), mantissa_bits = constant(but_exponent);
    Constant limit = constant(sqrt_half), less_one = constant(minus_one);
    for (std::size_t i = 0; i != blocks; ++i) {
        Block x = maxsel(load(in + i * lanes), least); // NaN too
        x = maxsel(x, least);
        invalid[i] = not_above(x, zeros()); // never, after the clamp

        Block e = add(to_float(add_integers(exponent(x), bias)), ones);
        Block m = bits_or(bits_and(x, mantissa_bits), halves); // [0.5, 1)
        const Block small = less(m, limit);
        const Block t = where(small, m);
        m = add(m, less_one);
        exponents[i] = sub(e, bits_and(small, ones));
        mantissa[i] = add(m, t);
    }

    Constant first = constant(p0);
    Block y[blocks] = {mul(mantissa[k], first)...};
    horner(all, y, p1, mantissa);
    horner(all, y, p2, mantissa);
    horner(all, y, p3, mantissa);
    horner(all, y, p4, mantissa);
    horner(all, y, p5, mantissa);
    horner(all, y, p6, mantissa);
    horner(all, y, p7, mantissa);
    horner(all, y, p8, mantissa);
    ((logarithm[k] = y[k]), ...);

    Constant low = constant(q1), high = constant(q2);
    Constant base = constant(ln10), tens = constant(ten);
    for (std::size_t i = 0; i != blocks; ++i) {
        const Block m = mantissa[i];
        const Block e = exponents[i];
        const Block z = mul(m, m);
        Block r = mul(logarithm[i], z);
        r = add(r, mul(e, low));
        r = sub(r, mul(z, halves));
        r = add(r, m);
        r = add(r, mul(e, high));
        r = bits_or(r, invalid[i]);

        r = div(r, base);
        store(out + i * lanes, sub(mul(r, tens), offset));
    }
}

#endif
