// memory/swap_words_avx2.cpp: swap_words_u32 for AVX2, 8 lanes. The tail differs from the baseline.
#include "lanes/arith.h"
#include "memory/swap_words.h"

namespace {

alignas(32) constexpr std::uint8_t halves_exchanged[32] = {
    2, 3, 0, 1, 6, 7, 4, 5, 10, 11, 8, 9, 14, 15, 12, 13, // each 128-bit half alike
    2, 3, 0, 1, 6, 7, 4, 5, 10, 11, 8, 9, 14, 15, 12, 13};

SIMD_INLINE void swap_block(const std::uint32_t* src, std::uint32_t* dst, __m256i order)
{
    Aligned::store256i(dst, shuffle_bytes(Aligned::load256i(src), order));
}

} // namespace

// up to 15 elements singly; more:
// head    single elements until src is 32-byte aligned; no end test: src is 4-byte aligned
// blocks  8 elements, two at a time; the stores are aligned, so dst must lie as src does
// tail    single elements, every other position
void swap_words_u32_avx2(const uint32_t* src, size_t n, uint32_t* dst)
{
    std::size_t i = 0;
    std::size_t step = 1;
    if (n > 15) {
        for (; !aligned<32>(src); --n)
            *dst++ = swap_halves(*src++);

        const __m256i order = Aligned::load256i(halves_exchanged);
        for (const std::size_t end = n / 16 * 16; i != end; i += 16) {
            swap_block(src + i, dst + i, order);
            swap_block(src + i + 8, dst + i + 8, order);
        }
        if (n - i >= 8) {
            swap_block(src + i, dst + i, order);
            i += 8;
        }
        // Element k of the rest lands at 2k: gaps, and up to six words past the end; kept, hosts
        // depend on it.
        step = 2;
    }
    _mm256_zeroupper();

    for (std::size_t at = i; i != n; ++i, at += step)
        dst[at] = swap_halves(src[i]);
}
