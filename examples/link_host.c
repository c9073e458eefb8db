/*
 * link_host.c: a host in C that links the library. It centres a block of samples, measures it,
 * stores it in half the space and restores it.
 *
 *     cc link_host.c $(pkg-config --cflags --libs libsimd) -lm
 */
#include "libsimd.h"

#include <math.h>
#include <stdio.h>
#include <stdlib.h>

enum { count = 4096 };

/* A tone of amplitude 0.5 on an offset of 0.25, as a receiver might deliver it. */
static void receive(float* samples)
{
    for (int i = 0; i < count; ++i)
        samples[i] = 0.25F + 0.5F * sinf(6.2831853F * (float)(i % 64) / 64.0F);
}

int main(void)
{
    /* Arrays that start on 32-byte boundaries suit every kernel at every level. */
    float* samples = aligned_alloc(32, count * sizeof *samples);
    float* restored = aligned_alloc(32, count * sizeof *restored);
    int16_t* codes = aligned_alloc(32, count * sizeof *codes);
    if (samples == NULL || restored == NULL || codes == NULL)
        return 1;
    if (unpack_s16_f32 == NULL) { /* the only entry that may be null */
        fprintf(stderr, "link_host: this processor reports no SSE2\n");
        return 1;
    }

    receive(samples);
    const float offset = avg_f32(samples, count);
    mult_add_f32(samples, count, 1.0F, -offset);
    float lowest;
    float highest;
    minmax_f32(samples, count, &lowest, &highest);

    float step;
    float mid;
    pack_f32_s16(samples, count, codes, &step, &mid);
    unpack_s16_f32(codes, count, restored, step, mid);
    float error = 0.0F;
    for (int i = 0; i < count; ++i)
        error = fmaxf(error, fabsf(restored[i] - samples[i]));

    printf("offset %.3f, from %.3f to %.3f\n", (double)offset, (double)lowest, (double)highest);
    printf("restored from 16 bits to within %s\n", error <= step ? "a step" : "MORE than a step");
    free(codes);
    free(restored);
    free(samples);
    return 0;
}
