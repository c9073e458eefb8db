// memory/swap_words.h: swap_words_u32, the two 16-bit halves of every word exchanged.
#ifndef LIBSIMD_MEMORY_SWAP_WORDS_H
#define LIBSIMD_MEMORY_SWAP_WORDS_H

#include "lanes/align.h"

swap_words_u32_fn swap_words_u32_base, swap_words_u32_sse2, swap_words_u32_ssse3,
    swap_words_u32_avx2;

/// Written out: there are instructions for it beyond every level here.
SIMD_INLINE std::uint32_t swap_halves(std::uint32_t word)
{
    asm("roll $16, %0" : "+r"(word) : : "cc");
    return word;
}

#endif
