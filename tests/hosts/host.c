/* tests/hosts/host.c: a host that includes the header and links the library the usual way.
 *
 * Built as a position-independent and as a fixed-address program, the latter with copy relocations
 * of the entries; host.cpp is the same text in C++. Exits 0 if every entry is filled and its
 * kernels answer. */
#include "libsimd.h"

#include <stdio.h>

/* clang-format off */
#define ENTRIES(E)                                                                                 \
    E(fill_f32)                                                                                    \
    E(memcpy_fast)                                                                                 \
    E(swap_words_u32) E(pack_f32_u8) E(pack_f32_s16) E(pack_f64_u8) E(pack_f64_s16)                \
        E(pack_f64_u16) E(unpack_u8_f32) E(unpack_s16_f32) E(unpack_u8_f64) E(unpack_s16_f64)      \
            E(unpack_u16_f64) E(unpack_alt_s16_f64) E(unpack_cmb_s16_f64) E(min_u8) E(max_u8)      \
                E(min_s16) E(max_s16) E(minmax_s16) E(min_f32) E(max_f32) E(minmax_f32) E(min_f64) \
                    E(max_f64) E(minmax_f64) E(avg_f32) E(avg_f64) E(avg_lvl_f32) E(avg_lvl_f64)   \
                        E(avg_abs_s16) E(minmaxmed_f32) E(minmaxmed_f64) E(max_array_f32)          \
                            E(max_array_f64) E(mult_f32) E(mult_f64) E(mult_add_f32) E(mix_f64)    \
                                E(fft_abs_f32) E(fft_abs_f64) E(spec_log_f32) E(spec_log_f64)      \
                                    E(fir_step_c32) E(fir_step_c64) E(iir1_f32) E(iir1_f64)        \
                                        E(vfilter_f32) E(vfilter_f64) E(vfilter2_chunk)
/* clang-format on */

static int failures = 0;

static void expect(int holds, const char* what)
{
    if (!holds) {
        fprintf(stderr, "host: %s\n", what);
        ++failures;
    }
}

int main(void)
{
#define FILLED(name) expect(name != NULL, #name " is null");
    ENTRIES(FILLED)
#undef FILLED
    if (failures != 0)
        return 1;

    float row[100];
    fill_f32(row, 100, 1.5F);
    expect(row[0] >= 1.5F && row[99] <= 1.5F, "fill_f32");
    for (int i = 0; i < 100; ++i)
        row[i] = (float)i; // NOLINT
    expect(min_f32(row, 100) <= 0.0F && max_f32(row, 100) >= 99.0F, "min_f32, max_f32");

    int16_t codes[100];
    float step = 0.0F;
    float mid = 0.0F;
    float restored[100];
    pack_f32_s16(row, 100, codes, &step, &mid);
    unpack_s16_f32(codes, 100, restored, step, mid);
    for (int i = 0; i < 100; ++i)
        expect(restored[i] - row[i] <= step && row[i] - restored[i] <= step, "pack and unpack");

    const double in[2] = {3.0, 4.0};
    const double tap = 2.0;
    double re = 0.0;
    double im = 0.0;
    double out[2];
    int64_t pos = 0;
    fir_c64_alt(in, 1, &tap, 0, &pos, &re, &im, out);
    expect(out[0] >= 6.0 && out[0] <= 6.0 && out[1] >= 8.0 && out[1] <= 8.0, "fir_c64_alt");
    return failures != 0;
}
