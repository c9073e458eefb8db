/* vfilter_f32: a spectrum smoothed over three bins, its ends replicated. */
#include "libsimd.h"

#include <assert.h>

int main(void)
{
    const float row[6] = {4.0F, 0.0F, 0.0F, 8.0F, 0.0F, 0.0F};
    const float taps[3] = {0.25F, 0.5F, 0.25F};
    float smooth[6];
    vfilter_f32(row, 6, taps, 3, smooth);
    assert(smooth[0] == 3.0F && smooth[1] == 1.0F && smooth[3] == 4.0F && smooth[5] == 0.0F);
    return 0;
}
