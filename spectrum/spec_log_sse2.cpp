// spectrum/spec_log_sse2.cpp: spec_log_f32 for SSE2, 4 lanes. Differs from the baseline in last
// bits and for infinity.
#include "spectrum/decibels.h"
#include "spectrum/spec_log.h"

// n <= 15  the baseline
// blocks   4 elements, aligned, 8 or 4 blocks side by side and then singly, until the position equals
//          n: another n runs past the arrays; kept
DEMANDS_SSE41 void spec_log_f32_sse2(const float* in, size_t n, float* out, float offset)
{
    if (n <= 15)
        return spec_log_f32_base(in, n, out, offset);

    const __m128 offsets = _mm_set1_ps(offset);
    std::size_t i = 0;
    for (; n - i >= 32; i += 32)
        decibels(side_by_side<8>, in + i, out + i, offsets);
    for (; n - i >= 16; i += 16)
        decibels(side_by_side<4>, in + i, out + i, offsets);
    for (; i != n; i += 4)
        decibels(side_by_side<1>, in + i, out + i, offsets);
}
