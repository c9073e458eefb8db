// dispatch/entries.cpp: the 50 kernel entries. Null until init_dispatch (dispatch.cpp) fills them.
#include "libsimd.h"

fill_f32_fn* fill_f32;
memcpy_fast_fn* memcpy_fast;
swap_words_u32_fn* swap_words_u32;

pack_f32_u8_fn* pack_f32_u8;
pack_f32_s16_fn* pack_f32_s16;
pack_f64_u8_fn* pack_f64_u8;
pack_f64_s16_fn* pack_f64_s16;
pack_f64_u16_fn* pack_f64_u16;

unpack_u8_f32_fn* unpack_u8_f32;
unpack_s16_f32_fn* unpack_s16_f32;
unpack_u8_f64_fn* unpack_u8_f64;
unpack_s16_f64_fn* unpack_s16_f64;
unpack_u16_f64_fn* unpack_u16_f64;
unpack_alt_s16_f64_fn* unpack_alt_s16_f64;
unpack_cmb_s16_f64_fn* unpack_cmb_s16_f64;

min_u8_fn* min_u8;
max_u8_fn* max_u8;
min_s16_fn* min_s16;
max_s16_fn* max_s16;
minmax_s16_fn* minmax_s16;
min_f32_fn* min_f32;
max_f32_fn* max_f32;
minmax_f32_fn* minmax_f32;
min_f64_fn* min_f64;
max_f64_fn* max_f64;
minmax_f64_fn* minmax_f64;

avg_f32_fn* avg_f32;
avg_f64_fn* avg_f64;
avg_lvl_f32_fn* avg_lvl_f32;
avg_lvl_f64_fn* avg_lvl_f64;
avg_abs_s16_fn* avg_abs_s16;

minmaxmed_f32_fn* minmaxmed_f32;
minmaxmed_f64_fn* minmaxmed_f64;
max_array_f32_fn* max_array_f32;
max_array_f64_fn* max_array_f64;

mult_f32_fn* mult_f32;
mult_f64_fn* mult_f64;
mult_add_f32_fn* mult_add_f32;
mix_f64_fn* mix_f64;

fft_abs_f32_fn* fft_abs_f32;
fft_abs_f64_fn* fft_abs_f64;
spec_log_f32_fn* spec_log_f32;
spec_log_f64_fn* spec_log_f64;

fir_step_c32_fn* fir_step_c32;
fir_step_c64_fn* fir_step_c64;
iir1_f32_fn* iir1_f32;
iir1_f64_fn* iir1_f64;
vfilter_f32_fn* vfilter_f32;
vfilter_f64_fn* vfilter_f64;
vfilter2_chunk_fn* vfilter2_chunk;
