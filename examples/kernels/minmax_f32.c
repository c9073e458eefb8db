/* minmax_f32: the range of a row in one pass. */
#include "libsimd.h"

#include <assert.h>

int main(void)
{
    const float row[4] = {-90.5F, -101.25F, -40.0F, -99.0F};
    float lowest, highest;
    minmax_f32(row, 4, &lowest, &highest);
    assert(lowest == -101.25F && highest == -40.0F);
    return 0;
}
