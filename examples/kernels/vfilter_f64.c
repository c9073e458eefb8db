/* vfilter_f64: a spectrum smoothed over three bins, its ends replicated. */
#include "libsimd.h"

#include <assert.h>

int main(void)
{
    const double row[6] = {4.0, 0.0, 0.0, 8.0, 0.0, 0.0}, taps[3] = {0.25, 0.5, 0.25};
    double smooth[6];
    vfilter_f64(row, 6, taps, 3, smooth);
    assert(smooth[0] == 3.0 && smooth[1] == 1.0 && smooth[3] == 4.0 && smooth[5] == 0.0);
    return 0;
}
