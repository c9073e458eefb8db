// filter/vfilter_base.cpp: vfilter_f32 and vfilter_f64 as defined.
#include "filter/vfilter.h"

namespace {

template <class T>
SIMD_INLINE void vfilter(const T* x, std::int32_t n, const T* taps, std::int32_t len, T* y)
{
    if (len <= 1) // a single tap is not applied; kept: hosts depend on it
        return memcpy_fast(y, x, static_cast<std::size_t>(n) * sizeof(T));

    const std::int64_t half = len >> 1;
    fold_left_end(x, taps, half, y);
    fold_rest(x, half, n, taps, half, y);
}

} // namespace

void vfilter_f32_base(const float* x, int32_t n, const float* taps, int32_t len, float* y)
{
    vfilter(x, n, taps, len, y);
}

void vfilter_f64_base(const double* x, int32_t n, const double* taps, int32_t len, double* y)
{
    vfilter(x, n, taps, len, y);
}
