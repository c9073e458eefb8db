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

// In AVX files each access is an instruction of its own and of its full width: the vector passes
// through an empty asm, so that a compiler can neither fold the load into arithmetic, which in AVX
// accepts any address, nor store the vector in parts. Below AVX a folded operand must be aligned like
// any other. (Nor may a compiler join the ends of an aligned and an unaligned loop, in which one
// unaligned access would stand for both: cmake/levels.cmake.)
#ifdef __AVX__
#define SIMD_ALONE(v) asm("" : "+x"(v))
#else
#define SIMD_ALONE(v) static_cast<void>(v)
#endif

#define SIMD_ACCESS(load, store, element, vector, memory)                                          \
    SIMD_INLINE vector load(const element* p)                                                      \
    {                                                                                              \
        vector v = *reinterpret_cast<const memory*>(p);                                            \
        SIMD_ALONE(v);                                                                             \
        return v;                                                                                  \
    }                                                                                              \
    SIMD_INLINE void store(element* p, vector v)                                                   \
    {                                                                                              \
        SIMD_ALONE(v);                                                                             \
        *reinterpret_cast<memory*>(p) = v;                                                         \
    }

// A kernel that chooses between aligned and unaligned accesses at run time writes its block loop
// once, as a template over one of these.
namespace {

struct Aligned {
    SIMD_ACCESS(load128, store128, float, __m128, __m128)
#ifdef __SSE2__
    SIMD_ACCESS(load128, store128, double, __m128d, __m128d)
    SIMD_ACCESS(load128i, store128i, void, __m128i, __m128i)
#endif
#ifdef __AVX__
    SIMD_ACCESS(load256, store256, float, __m256, __m256)
    SIMD_ACCESS(load256, store256, double, __m256d, __m256d)
    SIMD_ACCESS(load256i, store256i, void, __m256i, __m256i)
#endif
};

struct Unaligned {
    SIMD_ACCESS(load128, store128, float, __m128, __m128_u)
#ifdef __SSE2__
    SIMD_ACCESS(load128, store128, double, __m128d, __m128d_u)
    SIMD_ACCESS(load128i, store128i, void, __m128i, __m128i_u)
#endif
#ifdef __AVX__
    SIMD_ACCESS(load256, store256, float, __m256, __m256_u)
    SIMD_ACCESS(load256, store256, double, __m256d, __m256d_u)
    SIMD_ACCESS(load256i, store256i, void, __m256i, __m256i_u)
#endif
};

} // namespace

#endif
