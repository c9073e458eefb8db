/* tests/packaging/consumer/host.c: a host in C, as somebody outside the tree would write it. */
#include <libsimd.h>

#include <stdio.h>

int main(void)
{
    float samples[1000];
    float low = 0.0F;
    float high = 0.0F;
    fill_f32(samples, 1000, 2.5F);
    samples[17] = -1.0F;
    minmax_f32(samples, 1000, &low, &high);
    printf("C: %.1f to %.1f, mean %.4f\n", (double)low, (double)high,
           (double)avg_f32(samples, 1000));
    return 0;
}
