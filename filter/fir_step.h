// filter/fir_step.h: fir_step_c32 and fir_step_c64, two dot products with one array of taps.
#ifndef LIBSIMD_FILTER_FIR_STEP_H
#define LIBSIMD_FILTER_FIR_STEP_H

#include "lanes/align.h"
#include "lanes/sum_lanes.h"

fir_step_c32_fn fir_step_c32_base, fir_step_c32_sse, fir_step_c32_avx;
fir_step_c64_fn fir_step_c64_base, fir_step_c64_sse2, fir_step_c64_avx;

/// One element, or one block of lanes, onto the two sums.
template <class T>
SIMD_INLINE void add_products(T re, T im, T taps, T& sum_re, T& sum_im)
{
    sum_re = add(sum_re, mul(re, taps));
    sum_im = add(sum_im, mul(im, taps));
}

/// Whether one head brings all three streams to a block boundary.
template <std::size_t Block>
SIMD_INLINE bool same_offsets(const void* re, const void* im, const void* taps)
{
    return same_offset<Block>(re, im) && same_offset<Block>(re, taps);
}

/// Where the whole blocks from i on end: known in advance, so that the loop counts in i alone.
template <std::size_t Lanes>
SIMD_INLINE std::size_t end_of_blocks(std::size_t i, std::size_t n)
{
    return i + (n - i) / Lanes * Lanes;
}

#endif
