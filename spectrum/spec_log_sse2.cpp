// spectrum/spec_log_sse2.cpp: spec_log_f32 for SSE2, 4 lanes. Differs from the baseline in last
// bits and for infinity.
#include "spectrum/decibels.h"
#include "spectrum/spec_log.h"

// n <= 15  the baseline
// blocks   4 elements, aligned, until the position equals n: another n runs past the arrays; kept
DEMANDS_SSE41 void spec_log_f32_sse2(const float* in, size_t n, float* out, float offset)
{
    if (n <= 15)
        return spec_log_f32_base(in, n, out, offset);

    const __m128 offsets = _mm_set1_ps(offset);
    for (std::size_t i = 0; i != n; i += 4)
        Aligned::store128(out + i, decibels(Aligned::load128(in + i), offsets));
}
