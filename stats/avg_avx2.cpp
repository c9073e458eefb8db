// stats/avg_avx2.cpp: avg_lvl_f32, avg_lvl_f64 and avg_abs_s16 for AVX2, 8, 4 and 16 lanes.
// avg_lvl_f32 gives the bits of AVX, avg_abs_s16 the baseline's result while no lane wraps.
#include "stats/avg.h"

// head    single elements until x is 32-byte aligned; one that is not 4-byte aligned never is
// blocks  8 elements, counted in 32-bit lanes
// fold    Mj = Lj + Lj+4; (M1 + M3) + (M0 + M2), then + head
// tail    single elements
float avg_lvl_f32_avx2(const float* x, size_t n, float level)
{
    float head = 0.0F;
    float head_count = 0.0F;
    for (; n != 0 && !aligned<32>(x); --n)
        take(*x++, level, head, head_count);

    const float* const rest = x + n / 8 * 8;
    const __m256 levels = _mm256_set1_ps(level);
    __m256 sums = _mm256_setzero_ps();
    __m256i counts = _mm256_setzero_si256();
    for (; x != rest; x += 8) {
        const __m256 v = Aligned::load256(x);
        const __m256 below = _mm256_cmp_ps(v, levels, _CMP_LE_OS);
        sums = add(sums, _mm256_and_ps(below, v));
        counts = _mm256_sub_epi32(counts, _mm256_castps_si256(below)); // a set lane is -1
    }

    const std::uint64_t block_count = fold_u32(low(counts)) + fold_u32(high(counts));
    float sum = add(fold_sum(add(low(sums), high(sums))), head);
    float count = add(head_count, static_cast<float>(block_count));
    _mm256_zeroupper();
    for (n %= 8; n != 0; --n)
        take(*x++, level, sum, count);
    return mean_or_zero(sum, count);
}

// head    single elements until x is 32-byte aligned; one that is not 8-byte aligned never is
// blocks  4 elements, counted in 64-bit lanes
// fold    (L0 + L2) + (L1 + L3), then + head
// tail    single elements
double avg_lvl_f64_avx2(const double* x, size_t n, double level)
{
    double head = 0.0;
    double head_count = 0.0;
    for (; n != 0 && !aligned<32>(x); --n)
        take(*x++, level, head, head_count);

    const double* const rest = x + n / 4 * 4;
    const __m256d levels = _mm256_set1_pd(level);
    __m256d sums = _mm256_setzero_pd();
    __m256i counts = _mm256_setzero_si256();
    for (; x != rest; x += 4) {
        const __m256d v = Aligned::load256(x);
        const __m256d below = _mm256_cmp_pd(v, levels, _CMP_LE_OS);
        sums = add(sums, _mm256_and_pd(below, v));
        counts = _mm256_sub_epi64(counts, _mm256_castpd_si256(below));
    }

    const std::uint64_t block_count = fold_u64(low(counts)) + fold_u64(high(counts));
    double sum = add(fold_sum(sums), head);
    double count = add(head_count, static_cast<double>(block_count));
    _mm256_zeroupper();
    for (n %= 4; n != 0; --n)
        take(*x++, level, sum, count);
    return mean_or_zero(sum, count);
}

// up to 31 elements singly; more:
// head    single elements until x is 32-byte aligned; no end test: x is 2-byte aligned
// blocks  16 elements, into 32-bit lanes, which wrap from 2^32 on; kept
// fold    Lj + Lj+8 in 32 bits, then these in 64 bits, with the head
// tail    single elements
uint64_t avg_abs_s16_avx2(const int16_t* x, size_t n)
{
    std::size_t left = n;
    std::uint64_t total = 0;
    if (n > 31) {
        for (; !aligned<32>(x); --left)
            total += magnitude(*x++);

        // even = [L0 L2 ... L14], odd = [L1 L3 ... L15]: no lane has to be moved to be widened.
        const std::int16_t* const rest = x + left / 16 * 16;
        const __m256i low_words = _mm256_set1_epi32(0xFFFF);
        __m256i even = _mm256_setzero_si256();
        __m256i odd = _mm256_setzero_si256();
        for (; x != rest; x += 16) {
            const __m256i v = _mm256_abs_epi16(Aligned::load256i(x));
            even = _mm256_add_epi32(even, _mm256_and_si256(v, low_words));
            odd = _mm256_add_epi32(odd, _mm256_srli_epi32(v, 16));
        }
        total += fold_u32(_mm_add_epi32(low(even), high(even)));
        total += fold_u32(_mm_add_epi32(low(odd), high(odd)));
        left %= 16;
    }
    _mm256_zeroupper();
    for (; left != 0; --left)
        total += magnitude(*x++);
    return mean_magnitude(total, n);
}
