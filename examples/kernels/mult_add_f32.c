/* mult_add_f32: degrees Celsius become Fahrenheit, in place. */
#include "libsimd.h"

#include <assert.h>

int main(void)
{
    float degrees[3] = {0.0F, 100.0F, -40.0F};
    mult_add_f32(degrees, 3, 1.8F, 32.0F);
    assert(degrees[0] == 32.0F && degrees[1] == 212.0F && degrees[2] == -40.0F);
    return 0;
}
