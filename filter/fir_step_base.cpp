// filter/fir_step_base.cpp: fir_step_c32 and fir_step_c64 as defined.
#include "filter/fir_step.h"

namespace {

template <class T>
SIMD_INLINE void fir_step(const T* re, const T* im, const T* taps, std::size_t n, T* out_re,
                          T* out_im)
{
    T sum_re = 0;
    T sum_im = 0;
    std::size_t i = 0;
    for (; n - i >= 4; i += 4) {
        add_products(re[i], im[i], taps[i], sum_re, sum_im);
        add_products(re[i + 1], im[i + 1], taps[i + 1], sum_re, sum_im);
        add_products(re[i + 2], im[i + 2], taps[i + 2], sum_re, sum_im);
        add_products(re[i + 3], im[i + 3], taps[i + 3], sum_re, sum_im);
    }
    for (; i != n; ++i)
        add_products(re[i], im[i], taps[i], sum_re, sum_im);

    *out_re = sum_re;
    *out_im = sum_im;
}

} // namespace

void fir_step_c32_base(const float* re, const float* im, const float* taps, size_t n, float* out_re,
                       float* out_im)
{
    fir_step(re, im, taps, n, out_re, out_im);
}

void fir_step_c64_base(const double* re, const double* im, const double* taps, size_t n,
                       double* out_re, double* out_im)
{
    fir_step(re, im, taps, n, out_re, out_im);
}
