/*
 * quantise: packs a stream of samples to 16-bit and 8-bit codes, restores it, and says what that
 * cost.
 *
 *     quantise [FILE [FORMAT]]
 *
 * FILE holds raw interleaved I/Q samples; FORMAT is cf32, cs16 or cu8, by default the file's
 * extension. Without a file a generated band of signals is taken. Exit status 0, or 1 after one
 * line on stderr.
 */
#define _POSIX_C_SOURCE 200809L /* NOLINT: the system's own name */
#include "libsimd.h"

#include <math.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

enum { block = 16384 }; /* real values a block: 8192 I/Q samples */

/* What a stream of blocks added up to. */
struct tally {
    double signal, noise; /* sums of squares */
    double largest;       /* error, in steps */
    double pack_seconds, unpack_seconds;
    size_t values;
};

static void fail(const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    fputs("quantise: ", stderr);
    vfprintf(stderr, format, arguments);
    fputc('\n', stderr);
    va_end(arguments);
    exit(1);
}

static double now(void)
{
    struct timespec t;
    clock_gettime(CLOCK_MONOTONIC, &t);
    return (double)t.tv_sec + 1e-9 * (double)t.tv_nsec;
}

/* Compares a restored block with the original; `step` is what one code is worth. */
static void account(struct tally* t, const float* x, const float* restored, size_t n, float step)
{
    for (size_t i = 0; i < n; ++i) {
        const double error = fabs((double)x[i] - (double)restored[i]);
        const double in_steps = error > 0.0 ? error / (double)step : 0.0;
        t->signal += (double)x[i] * (double)x[i];
        t->noise += error * error;
        if (in_steps > t->largest)
            t->largest = in_steps;
    }
    t->values += n;
}

/* Each block gets a step and an offset of its own: a sample is code * step + offset. */
static void quantise_s16(struct tally* t, const float* x, size_t n)
{
    static int16_t codes[block];
    static float restored[block];
    float step;
    float mid;
    const double start = now();
    pack_f32_s16(x, n, codes, &step, &mid);
    const double packed = now();
    unpack_s16_f32(codes, n, restored, step, mid);
    t->unpack_seconds += now() - packed;
    t->pack_seconds += packed - start;
    account(t, x, restored, n, step);
}

static void quantise_u8(struct tally* t, const float* x, size_t n)
{
    static uint8_t codes[block];
    static float restored[block];
    float step;
    float min;
    const double start = now();
    pack_f32_u8(x, n, codes, &step, &min);
    const double packed = now();
    unpack_u8_f32(codes, n, restored, step, min);
    t->unpack_seconds += now() - packed;
    t->pack_seconds += packed - start;
    account(t, x, restored, n, step);
}

/* Three carriers of different strength and a floor of noise. */
static void generate(float* x, size_t n, size_t first)
{
    static uint64_t state = 1;
    for (size_t i = 0; i < n; ++i) {
        const size_t sample = (first + i) / 2;
        const double quarter = (first + i) % 2 == 0 ? 0.0 : 1.5707963267948966;
        state = state * 6364136223846793005U + 1442695040888963407U;
        const double noise = (double)(state >> 40) / 16777216.0 - 0.5;
        x[i] = (float)(0.7 * cos(0.1 * (double)sample - quarter) +
                       0.05 * cos(1.9 * (double)sample - quarter) +
                       0.002 * cos(2.5 * (double)sample - quarter) + 1e-3 * noise);
    }
}

static void print(const char* name, const struct tally* t)
{
    const double snr = 10.0 * log10(t->signal / t->noise);
    const double samples = (double)t->values / 2.0;
    printf("%-6s  SNR %7.2f dB  largest error %.4f steps  pack %8.1f MS/s  unpack %8.1f MS/s\n",
           name, snr, t->largest, samples / t->pack_seconds / 1e6,
           samples / t->unpack_seconds / 1e6);
}

int main(int argc, char** argv)
{
    if (argc > 3)
        fail("usage: quantise [FILE [FORMAT]]");
    const char* path = argc > 1 ? argv[1] : NULL;
    const char* dot = path != NULL ? strrchr(path, '.') : NULL;
    const char* format = argc > 2 ? argv[2] : dot != NULL ? dot + 1 : "";
    size_t value_bytes = sizeof(float);
    FILE* in = NULL;
    if (path != NULL) {
        if (strcmp(format, "cs16") == 0)
            value_bytes = sizeof(int16_t);
        else if (strcmp(format, "cu8") == 0)
            value_bytes = sizeof(uint8_t);
        else if (strcmp(format, "cf32") != 0)
            fail("%s: unknown format '%s'; known are cf32, cs16 and cu8", path, format);
        in = fopen(path, "rb");
        if (in == NULL)
            fail("%s: cannot be opened", path);
    }
    if (unpack_s16_f32 == NULL) /* the one entry that may stay null */
        fail("this processor does not report SSE2");

    static unsigned char raw[block * sizeof(float)];
    static float x[block];
    struct tally s16 = {0};
    struct tally u8 = {0};
    for (;;) {
        size_t n = block;
        if (in == NULL) {
            if (s16.values == (size_t)block * 128)
                break;
            generate(x, n, s16.values);
        } else {
            const size_t bytes = fread(raw, 1, block * value_bytes, in);
            if (ferror(in))
                fail("%s: cannot be read", path);
            if (bytes % (2 * value_bytes) != 0)
                fail("%s: ends within a sample of %zu bytes", path, 2 * value_bytes);
            n = bytes / value_bytes;
            if (n == 0)
                break;
            if (value_bytes == sizeof(int16_t))
                unpack_s16_f32((const int16_t*)(const void*)raw, n, x, 1.0F / 32768.0F, 0.0F);
            else if (value_bytes == sizeof(uint8_t))
                unpack_u8_f32(raw, n, x, 1.0F / 127.5F, -1.0F);
            else
                memcpy(x, raw, bytes);
        }
        for (size_t i = 0; i < n; ++i)
            if (!isfinite(x[i]))
                fail("%s: sample %zu is not a finite number", path, (s16.values + i) / 2);
        quantise_s16(&s16, x, n);
        quantise_u8(&u8, x, n);
    }
    if (in != NULL)
        fclose(in);
    if (s16.values == 0)
        fail("%s: no samples", path);
    printf("%s, %zu I/Q samples in blocks of %d\n", path != NULL ? path : "generated band",
           s16.values / 2, block / 2);
    print("16-bit", &s16);
    print("8-bit", &u8);
    return 0;
}
