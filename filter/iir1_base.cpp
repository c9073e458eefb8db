// filter/iir1_base.cpp: iir1_f32 and iir1_f64 as defined.
#include "filter/iir1.h"

namespace {

template <class T>
SIMD_INLINE void iir1(const T* x, std::size_t n, T* y, T a)
{
    for (; n >= 4; n -= 4, x += 4, y += 4) {
        y[0] = average(x[0], y[0], a);
        y[1] = average(x[1], y[1], a);
        y[2] = average(x[2], y[2], a);
        y[3] = average(x[3], y[3], a);
    }
    for (; n != 0; --n, ++x, ++y)
        *y = average(*x, *y, a);
}

} // namespace

void iir1_f32_base(const float* x, size_t n, float* y, float a) { iir1(x, n, y, a); }

void iir1_f64_base(const double* x, size_t n, double* y, double a) { iir1(x, n, y, a); }
