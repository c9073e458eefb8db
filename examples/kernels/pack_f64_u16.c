/* pack_f64_u16: a fine scale: 65536 steps over the block's own range. */
#include "libsimd.h"

#include <assert.h>

int main(void)
{
    const double block[3] = {10.0, 110.5, 65545.0};
    uint16_t codes[3];
    double step, min;
    pack_f64_u16(block, 3, codes, &step, &min);
    assert(step == 1.0 && min == 10.0 && codes[1] == 100 && codes[2] == 65535);
    return 0;
}
