/* avg_lvl_f64: a noise floor in doubles. */
#include "libsimd.h"

#include <assert.h>

int main(void)
{
    const double power[5] = {1.0, 1.5, 900.0, 0.5, 400.0};
    const double floor = avg_lvl_f64(power, 5, 10.0);
    assert(floor == 1.0);
    return 0;
}
