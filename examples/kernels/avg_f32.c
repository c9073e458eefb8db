/* avg_f32: the offset that a receiver adds to its samples. */
#include "libsimd.h"

#include <assert.h>

int main(void)
{
    const float samples[4] = {1.5F, -0.5F, 2.0F, -1.0F};
    const float offset = avg_f32(samples, 4);
    assert(offset == 0.5F);
    return 0;
}
