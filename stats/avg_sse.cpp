// stats/avg_sse.cpp: avg_f32 for SSE, 4 lanes.
#include "stats/avg.h"

// head    single elements until x is 16-byte aligned; one that is not 4-byte aligned never is
// blocks  4 elements
// fold    (L1 + L3) + (L0 + L2), then + head
// tail    single elements
float avg_f32_sse(const float* x, size_t n)
{
    std::size_t left = n;
    float head = 0.0F;
    for (; left != 0 && !aligned<16>(x); --left)
        head = add(head, *x++);

    const float* const rest = x + left / 4 * 4;
    __m128 sums = _mm_setzero_ps();
    for (; x != rest; x += 4)
        sums = add(sums, Aligned::load128(x));

    float sum = add(fold_sum(sums), head);
    for (left %= 4; left != 0; --left)
        sum = add(sum, *x++);
    return div(sum, as_real<float>(n));
}
