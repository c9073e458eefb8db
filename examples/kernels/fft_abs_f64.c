/* fft_abs_f64: the power of each bin, bin 0 in the middle; a multiple of 8 suits every level. */
#include "libsimd.h"

#include <assert.h>

int main(void)
{
    const double bins[2 * 8] = {3.0, 4.0, 1.0, 0.0};
    double power[8];
    fft_abs_f64(bins, 8, power);
    assert(power[4] == 25.0 && power[5] == 1.0 && power[0] == 0.0);
    return 0;
}
