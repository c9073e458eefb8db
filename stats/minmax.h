// stats/minmax.h: min_*, max_* and minmax_*, the extremes of a block.
#ifndef LIBSIMD_STATS_MINMAX_H
#define LIBSIMD_STATS_MINMAX_H

#include "stats/fold.h"

min_u8_fn min_u8_base, min_u8_sse2, min_u8_avx2;
max_u8_fn max_u8_base, max_u8_sse2, max_u8_avx2;
min_s16_fn min_s16_base, min_s16_sse2, min_s16_avx2;
max_s16_fn max_s16_base, max_s16_sse2, max_s16_avx2;
minmax_s16_fn minmax_s16_base, minmax_s16_sse2, minmax_s16_avx2;
min_f32_fn min_f32_base, min_f32_sse, min_f32_avx;
max_f32_fn max_f32_base, max_f32_sse, max_f32_avx;
min_f64_fn min_f64_base, min_f64_sse2, min_f64_avx;
max_f64_fn max_f64_base, max_f64_sse2, max_f64_avx;
minmax_f32_fn minmax_f32_base, minmax_f32_sse, minmax_f32_avx;
minmax_f64_fn minmax_f64_base, minmax_f64_sse2, minmax_f64_avx;

// Every vector variant walks its head until p is aligned, without an end test: above the threshold a
// whole block follows, and p is aligned to its element. But for max_f64_avx the walk begins at p[0]:
// where h starts as p[0], folding p[0] into it once more changes nothing.

#endif
