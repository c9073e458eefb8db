/* memcpy_fast: a block that is kept for later leaves the caches alone. */
#include "libsimd.h"

#include <assert.h>
#include <string.h>

int main(void)
{
    static char block[1 << 20] = "the block", kept[1 << 20];
    memcpy_fast(kept, block, sizeof block);
    assert(memcmp(kept, block, sizeof block) == 0);
    return 0;
}
