/* max_f32: the strongest bin of a row. */
#include "libsimd.h"

#include <assert.h>

int main(void)
{
    const float row[4] = {-90.5F, -101.25F, -40.0F, -99.0F};
    const float strongest = max_f32(row, 4);
    assert(strongest == -40.0F);
    return 0;
}
