/* fir_step_c64: one output of a three-tap filter; the taps are not reversed. */
#include "libsimd.h"

#include <assert.h>

int main(void)
{
    const double re[3] = {1.0, 1.0, 1.0}, im[3] = {1.0, 0.0, -1.0}, taps[3] = {1.0, 2.0, 3.0};
    double out_re, out_im;
    fir_step_c64(re, im, taps, 3, &out_re, &out_im);
    assert(out_re == 6.0 && out_im == -2.0);
    return 0;
}
