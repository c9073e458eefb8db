// filter/fir_step_sse.cpp: fir_step_c32 for SSE, 4 lanes. Other last bits than the baseline's.
#include "filter/fir_step.h"

// fold    ((L0 + L2) + (L1 + L3)) + head
void fir_step_c32_sse(const float* re, const float* im, const float* taps, size_t n, float* out_re,
                      float* out_im)
{
    fir_step<__m128>(re, im, taps, n, out_re, out_im);
}
