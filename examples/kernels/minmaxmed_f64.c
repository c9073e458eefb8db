/* minmaxmed_f64: extremes and mean in one pass; aligned to 16 bytes, no level leaves an element
 * out. */
#include "libsimd.h"

#include <assert.h>

int main(void)
{
    _Alignas(32) const double row[4] = {2.0, -1.0, 4.0, 3.0};
    double lowest, highest, mean;
    minmaxmed_f64(row, 4, &lowest, &highest, &mean);
    assert(lowest == -1.0 && highest == 4.0 && mean == 2.0);
    return 0;
}
