// stats/max_array_base.cpp: max_array_f32 and max_array_f64 as defined.
#include "stats/max_array.h"

void max_array_f32_base(float* dst, const float* src, size_t n)
{
    for (; n != 0; --n)
        raise_one(dst++, src++);
}

void max_array_f64_base(double* dst, const double* src, size_t n)
{
    for (; n != 0; --n)
        raise_one(dst++, src++);
}
