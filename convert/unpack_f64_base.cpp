// convert/unpack_f64_base.cpp: unpack_u8_f64, unpack_s16_f64 and unpack_u16_f64 as defined.
#include "convert/unpack.h"

void unpack_u8_f64_base(const uint8_t* src, size_t n, double* dst, double step, double offset)
{
    Unpacking<std::uint8_t, double> run{src, n, dst, step, offset};
    unpack_rest(run);
}

void unpack_s16_f64_base(const int16_t* src, size_t n, double* dst, double step, double offset)
{
    Unpacking<std::int16_t, double> run{src, n, dst, step, offset};
    unpack_rest(run);
}

void unpack_u16_f64_base(const uint16_t* src, size_t n, double* dst, double step, double offset)
{
    Unpacking<std::uint16_t, double> run{src, n, dst, step, offset};
    unpack_rest(run);
}
