// spectrum/fft_abs.h: fft_abs_f32 and fft_abs_f64, the power of every bin with the halves of the
// spectrum exchanged.
#ifndef LIBSIMD_SPECTRUM_FFT_ABS_H
#define LIBSIMD_SPECTRUM_FFT_ABS_H

#include "lanes/align.h"
#include "lanes/arith.h"

fft_abs_f32_fn fft_abs_f32_base, fft_abs_f32_sse, fft_abs_f32_avx;
fft_abs_f64_fn fft_abs_f64_base, fft_abs_f64_sse2, fft_abs_f64_sse3, fft_abs_f64_avx;

/// re * re + im * im
template <class V>
SIMD_INLINE V power(V re, V im)
{
    return add(mul(re, re), mul(im, im));
}

#endif
