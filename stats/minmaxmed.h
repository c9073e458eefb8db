// stats/minmaxmed.h: minmaxmed_*, minimum, maximum and mean of a block.
#ifndef LIBSIMD_STATS_MINMAXMED_H
#define LIBSIMD_STATS_MINMAXMED_H

#include "stats/fold.h"

minmaxmed_f32_fn minmaxmed_f32_base, minmaxmed_f32_sse, minmaxmed_f32_avx;
minmaxmed_f64_fn minmaxmed_f64_base, minmaxmed_f64_sse2, minmaxmed_f64_avx;

// As in minmax: every vector variant walks its head from p[0] until p is aligned, without an end
// test, and folding p[0] into hmin and hmax, which start as p[0], changes nothing.

/// One element more. The outputs hold the running state, the mean that of the sum.
template <class T>
SIMD_INLINE void take(T x, T* min, T* max, T* mean)
{
    widen_range(x, min, max);
    *mean = add(x, *mean);
}

/// From the sum to the mean.
template <class T>
SIMD_INLINE void finish(T* mean, std::size_t n)
{
    *mean = div(*mean, as_real<T>(n));
}

#endif
