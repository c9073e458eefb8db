/* mult_f32: a block is windowed before its transform; the destination comes first. */
#include "libsimd.h"

#include <assert.h>

int main(void)
{
    const float block[4] = {1.0F, 2.0F, 3.0F, 4.0F}, window[4] = {0.0F, 0.5F, 1.0F, 0.5F};
    float windowed[4];
    mult_f32(windowed, block, window, 4);
    assert(windowed[0] == 0.0F && windowed[1] == 1.0F && windowed[3] == 2.0F);
    return 0;
}
