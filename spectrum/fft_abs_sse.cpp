// spectrum/fft_abs_sse.cpp: fft_abs_f32 for SSE, 4 lanes. Other sums than the baseline's.
#include "spectrum/fft_abs.h"

namespace {

// [re0 im0 re1 im1], [re2 im2 re3 im3] -> [re0 re2 im0 im2], [re1 re3 im1 im3]: interleaved where
// the parts should have been separated, so the squares of neighbouring bins are summed; kept, hosts
// depend on it.
template <class Access>
SIMD_INLINE void power_block(const float* in, float* out)
{
    const __m128 bins01 = Access::load128(in);
    const __m128 bins23 = Access::load128(in + 4);
    Access::store128(out, power(_mm_unpacklo_ps(bins01, bins23), _mm_unpackhi_ps(bins01, bins23)));
}

/// out[at] up to out[end], rounded up to whole blocks: the step past the end is kept. Returns where
/// reading stopped.
template <class Access>
SIMD_INLINE const float* powers(const float* in, float* out, std::size_t at, std::size_t end)
{
    for (; at + 4 < end; at += 8, in += 16) {
        power_block<Access>(in, out + at);
        power_block<Access>(in + 8, out + at + 4);
    }
    for (; at < end; at += 4, in += 8)
        power_block<Access>(in, out + at);
    return in;
}

template <class Access>
SIMD_INLINE void exchanged_halves(const float* in, std::size_t n, float* out)
{
    in = powers<Access>(in, out, n / 2, n);
    powers<Access>(in, out, 0, n / 2);
}

} // namespace

// blocks  4 bins, twice: the first half of the input into the second of the output, then the rest
//         into the first; aligned if in and out are 16-byte aligned
void fft_abs_f32_sse(const float* in, size_t n, float* out)
{
    if (aligned<16>(in) && aligned<16>(out))
        exchanged_halves<Aligned>(in, n, out);
    else
        exchanged_halves<Unaligned>(in, n, out);
}
