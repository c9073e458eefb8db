// tools/info/names.h: the 53 names of the library, in the header's order.
#ifndef INFO_NAMES_H
#define INFO_NAMES_H

/* clang-format off */
/// E: the entries, pointer variables that the library fills when it is loaded.
#define INFO_ENTRIES(E)                                                                            \
    E(fill_f32) E(memcpy_fast) E(swap_words_u32)                                                   \
    E(pack_f32_u8) E(pack_f32_s16) E(pack_f64_u8) E(pack_f64_s16) E(pack_f64_u16)                  \
    E(unpack_u8_f32) E(unpack_s16_f32) E(unpack_u8_f64) E(unpack_s16_f64) E(unpack_u16_f64)        \
    E(unpack_alt_s16_f64) E(unpack_cmb_s16_f64)                                                    \
    E(min_u8) E(max_u8) E(min_s16) E(max_s16) E(minmax_s16)                                        \
    E(min_f32) E(max_f32) E(min_f64) E(max_f64) E(minmax_f32) E(minmax_f64)                        \
    E(avg_f32) E(avg_f64) E(avg_lvl_f32) E(avg_lvl_f64) E(avg_abs_s16)                             \
    E(minmaxmed_f32) E(minmaxmed_f64) E(max_array_f32) E(max_array_f64)                            \
    E(mult_f32) E(mult_f64) E(mult_add_f32) E(mix_f64)                                             \
    E(fft_abs_f32) E(fft_abs_f64) E(spec_log_f32) E(spec_log_f64)                                  \
    E(fir_step_c32) E(fir_step_c64) E(iir1_f32) E(iir1_f64)                                        \
    E(vfilter_f32) E(vfilter_f64) E(vfilter2_chunk)
/// F: the plain functions.
#define INFO_FUNCTIONS(F) F(fir_c16_alt) F(fir_c32_alt) F(fir_c64_alt)
/* clang-format on */

#endif // INFO_NAMES_H
