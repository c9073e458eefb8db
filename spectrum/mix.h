// spectrum/mix.h: mix_f64, two arrays interleaved. No variant does arithmetic on a value, so every
// bit arrives, signalling NaNs included.
#ifndef LIBSIMD_SPECTRUM_MIX_H
#define LIBSIMD_SPECTRUM_MIX_H

#include "lanes/align.h"

mix_f64_fn mix_f64_base, mix_f64_sse2, mix_f64_avx;

#endif
