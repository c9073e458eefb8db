// filter/vfilter2_avx2.cpp: vfilter2_chunk for AVX2, 8 lanes. Other bits than the baseline's: its
// blocks compute the exponential, and sum in lanes.
#include "filter/vfilter2.h"

namespace {

/// Some blocks side by side up to their exponentials, then onto the sums one by one.
template <std::size_t... k>
SIMD_INLINE void add_blocks(std::index_sequence<k...> blocks, const float* x, const float* w,
                            __m256 centre, __m256 width, __m256& nums, __m256& dens)
{
    __m256 e[sizeof...(k)] = {
        gauss_exponent(_mm256_loadu_ps(x + 8 * k), centre, width, _mm256_setzero_ps())...};
    exponential(blocks, e);
    (add_samples(_mm256_loadu_ps(x + 8 * k), _mm256_loadu_ps(w + 8 * k), e[k], nums, dens), ...);
}

} // namespace

// short   7 samples or fewer: single samples alone; 8 to 15: as SSE2, in blocks of 4
// blocks  8 samples, unaligned loads, a sum per lane
// fold    (((L0 + L4) + (L2 + L6)) + ((L1 + L5) + (L3 + L7))) + 0
// tail    single samples onto that
// The upper halves are cleared before legacy code runs, and before the return.
float vfilter2_chunk_avx2(const float* x, const float* w, size_t n, float c)
{
    float num = 0;
    float den = 0;
    size_t i = 0;
    if (n >= 16) {
        const __m256 centre = _mm256_set1_ps(c);
        const __m256 width = _mm256_set1_ps(gauss_width);
        __m256 nums = _mm256_setzero_ps();
        __m256 dens = _mm256_setzero_ps();
        for (; n - i >= 64; i += 64)
            add_blocks(side_by_side<8>, x + i, w + i, centre, width, nums, dens);
        for (; n - i >= 32; i += 32)
            add_blocks(side_by_side<4>, x + i, w + i, centre, width, nums, dens);
        for (; n - i >= 8; i += 8)
            add_blocks(side_by_side<1>, x + i, w + i, centre, width, nums, dens);
        num = add(sum_lanes(nums), 0.0F);
        den = add(sum_lanes(dens), 0.0F);
        _mm256_zeroupper();
    } else if (n >= 8) {
        _mm256_zeroupper();
        __m128 nums = _mm_setzero_ps();
        __m128 dens = _mm_setzero_ps();
        add_fours(x, w, i, n, c, nums, dens);
        num = add(sum_lanes(nums), 0.0F);
        den = add(sum_lanes(dens), 0.0F);
    } else {
        _mm256_zeroupper();
    }
    for (; i != n; ++i)
        add_sample(x[i], w[i], c, num, den);
    num = div(num, den);
    _mm256_zeroupper();
    return num;
}
