// filter/vfilter.h: vfilter_f32 and vfilter_f64, an array smoothed by a symmetric FIR.
//
// Here is the folded form: the centre, then pairs of neighbours, the outermost first. All levels
// use it at the ends. Places are 64 bits wide, so that no sum of two counts overflows.
#ifndef LIBSIMD_FILTER_VFILTER_H
#define LIBSIMD_FILTER_VFILTER_H

#include "lanes/arith.h"

vfilter_f32_fn vfilter_f32_base, vfilter_f32_sse, vfilter_f32_avx;
vfilter_f64_fn vfilter_f64_base, vfilter_f64_sse2, vfilter_f64_avx;

namespace {

// Where a neighbour is read, by phase: beyond its end of the array, the end stands in for it. The
// left phase does not look at the right end, whatever n is, nor the right phase at the left one.

struct LeftEnd {
    SIMD_INLINE std::int64_t left(std::int64_t i) { return i < 0 ? 0 : i; }
    SIMD_INLINE std::int64_t right(std::int64_t i, std::int64_t) { return i; }
};

struct Middle {
    SIMD_INLINE std::int64_t left(std::int64_t i) { return i; }
    SIMD_INLINE std::int64_t right(std::int64_t i, std::int64_t) { return i; }
};

struct RightEnd {
    SIMD_INLINE std::int64_t left(std::int64_t i) { return i; }
    SIMD_INLINE std::int64_t right(std::int64_t i, std::int64_t last)
    {
        return i > last ? last : i;
    }
};

} // namespace

template <class T>
SIMD_INLINE T add_pair(T acc, T left, T right, T tap)
{
    return add(acc, mul(add(right, left), tap));
}

/// Outputs i to end - 1, four side by side, because each sum waits for itself, then singly.
template <class Place, class T>
SIMD_INLINE void fold(const T* x, std::int64_t i, std::int64_t end, std::int64_t last,
                      const T* taps, std::int64_t half, T* y)
{
    for (; end - i >= 4; i += 4) {
        T acc0 = mul(x[i], taps[half]);
        T acc1 = mul(x[i + 1], taps[half]);
        T acc2 = mul(x[i + 2], taps[half]);
        T acc3 = mul(x[i + 3], taps[half]);
        for (std::int64_t k = 0; k < half; ++k) {
            const std::int64_t l = i - half + k;
            const std::int64_t r = i + half - k;
            const T tap = taps[k];
            acc0 = add_pair(acc0, x[Place::left(l)], x[Place::right(r, last)], tap);
            acc1 = add_pair(acc1, x[Place::left(l + 1)], x[Place::right(r + 1, last)], tap);
            acc2 = add_pair(acc2, x[Place::left(l + 2)], x[Place::right(r + 2, last)], tap);
            acc3 = add_pair(acc3, x[Place::left(l + 3)], x[Place::right(r + 3, last)], tap);
        }
        y[i] = acc0;
        y[i + 1] = acc1;
        y[i + 2] = acc2;
        y[i + 3] = acc3;
    }
    for (; i < end; ++i) {
        T acc = mul(x[i], taps[half]);
        for (std::int64_t k = 0; k < half; ++k)
            acc = add_pair(acc, x[Place::left(i - half + k)], x[Place::right(i + half - k, last)],
                           taps[k]);
        y[i] = acc;
    }
}

/// The first half outputs, all of them whatever n is.
template <class T>
SIMD_INLINE void fold_left_end(const T* x, const T* taps, std::int64_t half, T* y)
{
    fold<LeftEnd>(x, 0, half, 0, taps, half, y);
}

/// The outputs from i (at least half) to the end of the array.
template <class T>
SIMD_INLINE void fold_rest(const T* x, std::int64_t i, std::int64_t n, const T* taps,
                           std::int64_t half, T* y)
{
    const std::int64_t right_end = n - half < i ? i : n - half;
    fold<Middle>(x, i, right_end, n - 1, taps, half, y);
    fold<RightEnd>(x, right_end, n, n - 1, taps, half, y);
}

#endif
