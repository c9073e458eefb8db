// lanes/rows.h: blocks of 4 or 8 floats, and steps on them whose second operand is a constant.
#ifndef LIBSIMD_LANES_ROWS_H
#define LIBSIMD_LANES_ROWS_H

#include "lanes/arith.h"

/// A constant for 4 or 8 lanes: eight copies of its bits. A function's rows stand in the library once,
/// in a file of their own, and every level's path loads them.
struct alignas(32) Row {
    std::uint32_t lane[8];
};

consteval Row row(std::uint32_t bits) { return {{bits, bits, bits, bits, bits, bits, bits, bits}}; }

// The steps take a row from memory: there are more constants than registers. They are written as
// instructions, so that no compiler puts other constants in the rows' place.
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
SIMD_STEP(minsel, "minps")
SIMD_STEP(maxsel, "maxps")
SIMD_STEP(less, "cmpltps") // all ones where a < b, else 0
SIMD_STEP(bits_and, "andps")
SIMD_STEP(bits_or, "orps")
SIMD_STEP(add_integers, "paddd")

#ifdef __AVX2__
SIMD_INLINE Block to_float(Block a) { return _mm256_cvtepi32_ps(_mm256_castps_si256(a)); }
#else
SIMD_INLINE Block to_float(Block a) { return _mm_cvtepi32_ps(_mm_castps_si128(a)); }
#endif

#endif
