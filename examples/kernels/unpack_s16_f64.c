/* unpack_s16_f64: codes of pack_f64_s16 are restored around their centre. */
#include "libsimd.h"

#include <assert.h>

int main(void)
{
    const int16_t codes[3] = {-32768, 0, 32767};
    double block[3];
    unpack_s16_f64(codes, 3, block, 0.25, 10.0);
    assert(block[0] == -8182.0 && block[1] == 10.0 && block[2] == 8201.75);
    return 0;
}
