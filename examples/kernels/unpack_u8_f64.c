/* unpack_u8_f64: codes of pack_f64_u8 are restored with the step and the offset that it handed out.
 * */
#include "libsimd.h"

#include <assert.h>

int main(void)
{
    const uint8_t codes[3] = {0, 100, 255};
    double levels[3];
    unpack_u8_f64(codes, 3, levels, 0.5, -100.0);
    assert(levels[0] == -100.0 && levels[1] == -50.0 && levels[2] == 27.5);
    return 0;
}
