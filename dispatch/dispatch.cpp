// dispatch/dispatch.cpp: which variant each level puts into each entry, and the load-time
// initialiser.
#include "convert/pack.h"
#include "convert/unpack.h"
#include "convert/unpack_alt.h"
#include "convert/unpack_cmb.h"
#include "dispatch/probe.h"
#include "filter/fir_step.h"
#include "filter/iir1.h"
#include "filter/vfilter.h"
#include "filter/vfilter2.h"
#include "memory/fill.h"
#include "memory/memcpy.h"
#include "memory/swap_words.h"
#include "spectrum/fft_abs.h"
#include "spectrum/mix.h"
#include "spectrum/mult.h"
#include "spectrum/spec_log.h"
#include "stats/avg.h"
#include "stats/max_array.h"
#include "stats/minmax.h"
#include "stats/minmaxmed.h"

namespace {

void set_base_variants()
{
    fill_f32 = fill_f32_base;
    memcpy_fast = memcpy_fast_base;
    swap_words_u32 = swap_words_u32_base;
    pack_f32_u8 = pack_f32_u8_base;
    pack_f32_s16 = pack_f32_s16_base;
    pack_f64_u8 = pack_f64_u8_base;
    pack_f64_s16 = pack_f64_s16_base;
    pack_f64_u16 = pack_f64_u16_base;
    unpack_u8_f32 = unpack_u8_f32_base;
    // unpack_s16_f32 has no baseline variant: null on a processor without SSE2, AVX and AVX2
    unpack_u8_f64 = unpack_u8_f64_base;
    unpack_s16_f64 = unpack_s16_f64_base;
    unpack_u16_f64 = unpack_u16_f64_base;
    unpack_alt_s16_f64 = unpack_alt_s16_f64_base;
    unpack_cmb_s16_f64 = unpack_cmb_s16_f64_base;
    min_u8 = min_u8_base;
    max_u8 = max_u8_base;
    min_s16 = min_s16_base;
    max_s16 = max_s16_base;
    minmax_s16 = minmax_s16_base;
    min_f32 = min_f32_base;
    max_f32 = max_f32_base;
    min_f64 = min_f64_base;
    max_f64 = max_f64_base;
    minmax_f32 = minmax_f32_base;
    minmax_f64 = minmax_f64_base;
    avg_f32 = avg_f32_base;
    avg_f64 = avg_f64_base;
    avg_lvl_f32 = avg_lvl_f32_base;
    avg_lvl_f64 = avg_lvl_f64_base;
    avg_abs_s16 = avg_abs_s16_base;
    minmaxmed_f32 = minmaxmed_f32_base;
    minmaxmed_f64 = minmaxmed_f64_base;
    max_array_f32 = max_array_f32_base;
    max_array_f64 = max_array_f64_base;
    mult_f32 = mult_f32_base;
    mult_f64 = mult_f64_base;
    mult_add_f32 = mult_add_f32_base;
    mix_f64 = mix_f64_base;
    fft_abs_f32 = fft_abs_f32_base;
    fft_abs_f64 = fft_abs_f64_base;
    spec_log_f32 = spec_log_f32_base;
    spec_log_f64 = spec_log_f64_base;
    fir_step_c32 = fir_step_c32_base;
    fir_step_c64 = fir_step_c64_base;
    iir1_f32 = iir1_f32_base;
    iir1_f64 = iir1_f64_base;
    vfilter_f32 = vfilter_f32_base;
    vfilter_f64 = vfilter_f64_base;
    vfilter2_chunk = vfilter2_chunk_base;
}

void set_sse_variants()
{
    fill_f32 = fill_f32_sse;
    min_f32 = min_f32_sse;
    max_f32 = max_f32_sse;
    minmax_f32 = minmax_f32_sse;
    avg_f32 = avg_f32_sse;
    minmaxmed_f32 = minmaxmed_f32_sse;
    max_array_f32 = max_array_f32_sse;
    mult_f32 = mult_f32_sse;
    mult_add_f32 = mult_add_f32_sse;
    fft_abs_f32 = fft_abs_f32_sse;
    fir_step_c32 = fir_step_c32_sse;
    iir1_f32 = iir1_f32_sse;
    vfilter_f32 = vfilter_f32_sse;
}

void set_sse2_variants()
{
    memcpy_fast = memcpy_fast_sse2;
    swap_words_u32 = swap_words_u32_sse2;
    pack_f32_u8 = pack_f32_u8_sse2;
    pack_f32_s16 = pack_f32_s16_sse2;
    pack_f64_u8 = pack_f64_u8_sse2;
    pack_f64_s16 = pack_f64_s16_sse2;
    pack_f64_u16 = pack_f64_u16_sse2;
    unpack_u8_f32 = unpack_u8_f32_sse2;
    unpack_s16_f32 = unpack_s16_f32_sse2;
    unpack_u8_f64 = unpack_u8_f64_sse2;
    unpack_s16_f64 = unpack_s16_f64_sse2;
    unpack_u16_f64 = unpack_u16_f64_sse2;
    unpack_alt_s16_f64 = unpack_alt_s16_f64_sse2;
    unpack_cmb_s16_f64 = unpack_cmb_s16_f64_sse2;
    min_u8 = min_u8_sse2;
    max_u8 = max_u8_sse2;
    min_s16 = min_s16_sse2;
    max_s16 = max_s16_sse2;
    minmax_s16 = minmax_s16_sse2;
    min_f64 = min_f64_sse2;
    max_f64 = max_f64_sse2;
    minmax_f64 = minmax_f64_sse2;
    avg_f64 = avg_f64_sse2;
    avg_lvl_f32 = avg_lvl_f32_sse2;
    avg_lvl_f64 = avg_lvl_f64_sse2;
    minmaxmed_f64 = minmaxmed_f64_sse2;
    max_array_f64 = max_array_f64_sse2;
    mult_f64 = mult_f64_sse2;
    mix_f64 = mix_f64_sse2;
    fft_abs_f64 = fft_abs_f64_sse2;
    spec_log_f32 = spec_log_f32_sse2;
    fir_step_c64 = fir_step_c64_sse2;
    iir1_f64 = iir1_f64_sse2;
    vfilter_f64 = vfilter_f64_sse2;
    vfilter2_chunk = vfilter2_chunk_sse2;
}

void set_sse3_variants() { fft_abs_f64 = fft_abs_f64_sse3; }

void set_ssse3_variants()
{
    swap_words_u32 = swap_words_u32_ssse3;
    pack_f64_u16 = pack_f64_u16_ssse3;
    unpack_alt_s16_f64 = unpack_alt_s16_f64_ssse3;
    avg_abs_s16 = avg_abs_s16_ssse3;
}

void set_sse41_variants() { pack_f64_u16 = pack_f64_u16_sse41; }

void set_avx_variants()
{
    fill_f32 = fill_f32_avx;
    pack_f32_u8 = pack_f32_u8_avx;
    pack_f32_s16 = pack_f32_s16_avx;
    pack_f64_u8 = pack_f64_u8_avx;
    pack_f64_s16 = pack_f64_s16_avx;
    pack_f64_u16 = pack_f64_u16_avx;
    unpack_u8_f32 = unpack_u8_f32_avx;
    unpack_s16_f32 = unpack_s16_f32_avx;
    unpack_u8_f64 = unpack_u8_f64_avx;
    unpack_s16_f64 = unpack_s16_f64_avx;
    unpack_u16_f64 = unpack_u16_f64_avx;
    unpack_alt_s16_f64 = unpack_alt_s16_f64_avx;
    unpack_cmb_s16_f64 = unpack_cmb_s16_f64_avx;
    min_f32 = min_f32_avx;
    max_f32 = max_f32_avx;
    min_f64 = min_f64_avx;
    max_f64 = max_f64_avx;
    minmax_f32 = minmax_f32_avx;
    minmax_f64 = minmax_f64_avx;
    avg_f32 = avg_f32_avx;
    avg_f64 = avg_f64_avx;
    avg_lvl_f32 = avg_lvl_f32_avx;
    avg_lvl_f64 = avg_lvl_f64_avx;
    minmaxmed_f32 = minmaxmed_f32_avx;
    minmaxmed_f64 = minmaxmed_f64_avx;
    max_array_f32 = max_array_f32_avx;
    max_array_f64 = max_array_f64_avx;
    mult_f32 = mult_f32_avx;
    mult_f64 = mult_f64_avx;
    mult_add_f32 = mult_add_f32_avx;
    mix_f64 = mix_f64_avx;
    fft_abs_f32 = fft_abs_f32_avx;
    fft_abs_f64 = fft_abs_f64_avx;
    fir_step_c32 = fir_step_c32_avx;
    fir_step_c64 = fir_step_c64_avx;
    iir1_f32 = iir1_f32_avx;
    iir1_f64 = iir1_f64_avx;
    vfilter_f32 = vfilter_f32_avx;
    vfilter_f64 = vfilter_f64_avx;
}

void set_avx2_variants()
{
    memcpy_fast = memcpy_fast_avx2;
    swap_words_u32 = swap_words_u32_avx2;
    pack_f32_u8 = pack_f32_u8_avx2;
    pack_f32_s16 = pack_f32_s16_avx2;
    unpack_u8_f32 = unpack_u8_f32_avx2;
    unpack_s16_f32 = unpack_s16_f32_avx2;
    min_u8 = min_u8_avx2;
    max_u8 = max_u8_avx2;
    min_s16 = min_s16_avx2;
    max_s16 = max_s16_avx2;
    minmax_s16 = minmax_s16_avx2;
    avg_lvl_f32 = avg_lvl_f32_avx2;
    avg_lvl_f64 = avg_lvl_f64_avx2;
    avg_abs_s16 = avg_abs_s16_avx2;
    spec_log_f32 = spec_log_f32_avx2;
    vfilter2_chunk = vfilter2_chunk_avx2;
}

void install(Level level)
{
    switch (level) {
    case Level::base:
        return set_base_variants();
    case Level::sse:
        return set_sse_variants();
    case Level::sse2:
        return set_sse2_variants();
    case Level::sse3:
        return set_sse3_variants();
    case Level::ssse3:
        return set_ssse3_variants();
    case Level::sse41:
        return set_sse41_variants();
    case Level::avx:
        return set_avx_variants();
    case Level::avx2:
        return set_avx2_variants();
    }
}

// CPUID for the highest leaf of the range and, if that is not 0 and the range reaches the leaf, CPUID
// for the leaf. Both stand in one asm, with nothing between them that sets ECX: leaf 7 takes for its
// sub-leaf what the first left there, the last four bytes of the vendor's name; kept, hosts depend on
// it: most processors answer zeros, and AVX2 is then never installed. From query to query the register
// goes in and out as one operand.
//
// The memory clobber keeps the baseline's stores before it in the machine code too; never inlined, so
// that these are the only two.
[[gnu::noinline]] void cpuid_query(std::uint32_t leaf, CpuidWords& words, std::uint32_t& ecx)
{
    CpuidWords out{leaf & extended_range, 0, 0, 0};
    bool answered = false;
    asm volatile("cpuid\n\t"
                 "cmpl $1, %%eax\n\t"
                 "jb 1f\n\t"
                 "cmpl %[leaf], %%eax\n\t"
                 "jb 1f\n\t"
                 "movl %[leaf], %%eax\n\t"
                 "cpuid\n"
                 "1:"
                 : "=@ccnc"(answered), "+&a"(out.eax), "=&b"(out.ebx), "+&c"(ecx), "=&d"(out.edx)
                 : [leaf] "r"(leaf)
                 : "memory");
    out.ecx = ecx;
    if (answered)
        words = out;
}

// The one word of the library's initialiser array. The first query finds in ECX whatever is there.
[[gnu::constructor]] void init_dispatch()
{
    std::uint32_t ecx;
    asm volatile("" : "=c"(ecx));
    probe([&](std::uint32_t leaf, CpuidWords& words) { cpuid_query(leaf, words, ecx); }, install);
}

} // namespace
