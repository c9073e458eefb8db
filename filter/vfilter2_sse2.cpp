// filter/vfilter2_sse2.cpp: vfilter2_chunk for SSE2, 4 lanes. Other bits than the baseline's: its
// blocks compute the exponential, and sum in lanes.
#include "filter/vfilter2.h"

namespace {

/// Some blocks side by side up to their exponentials, then onto the sums one by one.
template <std::size_t... k>
SIMD_INLINE void add_blocks(std::index_sequence<k...> blocks, const float* x, const float* w,
                            __m128 centre, __m128 width, __m128& nums, __m128& dens)
{
    __m128 e[sizeof...(k)] = {
        gauss_exponent(_mm_loadu_ps(x + 4 * k), centre, width, _mm_setzero_ps())...};
    exponential(blocks, e);
    (add_samples(_mm_loadu_ps(x + 4 * k), _mm_loadu_ps(w + 4 * k), e[k], nums, dens), ...);
}

} // namespace

// short   7 samples or fewer: single samples alone
// blocks  4 samples, unaligned loads, a sum per lane
// fold    ((L0 + L2) + (L1 + L3)) + 0
// tail    single samples onto that
float vfilter2_chunk_sse2(const float* x, const float* w, size_t n, float c)
{
    float num = 0;
    float den = 0;
    size_t i = 0;
    if (n >= 8) {
        const __m128 centre = _mm_set1_ps(c);
        const __m128 width = _mm_set1_ps(gauss_width);
        __m128 nums = _mm_setzero_ps();
        __m128 dens = _mm_setzero_ps();
        for (; n - i >= 32; i += 32)
            add_blocks(side_by_side<8>, x + i, w + i, centre, width, nums, dens);
        for (; n - i >= 16; i += 16)
            add_blocks(side_by_side<4>, x + i, w + i, centre, width, nums, dens);
        add_fours(x, w, i, n, c, nums, dens);
        num = add(sum_lanes(nums), 0.0F);
        den = add(sum_lanes(dens), 0.0F);
    }
    for (; i != n; ++i)
        add_sample(x[i], w[i], c, num, den);
    return div(num, den);
}
