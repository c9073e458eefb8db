// filter/fir_step_avx.cpp: fir_step_c32 (8 lanes) and fir_step_c64 (4 lanes) for AVX. Other last
// bits than the baseline's.
#include "filter/fir_step.h"

// fold    (((L0 + L4) + (L2 + L6)) + ((L1 + L5) + (L3 + L7))) + head
void fir_step_c32_avx(const float* re, const float* im, const float* taps, size_t n, float* out_re,
                      float* out_im)
{
    fir_step<__m256>(re, im, taps, n, out_re, out_im);
    _mm256_zeroupper();
}

// fold    ((L0 + L2) + (L1 + L3)) + head
void fir_step_c64_avx(const double* re, const double* im, const double* taps, size_t n,
                      double* out_re, double* out_im)
{
    fir_step<__m256d>(re, im, taps, n, out_re, out_im);
    _mm256_zeroupper();
}
