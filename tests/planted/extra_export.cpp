// A 54th name.
#include "libsimd.h"

extern "C" LIBSIMD_API int extra_export();
extern "C" int extra_export() { return 1; }
