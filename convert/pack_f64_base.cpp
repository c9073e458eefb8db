// convert/pack_f64_base.cpp: pack_f64_u8, pack_f64_s16 and pack_f64_u16 as defined.
#include "convert/pack.h"

void pack_f64_u8_base(const double* src, size_t n, uint8_t* dst, double* step, double* min)
{
    auto run = pack_from_min<StepFirst>(minmax_f64, src, n, dst, step, min);
    pack_rest(run);
}

void pack_f64_s16_base(const double* src, size_t n, int16_t* dst, double* step, double* mid)
{
    auto run = pack_from_mid<StepFirst>(minmax_f64, src, n, dst, step, mid);
    pack_rest(run);
}

void pack_f64_u16_base(const double* src, size_t n, uint16_t* dst, double* step, double* min)
{
    auto run = pack_from_min<StepFirst>(minmax_f64, src, n, dst, step, min);
    pack_rest(run);
}
