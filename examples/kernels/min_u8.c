/* min_u8: the darkest pixel of a row. */
#include "libsimd.h"

#include <assert.h>

int main(void)
{
    const uint8_t row[5] = {90, 12, 200, 31, 255};
    const uint8_t darkest = min_u8(row, 5);
    assert(darkest == 12);
    return 0;
}
