// memory/memcpy.h: memcpy_fast, a copy that streams past the caches.
#ifndef LIBSIMD_MEMORY_MEMCPY_H
#define LIBSIMD_MEMORY_MEMCPY_H

#include "lanes/align.h"

#include <cstring>

memcpy_fast_fn memcpy_fast_base, memcpy_fast_sse2, memcpy_fast_avx2;

// Streaming accesses, written out: a compiler that sees no difference makes them plain ones.
#ifdef __AVX__
#define SIMD_VEX "v"
#else
#define SIMD_VEX ""
#endif
template <class V>
SIMD_INLINE V stream_load(const V* from)
{
    V v;
    asm(SIMD_VEX "movntdqa %1, %0" : "=x"(v) : "m"(*from));
    return v;
}
template <class V>
SIMD_INLINE void stream_store(V* to, V v)
{
    asm(SIMD_VEX "movntdq %1, %0" : "=m"(*to) : "x"(v));
}

/// The few bytes before and after the streamed bulk.
SIMD_INLINE void copy_small(char* dst, const char* src, std::size_t n)
{
    for (; n >= 8; n -= 8, dst += 8, src += 8)
        __builtin_memcpy(dst, src, 8);
    for (; n != 0; --n)
        *dst++ = *src++;
}

/// Bytes from src to the next block boundary, or to the end of the area if that is nearer.
template <std::size_t Block>
SIMD_INLINE std::size_t head_bytes(const char* src, std::size_t n)
{
    const std::size_t head = (Block - offset_in<Block>(src)) % Block;
    return head < n ? head : n;
}

#endif
