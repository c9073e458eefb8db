/* max_array_f32: peak hold over rows. */
#include "libsimd.h"

#include <assert.h>

int main(void)
{
    float peak[3] = {-80.0F, -60.0F, -90.0F};
    const float row[3] = {-70.0F, -65.0F, -90.0F};
    max_array_f32(peak, row, 3);
    assert(peak[0] == -70.0F && peak[1] == -60.0F && peak[2] == -90.0F);
    return 0;
}
