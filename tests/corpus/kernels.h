// tests/corpus/kernels.h: the 53 kernels as one library, or one level, offers them.
#pragma once

#include "libsimd.h"

/// Every entry, in the header's order.
// clang-format off
#define CORPUS_ENTRIES(E) \
    E(fill_f32) E(memcpy_fast) E(swap_words_u32) E(pack_f32_u8) E(pack_f32_s16) E(pack_f64_u8) \
    E(pack_f64_s16) E(pack_f64_u16) E(unpack_u8_f32) E(unpack_s16_f32) E(unpack_u8_f64) \
    E(unpack_s16_f64) E(unpack_u16_f64) E(unpack_alt_s16_f64) E(unpack_cmb_s16_f64) E(min_u8) \
    E(max_u8) E(min_s16) E(max_s16) E(minmax_s16) E(min_f32) E(max_f32) E(minmax_f32) E(min_f64) \
    E(max_f64) E(minmax_f64) E(avg_f32) E(avg_f64) E(avg_lvl_f32) E(avg_lvl_f64) E(avg_abs_s16) \
    E(minmaxmed_f32) E(minmaxmed_f64) E(max_array_f32) E(max_array_f64) E(mult_f32) E(mult_f64) \
    E(mult_add_f32) E(mix_f64) E(fft_abs_f32) E(fft_abs_f64) E(spec_log_f32) E(spec_log_f64) \
    E(fir_step_c32) E(fir_step_c64) E(iir1_f32) E(iir1_f64) E(vfilter_f32) E(vfilter_f64) \
    E(vfilter2_chunk)
// clang-format on

#define CORPUS_FUNCTIONS(F) F(fir_c16_alt) F(fir_c32_alt) F(fir_c64_alt)

namespace corpus {

struct Kernels {
#define CORPUS_MEMBER(name) name##_fn* name = nullptr;
    CORPUS_ENTRIES(CORPUS_MEMBER)
#undef CORPUS_MEMBER
#define CORPUS_MEMBER(name) decltype(&::name) name = nullptr;
    CORPUS_FUNCTIONS(CORPUS_MEMBER)
#undef CORPUS_MEMBER
};

} // namespace corpus
