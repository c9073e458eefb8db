/* spec_log_f64: powers in decibels above a reference of 30 dB. */
#include "libsimd.h"

#include <assert.h>

int main(void)
{
    const double power[3] = {1.0, 100.0, 0.0};
    double decibels[3];
    spec_log_f64(power, 3, decibels, 30.0);
    assert(decibels[0] == -30.0 && decibels[1] > -10.001 && decibels[1] < -9.999);
    assert(decibels[2] < -3106.0);
    return 0;
}
