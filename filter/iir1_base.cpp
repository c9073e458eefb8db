// filter/iir1_base.cpp: iir1_f32 and iir1_f64 as defined.
#include "filter/iir1.h"

void iir1_f32_base(const float* x, size_t n, float* y, float a) { average_each(x, n, y, a); }

void iir1_f64_base(const double* x, size_t n, double* y, double a) { average_each(x, n, y, a); }
