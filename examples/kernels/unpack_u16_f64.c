/* unpack_u16_f64: an offset-binary converter's samples become volts. */
#include "libsimd.h"

#include <assert.h>

int main(void)
{
    const uint16_t samples[3] = {0, 32768, 65535};
    double volts[3];
    unpack_u16_f64(samples, 3, volts, 1.0 / 32768.0, -1.0);
    assert(volts[0] == -1.0 && volts[1] == 0.0 && volts[2] < 1.0);
    return 0;
}
