// filter/fir_step_avx.cpp: fir_step_c32 (8 lanes) and fir_step_c64 (4 lanes) for AVX. Other last
// bits than the baseline's.
#include "filter/fir_step.h"

namespace {

template <class Access, class T, class Lanes>
SIMD_INLINE void add_block(const T* re, const T* im, const T* taps, Lanes& sum_re, Lanes& sum_im)
{
    add_products(Access::load256(re), Access::load256(im), Access::load256(taps), sum_re, sum_im);
}

} // namespace

// head    single elements until all three streams are 32-byte aligned, into a sum of their own;
//         streams that cannot be brought there together have none, and unaligned blocks
// blocks  8 elements, a sum per lane
// fold    (((L0 + L4) + (L2 + L6)) + ((L1 + L5) + (L3 + L7))) + head
// tail    single elements onto that
void fir_step_c32_avx(const float* re, const float* im, const float* taps, size_t n, float* out_re,
                      float* out_im)
{
    float sum_re = 0;
    float sum_im = 0;
    size_t i = 0;
    if (n >= 8) {
        __m256 lanes_re = _mm256_setzero_ps();
        __m256 lanes_im = _mm256_setzero_ps();
        if (same_offsets<32>(re, im, taps)) {
            for (; i != n && !aligned<32>(re + i); ++i)
                add_products(re[i], im[i], taps[i], sum_re, sum_im);
            for (const size_t end = end_of_blocks<8>(i, n); i != end; i += 8)
                add_block<Aligned>(re + i, im + i, taps + i, lanes_re, lanes_im);
        } else {
            for (const size_t end = end_of_blocks<8>(i, n); i != end; i += 8)
                add_block<Unaligned>(re + i, im + i, taps + i, lanes_re, lanes_im);
        }
        sum_re = add(sum_lanes(lanes_re), sum_re);
        sum_im = add(sum_lanes(lanes_im), sum_im);
    }
    for (; i != n; ++i)
        add_products(re[i], im[i], taps[i], sum_re, sum_im);

    *out_re = sum_re;
    *out_im = sum_im;
    _mm256_zeroupper();
}

// head    single elements until all three streams are 32-byte aligned, into a sum of their own;
//         streams that cannot be brought there together have none, and unaligned blocks
// blocks  4 elements, a sum per lane
// fold    ((L0 + L2) + (L1 + L3)) + head
// tail    single elements onto that
void fir_step_c64_avx(const double* re, const double* im, const double* taps, size_t n,
                      double* out_re, double* out_im)
{
    double sum_re = 0;
    double sum_im = 0;
    size_t i = 0;
    if (n >= 4) {
        __m256d lanes_re = _mm256_setzero_pd();
        __m256d lanes_im = _mm256_setzero_pd();
        if (same_offsets<32>(re, im, taps)) {
            for (; i != n && !aligned<32>(re + i); ++i)
                add_products(re[i], im[i], taps[i], sum_re, sum_im);
            for (const size_t end = end_of_blocks<4>(i, n); i != end; i += 4)
                add_block<Aligned>(re + i, im + i, taps + i, lanes_re, lanes_im);
        } else {
            for (const size_t end = end_of_blocks<4>(i, n); i != end; i += 4)
                add_block<Unaligned>(re + i, im + i, taps + i, lanes_re, lanes_im);
        }
        sum_re = add(sum_lanes(lanes_re), sum_re);
        sum_im = add(sum_lanes(lanes_im), sum_im);
    }
    for (; i != n; ++i)
        add_products(re[i], im[i], taps[i], sum_re, sum_im);

    *out_re = sum_re;
    *out_im = sum_im;
    _mm256_zeroupper();
}
