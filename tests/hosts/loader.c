/* tests/hosts/loader.c: a host that loads the library named on its command line at run time. */
#include "libsimd.h"

#include <dlfcn.h>
#include <stdio.h>

int main(int argc, char** argv)
{
    void* library = argc == 2 ? dlopen(argv[1], RTLD_NOW) : NULL;
    if (library == NULL) {
        fprintf(stderr, "loader: cannot load the library\n");
        return 1;
    }
    fill_f32_fn** entry = (fill_f32_fn**)dlsym(library, "fill_f32");
    if (entry == NULL || *entry == NULL) {
        fprintf(stderr, "loader: no fill_f32\n");
        return 1;
    }
    float row[9] = {0};
    (*entry)(row, 8, 2.5F);
    const int right = row[0] >= 2.5F && row[7] >= 2.5F && row[8] <= 0.0F;
    return !right || dlclose(library) != 0;
}
