// convert/pack_f32_base.cpp: pack_f32_u8 and pack_f32_s16 as defined.
#include "convert/pack.h"

void pack_f32_u8_base(const float* src, size_t n, uint8_t* dst, float* step, float* min)
{
    auto run = pack_from_min<StepFirst>(minmax_f32, src, n, dst, step, min);
    pack_rest(run);
}

void pack_f32_s16_base(const float* src, size_t n, int16_t* dst, float* step, float* mid)
{
    auto run = pack_from_mid<StepFirst>(minmax_f32, src, n, dst, step, mid);
    pack_rest(run);
}
