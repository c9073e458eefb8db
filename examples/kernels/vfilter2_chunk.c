/* vfilter2_chunk: an estimate that an outlier hardly moves. */
#include "libsimd.h"

#include <assert.h>

int main(void)
{
    const float x[4] = {10.0F, 11.0F, 9.0F, 40.0F}, weights[4] = {1.0F, 1.0F, 1.0F, 1.0F};
    const float mean = vfilter2_chunk(x, weights, 4, 10.0F);
    assert(mean > 9.99F && mean < 10.01F);
    return 0;
}
