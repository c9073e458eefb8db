/* max_s16: the highest sample of a block. */
#include "libsimd.h"

#include <assert.h>

int main(void)
{
    const int16_t samples[5] = {3, -700, 12, 0, 699};
    const int16_t highest = max_s16(samples, 5);
    assert(highest == 699);
    return 0;
}
