/*
 * load_host.c: a host in C that loads the library at run time, and does without it where it is
 * missing.
 *
 *     cc load_host.c $(pkg-config --cflags libsimd) -ldl
 *     load_host [LIBRARY]
 */
#include "libsimd.h"

#include <dlfcn.h>
#include <stdio.h>
#include <string.h>

/* An entry is a variable: dlsym gives its address, and it may hold null. */
static mult_f32_fn* find_mult(void* library)
{
    mult_f32_fn** entry = library == NULL ? NULL : (mult_f32_fn**)dlsym(library, "mult_f32");
    return entry == NULL ? NULL : *entry;
}

static void plain_mult(float* dst, const float* a, const float* b, size_t n)
{
    for (size_t i = 0; i < n; ++i)
        dst[i] = a[i] * b[i];
}

int main(int argc, char** argv)
{
    void* library = dlopen(argc > 1 ? argv[1] : "libsimd.so", RTLD_NOW);
    mult_f32_fn* mult = find_mult(library);
    if (mult == NULL)
        mult = plain_mult;

    const float block[4] = {1.0F, 2.0F, 3.0F, 4.0F};
    const float window[4] = {0.0F, 0.5F, 1.0F, 0.5F};
    float product[4];
    mult(product, block, window, 4);
    printf("%s: %.1f %.1f %.1f %.1f\n", mult == plain_mult ? "plain loop" : "libsimd",
           (double)product[0], (double)product[1], (double)product[2], (double)product[3]);

    /* A function's address is the function itself; copied, since C gives a void* no cast to it. */
    void (*fir)(const float*, uint64_t, const double*, uint64_t, int64_t*, double*, double*,
                double*);
    void* address = library == NULL ? NULL : dlsym(library, "fir_c32_alt");
    if (address != NULL) {
        const float iq[4] = {1.0F, -1.0F, 0.0F, 0.0F};
        const double taps[2] = {0.75, 0.25};
        double re[2] = {0};
        double im[2] = {0};
        double out[4];
        int64_t pos = 0;
        memcpy((void*)&fir, (const void*)&address, sizeof fir);
        fir(iq, 2, taps, 1, &pos, re, im, out);
        printf("filtered: %.2f%+.2fi %.2f%+.2fi\n", out[0], out[1], out[2], out[3]);
    }
    return library != NULL && dlclose(library) != 0;
}
