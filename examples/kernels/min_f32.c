/* min_f32: the lowest level of a row, for the colour scale. */
#include "libsimd.h"

#include <assert.h>

int main(void)
{
    const float row[4] = {-90.5F, -101.25F, -40.0F, -99.0F};
    const float lowest = min_f32(row, 4);
    assert(lowest == -101.25F);
    return 0;
}
