// memory/swap_words_sse2.cpp: swap_words_u32 for SSE2, 4 lanes. Same bits as the baseline.
#include "memory/swap_words.h"

namespace {

SIMD_INLINE void swap_block(const std::uint32_t* src, std::uint32_t* dst)
{
    __m128i left = Aligned::load128i(src);
    __m128i right = left;
    asm("pslld $16, %0" : "+x"(left));
    asm("psrld $16, %0" : "+x"(right));
    asm("por %1, %0" : "+x"(left) : "x"(right));
    Aligned::store128i(dst, left);
}

} // namespace

// up to 15 elements singly; more:
// head    single elements until src is 16-byte aligned; no end test: src is 4-byte aligned
// blocks  4 elements, two at a time; the stores are aligned, so dst must lie as src does
// tail    single elements
void swap_words_u32_sse2(const uint32_t* src, size_t n, uint32_t* dst)
{
    std::size_t i = 0;
    if (n > 15) {
        for (; !aligned<16>(src); --n)
            *dst++ = swap_halves(*src++);

        for (const std::size_t end = n / 8 * 8; i != end; i += 8) {
            swap_block(src + i, dst + i);
            swap_block(src + i + 4, dst + i + 4);
        }
        if (n - i >= 4) {
            swap_block(src + i, dst + i);
            i += 4;
        }
    }
    for (; i != n; ++i)
        dst[i] = swap_halves(src[i]);
}
