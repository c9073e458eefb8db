// filter/vfilter2_base.cpp: vfilter2_chunk as defined.
#include "filter/vfilter2.h"

float vfilter2_chunk_base(const float* x, const float* w, size_t n, float c)
{
    float num = 0;
    float den = 0;
    for (size_t i = 0; i != n; ++i)
        add_sample(x[i], w[i], c, num, den);
    return div(num, den);
}
