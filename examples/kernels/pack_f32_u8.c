/* pack_f32_u8: a row of decibels becomes a row of pixels. */
#include "libsimd.h"

#include <assert.h>

int main(void)
{
    const float row[4] = {-100.0F, -75.0F, -50.0F, 0.0F};
    uint8_t pixels[4];
    float step, min;
    pack_f32_u8(row, 4, pixels, &step, &min);
    assert(min == -100.0F && step > 0.39F && step < 0.4F && pixels[0] == 0 && pixels[2] == 127);
    return 0;
}
