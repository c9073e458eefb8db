// spectrum/mix_avx.cpp: mix_f64 for AVX, 4 lanes. Same bits as the baseline.
#include "spectrum/mix.h"
#include "spectrum/pairs.h"

namespace {

// [r0 r1 | r2 r3], [i0 i1 | i2 i3] -> [r0 i0 | r2 i2], [r1 i1 | r3 i3] -> [r0 i0 | r1 i1], [r2 i2 | r3 i3]
template <class Access>
SIMD_INLINE void mix_block(const double* re, const double* im, double* out)
{
    const __m256d r = Access::load256(re);
    const __m256d i = Access::load256(im);
    const __m256d even = firsts(r, i);
    const __m256d odd = seconds(r, i);
    Access::store256(out, low_halves(even, odd));
    Access::store256(out + 4, high_halves(even, odd));
}

/// Whole blocks, as many as n has; returns the pairs done.
template <class Access>
SIMD_INLINE std::size_t mix_blocks(const double* re, const double* im, std::size_t n, double* out)
{
    std::size_t k = 0;
    for (; n - k >= 8; k += 8) {
        mix_block<Access>(re + k, im + k, out + 2 * k);
        mix_block<Access>(re + k + 4, im + k + 4, out + 2 * k + 8);
    }
    for (; n - k >= 4; k += 4)
        mix_block<Access>(re + k, im + k, out + 2 * k);
    return k;
}

} // namespace

// all three at the same offset modulo 32:
//   head    single pairs until re is 32-byte aligned; one that is not 8-byte aligned never is
//   blocks  4 pairs, aligned
// otherwise:
//   blocks  4 pairs, unaligned, from the first on
// tail      single pairs
void mix_f64_avx(const double* re, const double* im, size_t n, double* out)
{
    std::size_t k = 0;
    if (same_offset<32>(re, im) && same_offset<32>(im, out)) {
        for (; n != 0 && !aligned<32>(re); --n) {
            *out++ = *re++;
            *out++ = *im++;
        }
        // out moves twice as fast as re: after any single pair it is off, and the aligned stores
        // fault; kept, hosts pass such buffers aligned or mutually misaligned
        k = mix_blocks<Aligned>(re, im, n, out);
    } else {
        k = mix_blocks<Unaligned>(re, im, n, out);
    }
    _mm256_zeroupper();

    for (; k != n; ++k) {
        out[2 * k] = re[k];
        out[2 * k + 1] = im[k];
    }
}
