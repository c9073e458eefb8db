// lanes/arith.h: sums, products and selections with their operand order pinned in the
// instruction.
//
// Of two NaN operands the processor keeps the first one's payload, and of two equal or unordered
// values its minimum and maximum keep the second. Compilers take sums and products for commutative
// and give either order, from scalars and from intrinsics alike; inside an asm the order written is
// the order executed. One name serves every width: the argument's type chooses the instruction.
//
//   add(a, b)     a + b        mul(a, b)     a * b
//   sub(a, b)     a - b        div(a, b)     a / b
//   minsel(a, b)  a if a < b, otherwise b
//   maxsel(a, b)  a if a > b, otherwise b
//   add_low(a, b)  a, with the lowest lane of b added to its own
//
// Below them stand a few data movements, written out because a compiler would choose others.
#ifndef LIBSIMD_LANES_ARITH_H
#define LIBSIMD_LANES_ARITH_H

#include "lanes/variant.h"

#include <immintrin.h>

// clang++'s own assembler, from 17 on, swaps the operands of a sum or product where that saves a byte
// of the prefix; it does not where the long prefix is asked for.
#if defined __clang__ && __clang_major__ >= 17
#define SIMD_WIDE "%{vex3%} v"
#else
#define SIMD_WIDE "v"
#endif

#ifdef __AVX__
#define SIMD_PINNED(name, type, instruction)                                                       \
    SIMD_INLINE type name(type a, type b)                                                          \
    {                                                                                              \
        type r;                                                                                    \
        asm(SIMD_WIDE instruction " %2, %1, %0" : "=x"(r) : "x"(a), "x"(b));                       \
        return r;                                                                                  \
    }
#else
#define SIMD_PINNED(name, type, instruction)                                                       \
    SIMD_INLINE type name(type a, type b)                                                          \
    {                                                                                              \
        asm(instruction " %1, %0" : "+x"(a) : "x"(b));                                             \
        return a;                                                                                  \
    }
#endif

SIMD_PINNED(add, float, "addss")
SIMD_PINNED(sub, float, "subss")
SIMD_PINNED(mul, float, "mulss")
SIMD_PINNED(div, float, "divss")
SIMD_PINNED(minsel, float, "minss")
SIMD_PINNED(maxsel, float, "maxss")

SIMD_PINNED(add_low, __m128, "addss")
SIMD_PINNED(add, __m128, "addps")
SIMD_PINNED(sub, __m128, "subps")
SIMD_PINNED(mul, __m128, "mulps")
SIMD_PINNED(div, __m128, "divps")
SIMD_PINNED(minsel, __m128, "minps")
SIMD_PINNED(maxsel, __m128, "maxps")

#ifdef __SSE2__
SIMD_PINNED(add, double, "addsd")
SIMD_PINNED(sub, double, "subsd")
SIMD_PINNED(mul, double, "mulsd")
SIMD_PINNED(div, double, "divsd")
SIMD_PINNED(minsel, double, "minsd")
SIMD_PINNED(maxsel, double, "maxsd")

SIMD_PINNED(add_low, __m128d, "addsd")
SIMD_PINNED(add, __m128d, "addpd")
SIMD_PINNED(sub, __m128d, "subpd")
SIMD_PINNED(mul, __m128d, "mulpd")
SIMD_PINNED(div, __m128d, "divpd")
SIMD_PINNED(minsel, __m128d, "minpd")
SIMD_PINNED(maxsel, __m128d, "maxpd")

#ifndef __AVX__
/// A double in both lanes by SSE3's instruction, whatever the file's level: some SSE2 variants
/// demand it.
SIMD_INLINE __m128d movddup(double a)
{
    __m128d r;
    asm("movddup %1, %0" : "=x"(r) : "x"(a));
    return r;
}
#endif
#endif

#ifdef __SSE2__
SIMD_PINNED(low_quads, __m128i, "punpcklqdq")
SIMD_PINNED(high_quads, __m128i, "punpckhqdq")
#endif
#ifdef __SSSE3__
/// The bytes of a that b names, each half of 16 by itself; for b's negative bytes 0.
SIMD_PINNED(shuffle_bytes, __m128i, "pshufb")
#endif
#ifdef __AVX2__
SIMD_PINNED(shuffle_bytes, __m256i, "pshufb")
#endif

#ifdef __AVX__
SIMD_PINNED(add, __m256, "addps")
SIMD_PINNED(sub, __m256, "subps")
SIMD_PINNED(mul, __m256, "mulps")
SIMD_PINNED(div, __m256, "divps")
SIMD_PINNED(minsel, __m256, "minps")
SIMD_PINNED(maxsel, __m256, "maxps")

SIMD_PINNED(add, __m256d, "addpd")
SIMD_PINNED(sub, __m256d, "subpd")
SIMD_PINNED(mul, __m256d, "mulpd")
SIMD_PINNED(div, __m256d, "divpd")
SIMD_PINNED(minsel, __m256d, "minpd")
SIMD_PINNED(maxsel, __m256d, "maxpd")
#endif

#endif
