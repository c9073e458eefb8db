/* fir_step_c32: one output of a three-tap filter; the taps are not reversed. */
#include "libsimd.h"

#include <assert.h>

int main(void)
{
    const float re[3] = {1.0F, 1.0F, 1.0F}, im[3] = {1.0F, 0.0F, -1.0F};
    const float taps[3] = {1.0F, 2.0F, 3.0F};
    float out_re, out_im;
    fir_step_c32(re, im, taps, 3, &out_re, &out_im);
    assert(out_re == 6.0F && out_im == -2.0F);
    return 0;
}
