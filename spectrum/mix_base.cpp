// spectrum/mix_base.cpp: mix_f64 as defined.
#include "spectrum/mix.h"

void mix_f64_base(const double* re, const double* im, size_t n, double* out)
{
    for (; n != 0; --n) {
        *out++ = *re++;
        *out++ = *im++;
    }
}
