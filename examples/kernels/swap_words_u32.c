/* swap_words_u32: Q before I becomes I before Q; aligned to 32 bytes, a multiple of 8: right at
 * every level. */
#include "libsimd.h"

#include <assert.h>

int main(void)
{
    _Alignas(32) const uint32_t qi[24] = {0x00010002, 0xFFFF8000};
    _Alignas(32) uint32_t iq[24];
    swap_words_u32(qi, 24, iq);
    assert(iq[0] == 0x00020001 && iq[1] == 0x8000FFFF && iq[23] == 0);
    return 0;
}
