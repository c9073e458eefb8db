/* fft_abs_f32: all levels keep the power of bin 0, but SSE puts the parts in two places. */
#include "libsimd.h"

#include <assert.h>

int main(void)
{
    const float bins[2 * 16] = {3.0F, 4.0F};
    float power[16];
    fft_abs_f32(bins, 16, power);
    assert(power[8] + power[10] == 25.0F);
    const int per_bin = power[8] == 25.0F; /* false at SSE: use fft_abs_f64 there and at AVX */
    assert(per_bin || power[8] == 9.0F);
    return 0;
}
