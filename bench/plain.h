// bench/plain.h: the loops that a user would write instead, with the kernels' own signatures.
#pragma once

#include "libsimd.h"

/// Every kernel in the header's order: BENCH_KERNELS(X) expands X(name) for each.
// clang-format off
#define BENCH_KERNELS(X)                                                                           \
    X(fill_f32)                                                                                    \
    X(memcpy_fast)                                                                                 \
    X(swap_words_u32) X(pack_f32_u8) X(pack_f32_s16) X(pack_f64_u8) X(pack_f64_s16)                \
        X(pack_f64_u16) X(unpack_u8_f32) X(unpack_s16_f32) X(unpack_u8_f64) X(unpack_s16_f64)      \
            X(unpack_u16_f64) X(unpack_alt_s16_f64) X(unpack_cmb_s16_f64) X(min_u8) X(max_u8)      \
                X(min_s16) X(max_s16) X(minmax_s16) X(min_f32) X(max_f32) X(minmax_f32) X(min_f64) \
                    X(max_f64) X(minmax_f64) X(avg_f32) X(avg_f64) X(avg_lvl_f32) X(avg_lvl_f64)   \
                        X(avg_abs_s16) X(minmaxmed_f32) X(minmaxmed_f64) X(max_array_f32)          \
                            X(max_array_f64) X(mult_f32) X(mult_f64) X(mult_add_f32) X(mix_f64)    \
                                X(fft_abs_f32) X(fft_abs_f64) X(spec_log_f32) X(spec_log_f64)      \
                                    X(fir_step_c32) X(fir_step_c64) X(iir1_f32) X(iir1_f64)        \
                                        X(vfilter_f32) X(vfilter_f64) X(vfilter2_chunk)
// clang-format on

/// One plain loop per kernel, compiled at -O3 for one instruction set.
struct PlainLoops {
#define BENCH_MEMBER(name) name##_fn* name;
    BENCH_KERNELS(BENCH_MEMBER)
#undef BENCH_MEMBER
    decltype(::fir_c16_alt)* fir_c16_alt;
    decltype(::fir_c32_alt)* fir_c32_alt;
    decltype(::fir_c64_alt)* fir_c64_alt;
};
