/* max_array_f64: peak hold over rows, in doubles. */
#include "libsimd.h"

#include <assert.h>

int main(void)
{
    double peak[3] = {-80.0, -60.0, -90.0};
    const double row[3] = {-70.0, -65.0, -90.0};
    max_array_f64(peak, row, 3);
    assert(peak[0] == -70.0 && peak[1] == -60.0 && peak[2] == -90.0);
    return 0;
}
