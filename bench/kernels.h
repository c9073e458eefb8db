// bench/kernels.h: every kernel with the arrays that the benches call it on, in one list.
#pragma once

#include "bench/arrays.h"
#include "bench/plain.h"

namespace bench {

/// swap_words_u32 is called on so many elements less: at AVX2 its tail is scattered beyond the end.
inline constexpr std::size_t swap_words_room = 16;

#define ADD(name, crossing, ...)                                                                   \
    add.template operator()<name##_fn>(#name, &PlainLoops::name, crossing, __VA_ARGS__)

template <class Add>
void each_memory(const Add& add)
{
    ADD(fill_f32, 1, [](auto* f, Arrays& a, Shift s) { f(a.f32[0] + s.one, a.n, 1.0F); });
    ADD(memcpy_fast, 1,
        [](auto* f, Arrays& a, Shift s) { f(a.f32[0] + s.one, a.f32[1] + s.rest, 4 * a.n); });
    ADD(swap_words_u32, 0, [](auto* f, Arrays& a, Shift s) {
        f(a.u32 + s.one, a.n - swap_words_room, a.other_u32 + s.rest);
    });
}

template <class Add>
void each_convert(const Add& add)
{
    ADD(pack_f32_u8, 1, [](auto* f, Arrays& a, Shift s) {
        f(a.f32[3] + s.rest, a.n, a.u8 + s.one, &a.out.f32[0], &a.out.f32[1]);
    });
    ADD(pack_f32_s16, 1, [](auto* f, Arrays& a, Shift s) {
        f(a.f32[3] + s.rest, a.n, a.s16 + s.one, &a.out.f32[0], &a.out.f32[1]);
    });
    ADD(pack_f64_u8, 1, [](auto* f, Arrays& a, Shift s) {
        f(a.f64[3] + s.rest, a.n, a.u8 + s.one, &a.out.f64[0], &a.out.f64[1]);
    });
    ADD(pack_f64_s16, 1, [](auto* f, Arrays& a, Shift s) {
        f(a.f64[3] + s.rest, a.n, a.s16 + s.one, &a.out.f64[0], &a.out.f64[1]);
    });
    ADD(pack_f64_u16, 2, [](auto* f, Arrays& a, Shift s) { // 2 bytes off would fault at SSSE3
        f(a.f64[3] + s.rest, a.n, reinterpret_cast<std::uint16_t*>(a.s16) + s.one, &a.out.f64[0],
          &a.out.f64[1]);
    });
    ADD(unpack_u8_f32, 1,
        [](auto* f, Arrays& a, Shift s) { f(a.u8 + s.one, a.n, a.f32[0] + s.rest, 0.1F, 1.0F); });
    ADD(unpack_s16_f32, 1,
        [](auto* f, Arrays& a, Shift s) { f(a.s16 + s.one, a.n, a.f32[0] + s.rest, 0.1F, 1.0F); });
    ADD(unpack_u8_f64, 1,
        [](auto* f, Arrays& a, Shift s) { f(a.u8 + s.one, a.n, a.f64[0] + s.rest, 0.1, 1.0); });
    ADD(unpack_s16_f64, 1,
        [](auto* f, Arrays& a, Shift s) { f(a.s16 + s.one, a.n, a.f64[0] + s.rest, 0.1, 1.0); });
    ADD(unpack_u16_f64, 1, [](auto* f, Arrays& a, Shift s) {
        f(reinterpret_cast<const std::uint16_t*>(a.s16) + s.one, a.n, a.f64[0] + s.rest, 0.1, 1.0);
    });
    ADD(unpack_alt_s16_f64, 1, [](auto* f, Arrays& a, Shift s) {
        f(a.s16 + s.one, a.n, a.f64[0] + s.rest, a.f64[1] + s.rest, 0.1, 1.0);
    });
    ADD(unpack_cmb_s16_f64, 1, [](auto* f, Arrays& a, Shift s) {
        f(a.s16 + s.one, a.other_s16 + s.rest, a.n, a.f64[0] + s.rest, 0.1, 1.0);
    });
}

template <class Add>
void each_stats(const Add& add)
{
    ADD(min_u8, 1, [](auto* f, Arrays& a, Shift s) { a.out.u8 = f(a.u8 + s.one, a.n); });
    ADD(max_u8, 1, [](auto* f, Arrays& a, Shift s) { a.out.u8 = f(a.u8 + s.one, a.n); });
    ADD(min_s16, 1, [](auto* f, Arrays& a, Shift s) { a.out.s16[0] = f(a.s16 + s.one, a.n); });
    ADD(max_s16, 1, [](auto* f, Arrays& a, Shift s) { a.out.s16[0] = f(a.s16 + s.one, a.n); });
    ADD(minmax_s16, 1,
        [](auto* f, Arrays& a, Shift s) { f(a.s16 + s.one, a.n, &a.out.s16[0], &a.out.s16[1]); });
    const auto value_of_f32 = [](auto* f, Arrays& a, Shift s) {
        a.out.f32[0] = f(a.f32[3] + s.one, a.n);
    };
    const auto value_of_f64 = [](auto* f, Arrays& a, Shift s) {
        a.out.f64[0] = f(a.f64[3] + s.one, a.n);
    };
    ADD(min_f32, 1, value_of_f32);
    ADD(max_f32, 1, value_of_f32);
    ADD(minmax_f32, 1, [](auto* f, Arrays& a, Shift s) {
        f(a.f32[3] + s.one, a.n, &a.out.f32[0], &a.out.f32[1]);
    });
    ADD(min_f64, 1, value_of_f64);
    ADD(max_f64, 1, value_of_f64);
    ADD(minmax_f64, 1, [](auto* f, Arrays& a, Shift s) {
        f(a.f64[3] + s.one, a.n, &a.out.f64[0], &a.out.f64[1]);
    });
    ADD(avg_f32, 1, value_of_f32);
    ADD(avg_f64, 1, value_of_f64);
    ADD(avg_lvl_f32, 1,
        [](auto* f, Arrays& a, Shift s) { a.out.f32[0] = f(a.f32[3] + s.one, a.n, 0.5F); });
    ADD(avg_lvl_f64, 1,
        [](auto* f, Arrays& a, Shift s) { a.out.f64[0] = f(a.f64[3] + s.one, a.n, 0.5); });
    ADD(avg_abs_s16, 1, [](auto* f, Arrays& a, Shift s) { a.out.u64 = f(a.s16 + s.one, a.n); });
    ADD(minmaxmed_f32, 1, [](auto* f, Arrays& a, Shift s) {
        f(a.f32[3] + s.one, a.n, &a.out.f32[0], &a.out.f32[1], &a.out.f32[2]);
    });
    ADD(minmaxmed_f64, 1, [](auto* f, Arrays& a, Shift s) {
        f(a.f64[3] + s.one, a.n, &a.out.f64[0], &a.out.f64[1], &a.out.f64[2]);
    });
    ADD(max_array_f32, 1,
        [](auto* f, Arrays& a, Shift s) { f(a.f32[0] + s.one, a.f32[1] + s.rest, a.n); });
    ADD(max_array_f64, 1,
        [](auto* f, Arrays& a, Shift s) { f(a.f64[0] + s.one, a.f64[1] + s.rest, a.n); });
}

template <class Add>
void each_spectrum(const Add& add)
{
    ADD(mult_f32, 1, [](auto* f, Arrays& a, Shift s) {
        f(a.f32[0] + s.one, a.f32[1] + s.rest, a.f32[2] + s.rest, a.n);
    });
    ADD(mult_f64, 1, [](auto* f, Arrays& a, Shift s) {
        f(a.f64[0] + s.one, a.f64[1] + s.rest, a.f64[2] + s.rest, a.n);
    });
    ADD(mult_add_f32, 1, [](auto* f, Arrays& a, Shift s) { f(a.f32[0] + s.one, a.n, 1.0F, 0.0F); });
    ADD(mix_f64, 1, [](auto* f, Arrays& a, Shift s) {
        f(a.f64[0] + s.rest, a.f64[1] + s.rest, a.n, a.f64[2] + s.one);
    });
    ADD(fft_abs_f32, 1,
        [](auto* f, Arrays& a, Shift s) { f(a.f32[0] + s.rest, a.n, a.f32[1] + s.one); });
    ADD(fft_abs_f64, 1,
        [](auto* f, Arrays& a, Shift s) { f(a.f64[0] + s.rest, a.n, a.f64[1] + s.one); });
    ADD(spec_log_f32, 0,
        [](auto* f, Arrays& a, Shift s) { f(a.f32[3] + s.rest, a.n, a.f32[1] + s.one, 1.0F); });
    ADD(spec_log_f64, 0,
        [](auto* f, Arrays& a, Shift s) { f(a.f64[3] + s.rest, a.n, a.f64[1] + s.one, 1.0); });
}

template <class Add>
void each_filter(const Add& add)
{
    ADD(fir_step_c32, 1, [](auto* f, Arrays& a, Shift s) {
        f(a.f32[0] + s.one, a.f32[1] + s.rest, a.f32[2] + s.rest, a.n, &a.out.f32[0],
          &a.out.f32[1]);
    });
    ADD(fir_step_c64, 1, [](auto* f, Arrays& a, Shift s) {
        f(a.f64[0] + s.one, a.f64[1] + s.rest, a.f64[2] + s.rest, a.n, &a.out.f64[0],
          &a.out.f64[1]);
    });
    ADD(iir1_f32, 1,
        [](auto* f, Arrays& a, Shift s) { f(a.f32[0] + s.rest, a.n, a.f32[1] + s.one, 0.1F); });
    ADD(iir1_f64, 1,
        [](auto* f, Arrays& a, Shift s) { f(a.f64[0] + s.rest, a.n, a.f64[1] + s.one, 0.1); });
    ADD(vfilter_f32, 1, [](auto* f, Arrays& a, Shift s) {
        f(a.f32[0] + s.one, static_cast<std::int32_t>(a.n), a.taps32[s.rest] + s.rest,
          int{Arrays::taps}, a.f32[2] + s.rest);
    });
    ADD(vfilter_f64, 1, [](auto* f, Arrays& a, Shift s) {
        f(a.f64[0] + s.one, static_cast<std::int32_t>(a.n), a.taps64[s.rest] + s.rest,
          int{Arrays::taps}, a.f64[2] + s.rest);
    });
    ADD(vfilter2_chunk, 1, [](auto* f, Arrays& a, Shift s) {
        a.out.f32[0] = f(a.f32[3] + s.one, a.f32[2] + s.rest, a.n, 0.5F);
    });
}

#undef ADD

/// Calls add(name, loop, crossing, call) for each of the 50 kernels, in the header's order, where
/// `loop` is the plain loop's place in PlainLoops and `call(function, arrays, shift)` runs a kernel
/// or its plain loop on arrays that start so far off their boundaries: `crossing` elements for one of
/// them let them lie differently (0: the kernel cannot take that).
template <class Add>
void each_kernel(const Add& add)
{
    each_memory(add);
    each_convert(add);
    each_stats(add);
    each_spectrum(add);
    each_filter(add);
}

} // namespace bench
