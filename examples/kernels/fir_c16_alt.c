/* fir_c16_alt: a two-tap mean of a stream that arrives in two pieces. */
#include "libsimd.h"

#include <assert.h>

int main(void)
{
    const int16_t iq[4] = {16384, 0, 16384, -32768};
    const double taps[2] = {0.5, 0.5};
    double hist_re[2] = {0}, hist_im[2] = {0}, out[4];
    int64_t pos = 0;
    fir_c16_alt(iq, 1, taps, 1, &pos, hist_re, hist_im, out, 1.0 / 32768.0, 0.0);
    fir_c16_alt(iq + 2, 1, taps, 1, &pos, hist_re, hist_im, out + 2, 1.0 / 32768.0, 0.0);
    assert(out[0] == 0.25 && out[2] == 0.5 && out[3] == -0.5);
    return 0;
}
