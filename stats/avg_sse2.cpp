// stats/avg_sse2.cpp: avg_f64 and avg_lvl_* for SSE2, 16 bytes.
#include "stats/avg.h"

namespace {

/// L0 + L1, by SSE3's instruction.
DEMANDS_SSE3 SIMD_INLINE double horizontal_add(__m128d v)
{
    asm("haddpd %0, %0" : "+x"(v));
    return lane0(v);
}

/// v in both lanes, without SSE3's instruction for it.
SIMD_INLINE __m128d broadcast(double v)
{
    __m128d r = _mm_set_sd(v);
    asm("unpcklpd %0, %0" : "+x"(r));
    return r;
}

/// A 64-bit lane, by SSE4.1's instruction.
template <int lane>
DEMANDS_SSE41 SIMD_INLINE std::uint64_t extract(__m128i v)
{
    std::uint64_t r;
    asm("pextrq %2, %1, %0" : "=r"(r) : "x"(v), "i"(lane));
    return r;
}

} // namespace

// head    single elements until x is 16-byte aligned; one that is not 8-byte aligned never is
// blocks  4 elements: two vectors into the same lanes
// fold    head + (L0 + L1)
// tail    single elements
DEMANDS_SSE3 double avg_f64_sse2(const double* x, size_t n)
{
    std::size_t left = n;
    double head = 0.0;
    for (; left != 0 && !aligned<16>(x); --left)
        head = add(head, *x++);

    const double* const rest = x + left / 4 * 4;
    __m128d sums = _mm_setzero_pd();
    for (; x != rest; x += 4) {
        sums = add(sums, Aligned::load128(x));
        sums = add(sums, Aligned::load128(x + 2));
    }

    double sum = add(head, horizontal_add(sums));
    for (left %= 4; left != 0; --left)
        sum = add(sum, *x++);
    return div(sum, as_real<double>(n));
}

// head    single elements until x is 16-byte aligned; one that is not 4-byte aligned never is
// blocks  4 elements, counted in 32-bit lanes
// fold    (L1 + L3) + (L0 + L2), then + head
// tail    single elements
float avg_lvl_f32_sse2(const float* x, size_t n, float level)
{
    float head = 0.0F;
    float head_count = 0.0F;
    for (; n != 0 && !aligned<16>(x); --n)
        take(*x++, level, head, head_count);

    const float* const rest = x + n / 4 * 4;
    const __m128 levels = _mm_set1_ps(level);
    __m128 sums = _mm_setzero_ps();
    __m128i counts = _mm_setzero_si128();
    for (; x != rest; x += 4) {
        const __m128 v = Aligned::load128(x);
        const __m128 below = _mm_cmple_ps(v, levels);
        sums = add(sums, _mm_and_ps(below, v));
        counts = _mm_sub_epi32(counts, _mm_castps_si128(below)); // a set lane is -1
    }

    float sum = add(fold_sum(sums), head);
    float count = add(head_count, static_cast<float>(fold_u32(counts)));
    for (n %= 4; n != 0; --n)
        take(*x++, level, sum, count);
    return mean_or_zero(sum, count);
}

// head    single elements until x is 16-byte aligned; one that is not 8-byte aligned never is
// blocks  2 elements, counted in 64-bit lanes
// fold    head + (L0 + L1)
// tail    single elements
DEMANDS_SSE41 double avg_lvl_f64_sse2(const double* x, size_t n, double level) // and SSE3 with it
{
    double head = 0.0;
    double head_count = 0.0;
    for (; n != 0 && !aligned<16>(x); --n)
        take(*x++, level, head, head_count);

    const double* const rest = x + n / 2 * 2;
    const __m128d levels = broadcast(level);
    __m128d sums = _mm_setzero_pd();
    __m128i counts = _mm_setzero_si128();
    for (; x != rest; x += 2) {
        const __m128d v = Aligned::load128(x);
        const __m128d below = _mm_cmple_pd(v, levels);
        sums = add(sums, _mm_and_pd(below, v));
        counts = _mm_sub_epi64(counts, _mm_castpd_si128(below)); // a set lane is -1
    }

    const std::uint64_t block_count = extract<0>(counts) + extract<1>(counts);
    double sum = add(head, horizontal_add(sums));
    double count = add(head_count, static_cast<double>(block_count));
    for (n %= 2; n != 0; --n)
        take(*x++, level, sum, count);
    return mean_or_zero(sum, count);
}
