/* spec_log_f32: a row of powers in decibels; 32-byte aligned and a multiple of 8 suit every level.
 * */
#include "libsimd.h"

#include <assert.h>

int main(void)
{
    _Alignas(32) float power[64] = {1.0F, 100.0F};
    _Alignas(32) float decibels[64];
    spec_log_f32(power, 64, decibels, 30.0F);
    assert(decibels[1] > -10.001F && decibels[1] < -9.999F && decibels[2] < -409.0F);
    return 0;
}
