// filter/iir1.h: iir1_f32 and iir1_f64, frames averaged into a state.
#ifndef LIBSIMD_FILTER_IIR1_H
#define LIBSIMD_FILTER_IIR1_H

#include "lanes/align.h"
#include "lanes/arith.h"

iir1_f32_fn iir1_f32_base, iir1_f32_sse, iir1_f32_avx;
iir1_f64_fn iir1_f64_base, iir1_f64_sse2, iir1_f64_avx;

/// The state y moved by the share a towards x; one element or a block of lanes.
template <class T>
SIMD_INLINE T average(T x, T y, T a)
{
    return add(mul(sub(x, y), a), y);
}

/// Elements one by one.
template <class T>
SIMD_INLINE void average_each(const T* x, std::size_t n, T* y, T a)
{
    for (; n >= 4; n -= 4, x += 4, y += 4) {
        y[0] = average(x[0], y[0], a);
        y[1] = average(x[1], y[1], a);
        y[2] = average(x[2], y[2], a);
        y[3] = average(x[3], y[3], a);
    }
    for (; n != 0; --n, ++x, ++y)
        *y = average(*x, *y, a);
}

#endif
