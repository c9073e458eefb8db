/* unpack_alt_s16_f64: interleaved I/Q becomes two planes, as fir_step_c64 takes them. */
#include "libsimd.h"

#include <assert.h>

int main(void)
{
    _Alignas(32) const int16_t iq[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    _Alignas(32) double re[4], im[4];
    unpack_alt_s16_f64(iq, 4, re, im, 0.5, 0.0);
    assert(re[0] == 0.5 && im[0] == 1.0 && re[3] == 3.5 && im[3] == 4.0);
    return 0;
}
