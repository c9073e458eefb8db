/* iir1_f32: rows smoothed over time: a quarter of each new row. */
#include "libsimd.h"

#include <assert.h>

int main(void)
{
    float state[2] = {0.0F, 8.0F};
    const float row[2] = {4.0F, 4.0F};
    iir1_f32(row, 2, state, 0.25F);
    iir1_f32(row, 2, state, 0.25F);
    assert(state[0] == 1.75F && state[1] == 6.25F);
    return 0;
}
