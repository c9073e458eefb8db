// memory/fill_base.cpp: fill_f32 as defined.
#include "memory/fill.h"

void fill_f32_base(float* dst, size_t n, float value)
{
    for (; n != 0; --n)
        *dst++ = value;
}
