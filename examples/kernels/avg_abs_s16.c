/* avg_abs_s16: a level meter for 16-bit sound. */
#include "libsimd.h"

#include <assert.h>

int main(void)
{
    const int16_t sound[4] = {100, -300, 200, -32768};
    const uint64_t level = avg_abs_s16(sound, 4);
    assert(level == (100 + 300 + 200 + 32768) / 4);
    return 0;
}
