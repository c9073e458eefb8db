// memory/swap_words.h: swap_words_u32, the two 16-bit halves of every word exchanged.
#ifndef LIBSIMD_MEMORY_SWAP_WORDS_H
#define LIBSIMD_MEMORY_SWAP_WORDS_H

#include "lanes/align.h"

swap_words_u32_fn swap_words_u32_base, swap_words_u32_sse2, swap_words_u32_ssse3,
    swap_words_u32_avx2;

SIMD_INLINE std::uint32_t swap_halves(std::uint32_t word) { return word << 16 | word >> 16; }

#endif
