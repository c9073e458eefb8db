/* pack_f64_s16: a block of doubles becomes 16-bit samples around its centre. */
#include "libsimd.h"

#include <assert.h>

int main(void)
{
    const double block[3] = {0.0, 32768.0, 65535.0};
    int16_t codes[3];
    double step, mid;
    pack_f64_s16(block, 3, codes, &step, &mid);
    assert(step == 1.0 && mid == 32768.0 && codes[0] == -32768 && codes[1] == 0);
    return 0;
}
