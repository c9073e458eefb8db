/* mult_f64: a block is windowed before its transform; the destination comes first. */
#include "libsimd.h"

#include <assert.h>

int main(void)
{
    const double block[4] = {1.0, 2.0, 3.0, 4.0}, window[4] = {0.0, 0.5, 1.0, 0.5};
    double windowed[4];
    mult_f64(windowed, block, window, 4);
    assert(windowed[0] == 0.0 && windowed[1] == 1.0 && windowed[3] == 2.0);
    return 0;
}
