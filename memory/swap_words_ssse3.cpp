// memory/swap_words_ssse3.cpp: swap_words_u32 for SSSE3, 4 lanes. Same bits as the baseline.
#include "lanes/arith.h"
#include "memory/swap_words.h"

namespace {

alignas(16) constexpr std::uint8_t halves_exchanged[16] = {2,  3,  0, 1, 6,  7,  4,  5,
                                                           10, 11, 8, 9, 14, 15, 12, 13};

SIMD_INLINE void swap_block(const std::uint32_t* src, std::uint32_t* dst, __m128i order)
{
    Aligned::store128i(dst, shuffle_bytes(Aligned::load128i(src), order));
}

} // namespace

// up to 15 elements singly; more:
// head    single elements until src is 16-byte aligned; no end test: src is 4-byte aligned
// blocks  4 elements, two at a time; the stores are aligned, so dst must lie as src does
// tail    single elements
void swap_words_u32_ssse3(const uint32_t* src, size_t n, uint32_t* dst)
{
    std::size_t i = 0;
    if (n > 15) {
        for (; !aligned<16>(src); --n)
            *dst++ = swap_halves(*src++);

        const __m128i order = Aligned::load128i(halves_exchanged);
        for (const std::size_t end = n / 8 * 8; i != end; i += 8) {
            swap_block(src + i, dst + i, order);
            swap_block(src + i + 4, dst + i + 4, order);
        }
        if (n - i >= 4) {
            swap_block(src + i, dst + i, order);
            i += 4;
        }
    }
    for (; i != n; ++i)
        dst[i] = swap_halves(src[i]);
}
