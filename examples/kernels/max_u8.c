/* max_u8: does an 8-bit receiver touch its limit?. */
#include "libsimd.h"

#include <assert.h>

int main(void)
{
    const uint8_t samples[5] = {127, 120, 255, 131, 0};
    const int clipped = max_u8(samples, 5) == 255;
    assert(clipped);
    return 0;
}
