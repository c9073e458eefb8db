/* pack_f32_s16: a block goes to disk in half the space. */
#include "libsimd.h"

#include <assert.h>

int main(void)
{
    const float block[3] = {-1.0F, 0.25F, 1.0F};
    int16_t codes[3];
    float step, mid;
    pack_f32_s16(block, 3, codes, &step, &mid);
    assert(codes[0] == -32768 && codes[2] >= 32766 && step > 3.05e-5F && step < 3.06e-5F);
    return 0;
}
