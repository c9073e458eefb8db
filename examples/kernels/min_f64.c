/* min_f64: the lowest of twenty; a 16-byte aligned array is seen whole at every level. */
#include "libsimd.h"

#include <assert.h>

int main(void)
{
    _Alignas(32) double row[20] = {0};
    row[19] = -3.5;
    const double lowest = min_f64(row, 20);
    assert(lowest == -3.5);
    return 0;
}
