/* avg_f64: a mean power. */
#include "libsimd.h"

#include <assert.h>

int main(void)
{
    const double power[4] = {1.0, 4.0, 9.0, 16.0};
    const double mean = avg_f64(power, 4);
    assert(mean == 7.5);
    return 0;
}
