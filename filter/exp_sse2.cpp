// filter/exp_sse2.cpp: the vector exponential as a function, four lanes.
#include "filter/exp.h"

__m128 exp_f32x4(__m128 v)
{
    exponential(side_by_side<1>, &v);
    return v;
}
