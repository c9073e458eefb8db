/* minmax_s16: how much of a converter's range is in use?. */
#include "libsimd.h"

#include <assert.h>

int main(void)
{
    const int16_t samples[5] = {3, -700, 12, 0, 699};
    int16_t lowest, highest;
    minmax_s16(samples, 5, &lowest, &highest);
    assert(lowest == -700 && highest == 699);
    return 0;
}
