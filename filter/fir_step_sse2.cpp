// filter/fir_step_sse2.cpp: fir_step_c64 for SSE2, 2 lanes. Other last bits than the baseline's.
#include "filter/fir_step.h"

namespace {

template <class Access>
SIMD_INLINE void add_block(const double* re, const double* im, const double* taps, __m128d& sum_re,
                           __m128d& sum_im)
{
    add_products(Access::load128(re), Access::load128(im), Access::load128(taps), sum_re, sum_im);
}

} // namespace

// head    single elements until all three streams are 16-byte aligned, into a sum of their own;
//         streams that cannot be brought there together have none, and unaligned blocks
// blocks  2 elements, a sum per lane
// fold    (L0 + L1) + head
// tail    single elements onto that
void fir_step_c64_sse2(const double* re, const double* im, const double* taps, size_t n,
                       double* out_re, double* out_im)
{
    double sum_re = 0;
    double sum_im = 0;
    size_t i = 0;
    if (n >= 2) {
        __m128d lanes_re = _mm_setzero_pd();
        __m128d lanes_im = _mm_setzero_pd();
        if (same_offsets<16>(re, im, taps)) {
            for (; i != n && !aligned<16>(re + i); ++i)
                add_products(re[i], im[i], taps[i], sum_re, sum_im);
            for (const size_t end = end_of_blocks<2>(i, n); i != end; i += 2)
                add_block<Aligned>(re + i, im + i, taps + i, lanes_re, lanes_im);
        } else {
            for (const size_t end = end_of_blocks<2>(i, n); i != end; i += 2)
                add_block<Unaligned>(re + i, im + i, taps + i, lanes_re, lanes_im);
        }
        sum_re = add(sum_lanes(lanes_re), sum_re);
        sum_im = add(sum_lanes(lanes_im), sum_im);
    }
    for (; i != n; ++i)
        add_products(re[i], im[i], taps[i], sum_re, sum_im);

    *out_re = sum_re;
    *out_im = sum_im;
}
