/* max_f64: the highest of twenty; a 32-byte aligned array is seen whole at every level. */
#include "libsimd.h"

#include <assert.h>

int main(void)
{
    _Alignas(32) double row[20] = {0};
    row[1] = 3.5;
    const double highest = max_f64(row, 20);
    assert(highest == 3.5);
    return 0;
}
