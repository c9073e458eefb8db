/* iir1_f64: rows smoothed over time: a quarter of each new row. */
#include "libsimd.h"

#include <assert.h>

int main(void)
{
    double state[2] = {0.0, 8.0};
    const double row[2] = {4.0, 4.0};
    iir1_f64(row, 2, state, 0.25);
    iir1_f64(row, 2, state, 0.25);
    assert(state[0] == 1.75 && state[1] == 6.25);
    return 0;
}
