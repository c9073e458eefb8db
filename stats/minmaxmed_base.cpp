// stats/minmaxmed_base.cpp: minmaxmed_f32 and minmaxmed_f64 as defined.
#include "stats/minmaxmed.h"

namespace {

template <class T>
SIMD_INLINE void scan(const T* p, std::size_t n, T* min, T* max, T* mean)
{
    if (n == 0 || min == nullptr || max == nullptr || mean == nullptr)
        return;

    *mean = p[0];
    *max = p[0];
    *min = p[0];
    for (std::size_t i = 1; i < n; ++i)
        take(p[i], min, max, mean);
    finish(mean, n);
}

} // namespace

void minmaxmed_f32_base(const float* p, size_t n, float* min, float* max, float* mean)
{
    scan(p, n, min, max, mean);
}

void minmaxmed_f64_base(const double* p, size_t n, double* min, double* max, double* mean)
{
    scan(p, n, min, max, mean);
}
