// spectrum/spec_log_base.cpp: spec_log_f32 and spec_log_f64 as defined.
#include "spectrum/decibels.h"
#include "spectrum/spec_log.h"

#include <float.h>
#include <math.h>

namespace {

/// x if FLT_MIN < x, else FLT_MIN: for NaN too.
SIMD_INLINE float clamped(float x)
{
    const __m128 least = _mm_set_ss(FLT_MIN);
    const __m128 value = _mm_set_ss(x);
    return _mm_cvtss_f32(blend(least, value, _mm_cmplt_ss(least, value)));
}

} // namespace

DEMANDS_SSE41 void spec_log_f32_base(const float* in, size_t n, float* out, float offset)
{
    for (; n != 0; --n)
        *out++ = sub(mul(log10f(clamped(*in++)), 10.0F), offset);
}

void spec_log_f64_base(const double* in, size_t n, double* out, double offset)
{
    for (; n != 0; --n)
        *out++ = sub(mul(log10(maxsel(*in++, DBL_MIN)), 10.0), offset);
}
