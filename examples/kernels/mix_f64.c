/* mix_f64: two planes become an interleaved complex array. */
#include "libsimd.h"

#include <assert.h>

int main(void)
{
    _Alignas(32) const double re[4] = {1.0, 3.0, 5.0, 7.0}, im[4] = {2.0, 4.0, 6.0, 8.0};
    _Alignas(32) double iq[8];
    mix_f64(re, im, 4, iq);
    assert(iq[0] == 1.0 && iq[1] == 2.0 && iq[6] == 7.0 && iq[7] == 8.0);
    return 0;
}
