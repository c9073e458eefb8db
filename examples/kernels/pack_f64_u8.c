/* pack_f64_u8: a frame of levels is stored as bytes, with step and offset beside it. */
#include "libsimd.h"

#include <assert.h>

int main(void)
{
    const double levels[3] = {0.0, 127.5, 255.0};
    uint8_t codes[3];
    double step, min;
    pack_f64_u8(levels, 3, codes, &step, &min);
    assert(min == 0.0 && step == 1.0 && codes[1] == 127 && codes[2] == 255);
    return 0;
}
