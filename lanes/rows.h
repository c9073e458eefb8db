// lanes/rows.h: blocks of 4 or 8 floats, and the constants that they meet: rows of eight copies.
#ifndef LIBSIMD_LANES_ROWS_H
#define LIBSIMD_LANES_ROWS_H

#include "lanes/arith.h"

#include <utility>

/// A constant for 4 or 8 lanes: eight copies of its bits. A function's rows stand in the library once,
/// in a file of their own, and every level's path loads them.
struct alignas(32) Row {
    std::uint32_t lane[8];
};

consteval Row row(std::uint32_t bits) { return {{bits, bits, bits, bits, bits, bits, bits, bits}}; }

// Steps are written as instructions, so that no compiler puts other constants in the rows' place, or
// drops a step that has no effect. A row is loaded aligned: by the legacy step itself, whose memory
// operand must be; by a move before the wide one, whose memory operand may lie anywhere.
#ifdef __AVX2__
using Block = __m256;
using Constant = const Block;
SIMD_INLINE Constant constant(const Row& a)
{
    Block r;
    asm("vmovaps %1, %0" : "=x"(r) : "m"(a));
    return r;
}
SIMD_INLINE Block to_float(Block a) { return _mm256_cvtepi32_ps(_mm256_castps_si256(a)); }
SIMD_INLINE Block zeros() { return _mm256_setzero_ps(); }
#define SIMD_STEP(name, instruction)
#else
using Block = __m128;
using Constant = const Row&;
SIMD_INLINE Constant constant(const Row& a) { return a; }
SIMD_INLINE Block to_float(Block a) { return _mm_cvtepi32_ps(_mm_castps_si128(a)); }
SIMD_INLINE Block zeros() { return _mm_setzero_ps(); }
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
SIMD_STEP(less, "cmpltps")
SIMD_STEP(bits_and, "andps")
SIMD_STEP(bits_or, "orps")
SIMD_STEP(add_integers, "paddd")
SIMD_PINNED(less, Block, "cmpltps")      // all ones where a < b, else 0
SIMD_PINNED(not_above, Block, "cmpleps") // all ones where a <= b, else 0
SIMD_PINNED(bits_and, Block, "andps")
SIMD_PINNED(bits_or, Block, "orps")
SIMD_PINNED(add_integers, Block, "paddd")

// Blocks do not depend on one another: laid side by side, each step for all of them, they wait for one
// another and not each for itself.
template <std::size_t blocks>
static constexpr std::make_index_sequence<blocks> side_by_side{};

/// One step of a polynomial, y = (y + c) * x.
template <std::size_t... k>
SIMD_INLINE void horner(std::index_sequence<k...>, Block* y, const Row& c, const Block* x)
{
    Constant term = constant(c);
    ((y[k] = mul(add(y[k], term), x[k])), ...);
}

#endif
