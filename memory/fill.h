// memory/fill.h: fill_f32, a float array filled with one value.
#ifndef LIBSIMD_MEMORY_FILL_H
#define LIBSIMD_MEMORY_FILL_H

#include "libsimd.h"

fill_f32_fn fill_f32_base, fill_f32_sse, fill_f32_avx;

#endif
