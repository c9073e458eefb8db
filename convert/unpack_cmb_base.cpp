// convert/unpack_cmb_base.cpp: unpack_cmb_s16_f64 as defined.
#include "convert/unpack_cmb.h"

void unpack_cmb_s16_f64_base(const int16_t* src0, const int16_t* src1, size_t n, double* dst,
                             double scale, double offset)
{
    Combining run{src0, src1, n, dst, scale, offset};
    combine_rest(run);
}
