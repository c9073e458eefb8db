// spectrum/mix_sse2.cpp: mix_f64 for SSE2, 2 lanes. Same bits as the baseline.
#include "spectrum/mix.h"
#include "spectrum/pairs.h"

namespace {

template <class Access>
SIMD_INLINE void mix_block(const double* re, const double* im, double* out)
{
    const __m128d r = Access::load128(re);
    const __m128d i = Access::load128(im);
    Access::store128(out, firsts(r, i));
    // In this order: unaligned stores that step back take twice as long beyond L1.
    asm("" ::: "memory");
    Access::store128(out + 2, seconds(r, i));
}

/// Whole blocks, as many as n has; returns the pairs done.
template <class Access>
SIMD_INLINE std::size_t mix_blocks(const double* re, const double* im, std::size_t n, double* out)
{
    std::size_t k = 0;
    for (; n - k >= 8; k += 8) {
        mix_block<Access>(re + k, im + k, out + 2 * k);
        mix_block<Access>(re + k + 2, im + k + 2, out + 2 * k + 4);
        mix_block<Access>(re + k + 4, im + k + 4, out + 2 * k + 8);
        mix_block<Access>(re + k + 6, im + k + 6, out + 2 * k + 12);
    }
    for (; n - k >= 2; k += 2)
        mix_block<Access>(re + k, im + k, out + 2 * k);
    return k;
}

} // namespace

// blocks  2 pairs from the first on; aligned if all three pointers are 16-byte aligned
// tail    a single pair
void mix_f64_sse2(const double* re, const double* im, size_t n, double* out)
{
    std::size_t k = 0;
    if (aligned<16>(re) && aligned<16>(im) && aligned<16>(out))
        k = mix_blocks<Aligned>(re, im, n, out);
    else
        k = mix_blocks<Unaligned>(re, im, n, out);

    if (k != n) {
        out[2 * k] = re[k];
        out[2 * k + 1] = im[k];
    }
}
