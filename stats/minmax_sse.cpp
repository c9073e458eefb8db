// stats/minmax_sse.cpp: min_f32, max_f32 and minmax_f32 for SSE, 4 lanes.
#include "stats/minmax.h"

namespace {

// head    single elements until p is 16-byte aligned, into h
// blocks  4 elements, from the first aligned one on
// fold    halvings: L0 with L2 and L1 with L3, then the two
// tail    single elements, into the folded lanes; at last the head, first operand
template <class Sel>
SIMD_INLINE float extreme(const float* p, std::size_t n)
{
    float h = *p;
    for (; !aligned<16>(p); --n)
        h = Sel::of(*p++, h);

    const float* const rest = p + n / 4 * 4;
    __m128 v = Aligned::load128(p);
    for (p += 4; p != rest; p += 4)
        v = Sel::of(v, Aligned::load128(p));

    float r = fold<Sel>(v);
    for (n %= 4; n != 0; --n)
        r = Sel::of(*p++, r);
    return Sel::of(h, r);
}

} // namespace

float min_f32_sse(const float* p, size_t n)
{
    if (n <= 15)
        return min_f32_base(p, n);
    return extreme<Min>(p, n);
}

float max_f32_sse(const float* p, size_t n)
{
    if (n <= 15)
        return max_f32_base(p, n);
    return extreme<Max>(p, n);
}

// head    single elements until p is 16-byte aligned, into hmin and hmax
// blocks  4 elements, from the first aligned one on
// fold    as above, then joined with the head and stored
// tail    single elements, into the stored values
void minmax_f32_sse(const float* p, size_t n, float* min, float* max)
{
    if (n <= 15 || min == nullptr || max == nullptr) // the baseline makes the null tests too
        return minmax_f32_base(p, n, min, max);

    float hmin = *p;
    float hmax = *p;
    for (; !aligned<16>(p); --n, ++p) {
        hmin = minsel(*p, hmin);
        hmax = maxsel(*p, hmax);
    }

    const float* const rest = p + n / 4 * 4;
    __m128 vmin = Aligned::load128(p);
    __m128 vmax = vmin;
    for (p += 4; p != rest; p += 4) {
        const __m128 v = Aligned::load128(p);
        vmin = minsel(vmin, v);
        vmax = maxsel(vmax, v);
    }
    *min = minsel(fold<Min>(vmin), hmin);
    *max = maxsel(fold<Max>(vmax), hmax);

    for (n %= 4; n != 0; --n)
        widen_range(*p++, min, max);
}
