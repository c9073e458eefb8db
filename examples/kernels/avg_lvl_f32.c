/* avg_lvl_f32: a noise floor: what exceeds the level is signal and does not count. */
#include "libsimd.h"

#include <assert.h>

int main(void)
{
    const float power[5] = {1.0F, 1.5F, 900.0F, 0.5F, 400.0F};
    const float floor = avg_lvl_f32(power, 5, 10.0F);
    assert(floor == 1.0F);
    return 0;
}
