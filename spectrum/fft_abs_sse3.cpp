// spectrum/fft_abs_sse3.cpp: fft_abs_f64 for SSE3, 2 lanes. Same bits as the baseline.
#include "spectrum/fft_abs.h"

namespace {

/// [a0 + a1, b0 + b1]; of two NaNs that of the lower lane. Pinned, so that it is one instruction.
SIMD_INLINE __m128d add_pairs(__m128d a, __m128d b)
{
    asm("haddpd %1, %0" : "+x"(a) : "x"(b));
    return a;
}

template <class Access>
SIMD_INLINE void power_block(const double* in, double* out)
{
    const __m128d bin0 = Access::load128(in);
    const __m128d bin1 = Access::load128(in + 2);
    Access::store128(out, add_pairs(mul(bin0, bin0), mul(bin1, bin1)));
}

/// out[at] up to out[end], which only equality ends: halves that are not whole blocks run off the
/// buffers; kept. Returns where reading stopped.
template <class Access>
SIMD_INLINE const double* powers(const double* in, double* out, std::size_t at, std::size_t end)
{
    for (; end - at >= 4; at += 4, in += 8) {
        power_block<Access>(in, out + at);
        power_block<Access>(in + 4, out + at + 2);
    }
    for (; at != end; at += 2, in += 4)
        power_block<Access>(in, out + at);
    return in;
}

template <class Access>
SIMD_INLINE void exchanged_halves(const double* in, std::size_t n, double* out)
{
    in = powers<Access>(in, out, n / 2, n);
    powers<Access>(in, out, 0, n / 2);
}

} // namespace

// blocks  2 bins, twice: the first half of the input into the second of the output, then the rest
//         into the first; aligned if in and out are 16-byte aligned
void fft_abs_f64_sse3(const double* in, size_t n, double* out)
{
    if (aligned<16>(in) && aligned<16>(out))
        exchanged_halves<Aligned>(in, n, out);
    else
        exchanged_halves<Unaligned>(in, n, out);
}
