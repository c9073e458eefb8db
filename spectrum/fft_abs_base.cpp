// spectrum/fft_abs_base.cpp: fft_abs_f32 and fft_abs_f64 as defined.
#include "spectrum/fft_abs.h"

namespace {

template <class T>
SIMD_INLINE void powers(const T* in, std::size_t n, T* out)
{
    for (; n != 0; --n, in += 2)
        *out++ = power(in[0], in[1]);
}

// The last bin of an odd n is not read, and out[n - 1] not written.
template <class T>
SIMD_INLINE void fft_abs(const T* in, std::size_t n, T* out)
{
    const std::size_t half = n / 2;
    powers(in, half, out + half);
    powers(in + 2 * half, half, out);
}

} // namespace

void fft_abs_f32_base(const float* in, size_t n, float* out) { fft_abs(in, n, out); }

void fft_abs_f64_base(const double* in, size_t n, double* out) { fft_abs(in, n, out); }
