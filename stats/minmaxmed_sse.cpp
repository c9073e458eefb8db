// stats/minmaxmed_sse.cpp: minmaxmed_f32 for SSE, 4 lanes.
#include "stats/minmaxmed.h"

// head    single elements until p is 16-byte aligned, into hmin, hmax and hsum
// blocks  4 elements, from the first aligned one on
// fold    minima and maxima as in minmax_f32; sum (L1 + L3) + (L0 + L2), then + hsum; stored
// tail    single elements, into the stored values
void minmaxmed_f32_sse(const float* p, size_t n, float* min, float* max, float* mean)
{
    // The baseline makes the null tests too.
    if (n <= 15 || min == nullptr || max == nullptr || mean == nullptr)
        return minmaxmed_f32_base(p, n, min, max, mean);

    std::size_t left = n;
    float hmin = *p;
    float hmax = *p;
    float hsum = 0.0F;
    for (; !aligned<16>(p); --left, ++p) {
        hmin = minsel(*p, hmin);
        hmax = maxsel(*p, hmax);
        hsum = add(hsum, *p);
    }

    const float* const rest = p + left / 4 * 4;
    __m128 vmin = Aligned::load128(p);
    __m128 vmax = vmin;
    __m128 vsum = vmin;
    for (p += 4; p != rest; p += 4) {
        const __m128 v = Aligned::load128(p);
        vmin = minsel(vmin, v);
        vmax = maxsel(vmax, v);
        vsum = add(vsum, v);
    }
    *min = minsel(fold<Min>(vmin), hmin);
    *max = maxsel(fold<Max>(vmax), hmax);
    *mean = add(fold_sum(vsum), hsum);

    for (left %= 4; left != 0; --left)
        take(*p++, min, max, mean);
    finish(mean, n);
}
