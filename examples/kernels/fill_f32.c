/* fill_f32: a spectrum's row starts at its floor. */
#include "libsimd.h"

#include <assert.h>

int main(void)
{
    float row[1024];
    fill_f32(row, 1024, -120.0F);
    assert(row[0] == -120.0F && row[1023] == -120.0F);
    return 0;
}
