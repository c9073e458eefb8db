// filter/fir_step_sse2.cpp: fir_step_c64 for SSE2, 2 lanes. Other last bits than the baseline's.
#include "filter/fir_step.h"

// fold    (L0 + L1) + head
void fir_step_c64_sse2(const double* re, const double* im, const double* taps, size_t n,
                       double* out_re, double* out_im)
{
    fir_step<__m128d>(re, im, taps, n, out_re, out_im);
}
