/* fir_c32_alt: a difference filter: what stays the same vanishes. */
#include "libsimd.h"

#include <assert.h>

int main(void)
{
    const float iq[6] = {1.0F, 0.0F, 1.0F, 5.0F, 1.0F, 5.0F};
    const double taps[2] = {1.0, -1.0};
    double hist_re[2] = {0}, hist_im[2] = {0}, out[6];
    int64_t pos = 0;
    fir_c32_alt(iq, 3, taps, 1, &pos, hist_re, hist_im, out);
    assert(out[0] == 1.0 && out[2] == 0.0 && out[3] == 5.0 && out[5] == 0.0);
    return 0;
}
