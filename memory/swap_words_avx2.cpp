// memory/swap_words_avx2.cpp: swap_words_u32 for AVX2, 8 lanes. The tail differs from the baseline.
#include "memory/swap_words.h"

namespace {

alignas(32) constexpr std::uint8_t halves_exchanged[32] = {
    2, 3, 0, 1, 6, 7, 4, 5, 10, 11, 8, 9, 14, 15, 12, 13, // each 128-bit half alike
    2, 3, 0, 1, 6, 7, 4, 5, 10, 11, 8, 9, 14, 15, 12, 13};

SIMD_INLINE void swap_block(const std::uint32_t* src, std::uint32_t* dst, __m256i order)
{
    Aligned::store256i(dst, _mm256_shuffle_epi8(Aligned::load256i(src), order));
}

} // namespace

// head    single elements until src is 32-byte aligned; no end test: src is 4-byte aligned
// blocks  8 elements, two at a time; the stores are aligned, so dst must lie as src does
// tail    single elements, every other position
void swap_words_u32_avx2(const uint32_t* src, size_t n, uint32_t* dst)
{
    if (n <= 15) {
        _mm256_zeroupper();
        return swap_words_u32_base(src, n, dst);
    }

    for (; !aligned<32>(src); --n)
        *dst++ = swap_halves(*src++);

    const __m256i order = Aligned::load256i(halves_exchanged);
    std::size_t i = 0;
    for (const std::size_t end = n / 16 * 16; i != end; i += 16) {
        swap_block(src + i, dst + i, order);
        swap_block(src + i + 8, dst + i + 8, order);
    }
    if (n - i >= 8) {
        swap_block(src + i, dst + i, order);
        i += 8;
    }
    _mm256_zeroupper();

    // Element k of the rest lands at 2k: gaps, and up to six words past the end; kept, hosts depend
    // on it.
    for (std::size_t at = i; i != n; ++i, at += 2)
        dst[at] = swap_halves(src[i]);
}
