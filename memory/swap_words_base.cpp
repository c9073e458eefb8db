// memory/swap_words_base.cpp: swap_words_u32 as defined.
#include "memory/swap_words.h"

void swap_words_u32_base(const uint32_t* src, size_t n, uint32_t* dst)
{
    for (; n != 0; --n)
        *dst++ = swap_halves(*src++);
}
