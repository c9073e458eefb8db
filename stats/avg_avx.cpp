// stats/avg_avx.cpp: avg_* and avg_lvl_* of f32 and f64 for AVX, 8 and 4 lanes.
#include "stats/avg.h"

// head    single elements until x is 32-byte aligned; one that is not 4-byte aligned never is
// blocks  8 elements
// fold    Mj = Lj + Lj+4; (M1 + M3) + (M0 + M2), then + head
// tail    single elements
float avg_f32_avx(const float* x, size_t n)
{
    std::size_t left = n;
    float head = 0.0F;
    for (; left != 0 && !aligned<32>(x); --left)
        head = add(head, *x++);

    const float* const rest = x + left / 8 * 8;
    __m256 sums = _mm256_setzero_ps();
    for (; x != rest; x += 8)
        sums = add(sums, Aligned::load256(x));

    float sum = add(fold_sum(add(low(sums), high(sums))), head);
    _mm256_zeroupper();
    for (left %= 8; left != 0; --left)
        sum = add(sum, *x++);
    return div(sum, as_real<float>(n));
}

// head    single elements until x is 32-byte aligned; one that is not 8-byte aligned never is
// blocks  8 elements: two vectors into the same lanes
// fold    (L0 + L2) + (L1 + L3), then + head
// tail    single elements
double avg_f64_avx(const double* x, size_t n)
{
    std::size_t left = n;
    double head = 0.0;
    for (; left != 0 && !aligned<32>(x); --left)
        head = add(head, *x++);

    const double* const rest = x + left / 8 * 8;
    __m256d sums = _mm256_setzero_pd();
    for (; x != rest; x += 8) {
        sums = add(sums, Aligned::load256(x));
        sums = add(sums, Aligned::load256(x + 4));
    }

    double sum = add(fold_sum(sums), head);
    _mm256_zeroupper();
    for (left %= 8; left != 0; --left)
        sum = add(sum, *x++);
    return div(sum, as_real<double>(n));
}

// head    single elements until x is 32-byte aligned; one that is not 4-byte aligned never is
// blocks  8 elements, counted in 32-bit lanes: two integer halves, as AVX has no wider ones
// fold    as avg_f32
// tail    single elements
float avg_lvl_f32_avx(const float* x, size_t n, float level)
{
    float head = 0.0F;
    float head_count = 0.0F;
    for (; n != 0 && !aligned<32>(x); --n)
        take(*x++, level, head, head_count);

    const float* const rest = x + n / 8 * 8;
    const __m256 levels = _mm256_set1_ps(level);
    __m256 sums = _mm256_setzero_ps();
    __m128i lower = _mm_setzero_si128();
    __m128i upper = _mm_setzero_si128();
    for (; x != rest; x += 8) {
        const __m256 v = Aligned::load256(x);
        const __m256 below = _mm256_cmp_ps(v, levels, _CMP_LE_OS);
        sums = add(sums, _mm256_and_ps(below, v));
        lower = _mm_sub_epi32(lower, _mm_castps_si128(low(below))); // a set lane is -1
        upper = _mm_sub_epi32(upper, _mm_castps_si128(high(below)));
    }

    const std::uint64_t block_count = fold_u32(lower) + fold_u32(upper);
    float sum = add(fold_sum(add(low(sums), high(sums))), head);
    float count = add(head_count, static_cast<float>(block_count));
    _mm256_zeroupper();
    for (n %= 8; n != 0; --n)
        take(*x++, level, sum, count);
    return mean_or_zero(sum, count);
}

// head    single elements until x is 32-byte aligned; one that is not 8-byte aligned never is
// blocks  8 elements: two vectors into the same lanes, counted in 64-bit lanes as above
// fold    as avg_f64
// tail    single elements
double avg_lvl_f64_avx(const double* x, size_t n, double level)
{
    double head = 0.0;
    double head_count = 0.0;
    for (; n != 0 && !aligned<32>(x); --n)
        take(*x++, level, head, head_count);

    const double* const rest = x + n / 8 * 8;
    const __m256d levels = _mm256_set1_pd(level);
    __m256d sums = _mm256_setzero_pd();
    __m128i lower = _mm_setzero_si128();
    __m128i upper = _mm_setzero_si128();
    for (; x != rest; x += 8) {
        for (std::size_t half = 0; half < 8; half += 4) {
            const __m256d v = Aligned::load256(x + half);
            const __m256d below = _mm256_cmp_pd(v, levels, _CMP_LE_OS);
            sums = add(sums, _mm256_and_pd(below, v));
            lower = _mm_sub_epi64(lower, _mm_castpd_si128(low(below)));
            upper = _mm_sub_epi64(upper, _mm_castpd_si128(high(below)));
        }
    }

    const std::uint64_t block_count = fold_u64(lower) + fold_u64(upper);
    double sum = add(fold_sum(sums), head);
    double count = add(head_count, static_cast<double>(block_count));
    _mm256_zeroupper();
    for (n %= 8; n != 0; --n)
        take(*x++, level, sum, count);
    return mean_or_zero(sum, count);
}
