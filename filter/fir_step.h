// filter/fir_step.h: fir_step_c32 and fir_step_c64, two dot products with one array of taps.
#ifndef LIBSIMD_FILTER_FIR_STEP_H
#define LIBSIMD_FILTER_FIR_STEP_H

#include "lanes/align.h"
#include "lanes/sum_lanes.h"

fir_step_c32_fn fir_step_c32_base, fir_step_c32_sse, fir_step_c32_avx;
fir_step_c64_fn fir_step_c64_base, fir_step_c64_sse2, fir_step_c64_avx;

/// A block of the file's width.
template <class Access, class T>
SIMD_INLINE auto load(const T* p)
{
#ifdef __AVX__
    return Access::load256(p);
#else
    return Access::load128(p);
#endif
}

/// One element, or one block of lanes, onto the two sums.
template <class T>
SIMD_INLINE void add_products(T re, T im, T taps, T& sum_re, T& sum_im)
{
    sum_re = add(sum_re, mul(re, taps));
    sum_im = add(sum_im, mul(im, taps));
}

// The vector variants' step, Lanes being the file's vector.
//
// head    single elements until all three streams are aligned, into a sum of their own; streams that
//         cannot be brought there together have none, and unaligned blocks
// blocks  a sum per lane
// fold    the lanes' sum, which is +0 without a block, then + head
// tail    single elements onto that

/// Whole blocks from i on, onto a sum per lane; the lanes are then folded. Where they end is known in
/// advance, so that the loop counts in i alone.
template <class Access, class Lanes, class T>
SIMD_INLINE void add_blocks(const T* re, const T* im, const T* taps, std::size_t& i, std::size_t n,
                            T& sum_re, T& sum_im)
{
    constexpr std::size_t w = sizeof(Lanes) / sizeof(T);
    Lanes lanes_re{}, lanes_im{};
    for (const std::size_t end = i + (n - i) / w * w; i != end; i += w)
        add_products(load<Access>(re + i), load<Access>(im + i), load<Access>(taps + i), lanes_re,
                     lanes_im);
    sum_re = sum_lanes(lanes_re);
    sum_im = sum_lanes(lanes_im);
}

template <class Lanes, class T>
SIMD_INLINE void fir_step(const T* re, const T* im, const T* taps, std::size_t n, T* out_re,
                          T* out_im)
{
    constexpr std::size_t block = sizeof(Lanes);
    T head_re = 0, head_im = 0;
    T sum_re = 0, sum_im = 0;
    std::size_t i = 0;
    if (same_offset<block>(re, im) && same_offset<block>(re, taps)) {
        for (; i != n && !aligned<block>(re + i); ++i)
            add_products(re[i], im[i], taps[i], head_re, head_im);
        if (n - i >= block / sizeof(T))
            add_blocks<Aligned, Lanes>(re, im, taps, i, n, sum_re, sum_im);
    } else if (n >= block / sizeof(T)) {
        add_blocks<Unaligned, Lanes>(re, im, taps, i, n, sum_re, sum_im);
    }
    sum_re = add(sum_re, head_re);
    sum_im = add(sum_im, head_im);
    for (; i != n; ++i)
        add_products(re[i], im[i], taps[i], sum_re, sum_im);

    *out_re = sum_re;
    *out_im = sum_im;
}

#endif
