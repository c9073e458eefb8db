// convert/unpack_f32_base.cpp: unpack_u8_f32 as defined. unpack_s16_f32 has no baseline.
#include "convert/unpack.h"

void unpack_u8_f32_base(const uint8_t* src, size_t n, float* dst, float step, float offset)
{
    Unpacking<std::uint8_t, float> run{src, n, dst, step, offset};
    unpack_rest(run);
}
