/* fir_c64_alt: an impulse answers with the taps, the newest sample's first. */
#include "libsimd.h"

#include <assert.h>

int main(void)
{
    const double iq[6] = {1.0, 0.0};
    const double taps[3] = {0.5, 0.25, 0.125};
    double hist_re[3] = {0}, hist_im[3] = {0}, out[6];
    int64_t pos = 0;
    fir_c64_alt(iq, 3, taps, 2, &pos, hist_re, hist_im, out);
    assert(out[0] == 0.5 && out[2] == 0.25 && out[4] == 0.125 && out[1] == 0.0);
    return 0;
}
