/* minmax_f64: the range of a row in one pass; 16-byte aligned, so that no level leaves an element
 * out. */
#include "libsimd.h"

#include <assert.h>

int main(void)
{
    _Alignas(32) const double row[4] = {-90.5, -101.25, -40.0, -99.0};
    double lowest, highest;
    minmax_f64(row, 4, &lowest, &highest);
    assert(lowest == -101.25 && highest == -40.0);
    return 0;
}
