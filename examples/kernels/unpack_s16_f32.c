/* unpack_s16_f32: 16-bit I/Q samples become floats of magnitude 1; the only entry that may be null.
 * */
#include "libsimd.h"

#include <assert.h>

int main(void)
{
    const int16_t samples[4] = {-32768, 0, 16384, 32767};
    float iq[4] = {-1.0F, 0.0F, 0.5F, 0.9F};
    if (unpack_s16_f32 != NULL)
        unpack_s16_f32(samples, 4, iq, 1.0F / 32768.0F, 0.0F);
    assert(iq[0] == -1.0F && iq[2] == 0.5F && iq[3] < 1.0F);
    return 0;
}
