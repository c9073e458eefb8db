// spectrum/spec_log.h: spec_log_f32 and spec_log_f64, power to decibels.
#ifndef LIBSIMD_SPECTRUM_SPEC_LOG_H
#define LIBSIMD_SPECTRUM_SPEC_LOG_H

#include "libsimd.h"

spec_log_f32_fn spec_log_f32_base, spec_log_f32_sse2, spec_log_f32_avx2;
spec_log_f64_fn spec_log_f64_base;

#endif
