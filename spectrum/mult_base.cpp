// spectrum/mult_base.cpp: mult_f32, mult_f64 and mult_add_f32 as defined.
#include "spectrum/mult.h"

void mult_f32_base(float* dst, const float* a, const float* b, size_t n)
{
    for (; n != 0; --n)
        *dst++ = mul(*a++, *b++);
}

void mult_f64_base(double* dst, const double* a, const double* b, size_t n)
{
    for (; n != 0; --n)
        *dst++ = mul(*a++, *b++);
}

void mult_add_f32_base(float* x, size_t n, float scale, float offset)
{
    for (; n != 0; --n, ++x)
        *x = scaled(*x, scale, offset);
}
