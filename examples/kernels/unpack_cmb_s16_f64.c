/* unpack_cmb_s16_f64: two receivers' channels become one complex stream. */
#include "libsimd.h"

#include <assert.h>

int main(void)
{
    _Alignas(32) const int16_t left[4] = {1, 3, 5, 7}, right[4] = {2, 4, 6, 8};
    _Alignas(32) double iq[8];
    unpack_cmb_s16_f64(left, right, 4, iq, 0.5, 0.0);
    assert(iq[0] == 0.5 && iq[1] == 1.0 && iq[6] == 3.5 && iq[7] == 4.0);
    return 0;
}
