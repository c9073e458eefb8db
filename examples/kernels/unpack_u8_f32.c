/* unpack_u8_f32: unsigned 8-bit I/Q samples become floats around zero. */
#include "libsimd.h"

#include <assert.h>

int main(void)
{
    const uint8_t samples[4] = {0, 127, 128, 255};
    float iq[4];
    unpack_u8_f32(samples, 4, iq, 1.0F / 128.0F, -127.5F / 128.0F);
    assert(iq[0] == -127.5F / 128.0F && iq[3] == 127.5F / 128.0F && iq[1] == -iq[2]);
    return 0;
}
