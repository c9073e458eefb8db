// spectrum/fft_abs_avx.cpp: fft_abs_f32 (8 lanes, other values than the baseline's) and
// fft_abs_f64 (4 lanes, same bits as the baseline) for AVX.
#include "spectrum/fft_abs.h"
#include "spectrum/pairs.h"

namespace {

// Bins c0, c1, ... in, powers p0, p3, p2, p5, p2, p3, p6, p7 out: an order that is right within
// four lanes only, so p1 and p4 are lost; kept, hosts depend on it. The bins are brought into the
// order of the powers first:
// [c0 c1 | c2 c3], [c4 c5 | c6 c7] and [c2 c3 | c2 c3] -> [c0 c3 | c2 c3], [c2 c5 | c6 c7].
template <class Access>
SIMD_INLINE void power_block(const float* in, float* out)
{
    const __m256d bins03 = _mm256_castps_pd(Access::load256(in));
    const __m256d bins47 = _mm256_castps_pd(Access::load256(in + 8));
    const __m256d bins23 = high_halves(bins03, bins03);
    const __m256 low = _mm256_castpd_ps(_mm256_blend_pd(bins03, bins23, 0b0010));
    const __m256 high = _mm256_castpd_ps(_mm256_blend_pd(bins47, bins23, 0b0001));
    const __m256 re = _mm256_shuffle_ps(low, high, _MM_SHUFFLE(2, 0, 2, 0));
    const __m256 im = _mm256_shuffle_ps(low, high, _MM_SHUFFLE(3, 1, 3, 1));
    Access::store256(out, power(re, im));
}

// [c0 | c1], [c2 | c3] -> [c0 | c2], [c1 | c3] -> [re0 re1 | re2 re3], [im0 im1 | im2 im3]
template <class Access>
SIMD_INLINE void power_block(const double* in, double* out)
{
    const __m256d bins01 = Access::load256(in);
    const __m256d bins23 = Access::load256(in + 4);
    const __m256d bins02 = low_halves(bins01, bins23);
    const __m256d bins13 = high_halves(bins01, bins23);
    Access::store256(out, power(firsts(bins02, bins13), seconds(bins02, bins13)));
}

/// out[at] up to out[end], rounded up to whole blocks: the step past the end is kept. Returns where
/// reading stopped.
template <class Access>
SIMD_INLINE const float* powers(const float* in, float* out, std::size_t at, std::size_t end)
{
    for (; at + 8 < end; at += 16, in += 32) {
        power_block<Access>(in, out + at);
        power_block<Access>(in + 16, out + at + 8);
    }
    for (; at < end; at += 8, in += 16)
        power_block<Access>(in, out + at);
    return in;
}

/// The same, but only equality ends it: halves that are not whole blocks run off the buffers; kept.
template <class Access>
SIMD_INLINE const double* powers(const double* in, double* out, std::size_t at, std::size_t end)
{
    for (; end - at >= 8; at += 8, in += 16) {
        power_block<Access>(in, out + at);
        power_block<Access>(in + 8, out + at + 4);
    }
    for (; at != end; at += 4, in += 8)
        power_block<Access>(in, out + at);
    return in;
}

template <class Access, class T>
SIMD_INLINE void exchanged_halves(const T* in, std::size_t n, T* out)
{
    in = powers<Access>(in, out, n / 2, n);
    powers<Access>(in, out, 0, n / 2);
}

// blocks  8 floats or 4 doubles of output, twice: the first half of the input into the second of
//         the output, then the rest into the first; aligned if in and out are 32-byte aligned
template <class T>
SIMD_INLINE void fft_abs(const T* in, std::size_t n, T* out)
{
    if (aligned<32>(in) && aligned<32>(out))
        exchanged_halves<Aligned>(in, n, out);
    else
        exchanged_halves<Unaligned>(in, n, out);
    _mm256_zeroupper();
}

} // namespace

void fft_abs_f32_avx(const float* in, size_t n, float* out) { fft_abs(in, n, out); }

void fft_abs_f64_avx(const double* in, size_t n, double* out) { fft_abs(in, n, out); }
