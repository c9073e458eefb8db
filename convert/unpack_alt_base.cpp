// convert/unpack_alt_base.cpp: unpack_alt_s16_f64 as defined.
#include "convert/unpack_alt.h"

void unpack_alt_s16_f64_base(const int16_t* src, size_t n, double* dst0, double* dst1, double scale,
                             double offset)
{
    Splitting run{src, n, dst0, dst1, scale, offset};
    split_rest(run);
}
