/* minmaxmed_f32: extremes and mean in one pass. */
#include "libsimd.h"

#include <assert.h>

int main(void)
{
    const float row[4] = {2.0F, -1.0F, 4.0F, 3.0F};
    float lowest, highest, mean;
    minmaxmed_f32(row, 4, &lowest, &highest, &mean);
    assert(lowest == -1.0F && highest == 4.0F && mean == 2.0F);
    return 0;
}
