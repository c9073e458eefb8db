// bench/kernels.h: every kernel with the arrays that the benches call it on, in one list.
#pragma once

#include "bench/plain.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>

namespace bench {

/// Arrays for any kernel, filled once per size; 64-byte aligned, and room to move by an element.
/// Kernels whose time depends on the data read the last of each kind, which nothing writes.
struct Arrays {
    explicit Arrays(std::size_t count)
        : n(count), memory(new (std::align_val_t{4096}) char[bytes()])
    {
        char* at = memory.get();
        const auto take = [&](std::size_t size) {
            char* here = at;
            at += (size + 4095) / 4096 * 4096 + 4096 + 192; // no two arrays on the same page offset
            at -= reinterpret_cast<std::uintptr_t>(at) % 64;
            return here;
        };
        for (double*& d : f64)
            d = reinterpret_cast<double*>(take(2 * n * 8 + 64));
        for (float*& f : f32)
            f = reinterpret_cast<float*>(take(2 * n * 4 + 64));
        u8 = reinterpret_cast<std::uint8_t*>(take(n + 64));
        s16 = reinterpret_cast<std::int16_t*>(take(4 * n + 64));
        other_s16 = reinterpret_cast<std::int16_t*>(take(2 * n + 64));
        u32 = reinterpret_cast<std::uint32_t*>(take(4 * n + 64));
        other_u32 = reinterpret_cast<std::uint32_t*>(take(4 * n + 64));
        refill();
    }

    void refill()
    {
        std::uint32_t state = 1;
        for (std::size_t i = 0; i < 2 * n + 8; ++i) {
            state = state * 1664525 + 1013904223;
            const float value = 0.01F + static_cast<float>(state >> 8) / 16777216.0F;
            for (double* d : f64)
                d[i] = static_cast<double>(value);
            for (float* f : f32)
                f[i] = value;
            s16[i] = static_cast<std::int16_t>(state >> 16);
            if (i < n + 32)
                u8[i] = static_cast<std::uint8_t>(state >> 24);
            if (i < n + 16) {
                other_s16[i] = static_cast<std::int16_t>(state >> 8);
                u32[i] = other_u32[i] = state;
            }
        }
    }

    std::size_t bytes() const { return 4 * (16 * n + 9000) + 4 * (8 * n + 9000) + 15 * n + 50000; }

    struct Free {
        void operator()(char* p) const { operator delete[](p, std::align_val_t{4096}); }
    };

    std::size_t n;
    std::unique_ptr<char[], Free> memory;
    double* f64[4];
    float* f32[4];
    std::uint8_t* u8;
    std::int16_t *s16, *other_s16;
    std::uint32_t *u32, *other_u32;
};

/// A value that must be computed though nobody reads it.
template <class T>
void keep(const T& value)
{
    asm volatile("" : : "m"(value) : "memory");
}

#define ADD(name, crossing, ...)                                                                   \
    add.template operator()<name##_fn>(#name, &PlainLoops::name, crossing, __VA_ARGS__)

template <class Add>
void each_memory(const Add& add)
{
    ADD(fill_f32, 1, [](auto* f, Arrays& a, std::size_t s) { f(a.f32[0] + s, a.n, 1.0F); });
    ADD(memcpy_fast, 1,
        [](auto* f, Arrays& a, std::size_t s) { f(a.f32[0] + s, a.f32[1], 4 * a.n); });
    ADD(swap_words_u32, 0,
        [](auto* f, Arrays& a, std::size_t) { f(a.u32, a.n - 16, a.other_u32); });
}

template <class Add>
void each_convert(const Add& add)
{
    static float f_step, f_offset;
    static double d_step, d_offset;
    ADD(pack_f32_u8, 1,
        [](auto* f, Arrays& a, std::size_t s) { f(a.f32[3], a.n, a.u8 + s, &f_step, &f_offset); });
    ADD(pack_f32_s16, 1,
        [](auto* f, Arrays& a, std::size_t s) { f(a.f32[3], a.n, a.s16 + s, &f_step, &f_offset); });
    ADD(pack_f64_u8, 1,
        [](auto* f, Arrays& a, std::size_t s) { f(a.f64[3], a.n, a.u8 + s, &d_step, &d_offset); });
    ADD(pack_f64_s16, 1,
        [](auto* f, Arrays& a, std::size_t s) { f(a.f64[3], a.n, a.s16 + s, &d_step, &d_offset); });
    ADD(pack_f64_u16, 2, [](auto* f, Arrays& a, std::size_t s) { // 2 bytes off would fault at SSSE3
        f(a.f64[3], a.n, reinterpret_cast<std::uint16_t*>(a.s16) + s, &d_step, &d_offset);
    });
    ADD(unpack_u8_f32, 1,
        [](auto* f, Arrays& a, std::size_t s) { f(a.u8 + s, a.n, a.f32[0], 0.1F, 1.0F); });
    ADD(unpack_s16_f32, 1,
        [](auto* f, Arrays& a, std::size_t s) { f(a.s16 + s, a.n, a.f32[0], 0.1F, 1.0F); });
    ADD(unpack_u8_f64, 1,
        [](auto* f, Arrays& a, std::size_t s) { f(a.u8 + s, a.n, a.f64[0], 0.1, 1.0); });
    ADD(unpack_s16_f64, 1,
        [](auto* f, Arrays& a, std::size_t s) { f(a.s16 + s, a.n, a.f64[0], 0.1, 1.0); });
    ADD(unpack_u16_f64, 1, [](auto* f, Arrays& a, std::size_t s) {
        f(reinterpret_cast<const std::uint16_t*>(a.s16) + s, a.n, a.f64[0], 0.1, 1.0);
    });
    ADD(unpack_alt_s16_f64, 1,
        [](auto* f, Arrays& a, std::size_t s) { f(a.s16 + s, a.n, a.f64[0], a.f64[1], 0.1, 1.0); });
    ADD(unpack_cmb_s16_f64, 1, [](auto* f, Arrays& a, std::size_t s) {
        f(a.s16 + s, a.other_s16, a.n, a.f64[0], 0.1, 1.0);
    });
}

template <class Add>
void each_stats(const Add& add)
{
    ADD(min_u8, 1, [](auto* f, Arrays& a, std::size_t s) { keep(f(a.u8 + s, a.n)); });
    ADD(max_u8, 1, [](auto* f, Arrays& a, std::size_t s) { keep(f(a.u8 + s, a.n)); });
    ADD(min_s16, 1, [](auto* f, Arrays& a, std::size_t s) { keep(f(a.s16 + s, a.n)); });
    ADD(max_s16, 1, [](auto* f, Arrays& a, std::size_t s) { keep(f(a.s16 + s, a.n)); });
    ADD(minmax_s16, 1, [](auto* f, Arrays& a, std::size_t s) {
        std::int16_t low, high;
        f(a.s16 + s, a.n, &low, &high);
    });
    const auto value_of_f32 = [](auto* f, Arrays& a, std::size_t s) { keep(f(a.f32[3] + s, a.n)); };
    const auto value_of_f64 = [](auto* f, Arrays& a, std::size_t s) { keep(f(a.f64[3] + s, a.n)); };
    ADD(min_f32, 1, value_of_f32);
    ADD(max_f32, 1, value_of_f32);
    ADD(minmax_f32, 1, [](auto* f, Arrays& a, std::size_t s) {
        float low, high;
        f(a.f32[3] + s, a.n, &low, &high);
    });
    ADD(min_f64, 1, value_of_f64);
    ADD(max_f64, 1, value_of_f64);
    ADD(minmax_f64, 1, [](auto* f, Arrays& a, std::size_t s) {
        double low, high;
        f(a.f64[3] + s, a.n, &low, &high);
    });
    ADD(avg_f32, 1, value_of_f32);
    ADD(avg_f64, 1, value_of_f64);
    ADD(avg_lvl_f32, 1,
        [](auto* f, Arrays& a, std::size_t s) { keep(f(a.f32[3] + s, a.n, 0.5F)); });
    ADD(avg_lvl_f64, 1, [](auto* f, Arrays& a, std::size_t s) { keep(f(a.f64[3] + s, a.n, 0.5)); });
    ADD(avg_abs_s16, 1, [](auto* f, Arrays& a, std::size_t s) { keep(f(a.s16 + s, a.n)); });
    ADD(minmaxmed_f32, 1, [](auto* f, Arrays& a, std::size_t s) {
        float low, high, mean;
        f(a.f32[3] + s, a.n, &low, &high, &mean);
    });
    ADD(minmaxmed_f64, 1, [](auto* f, Arrays& a, std::size_t s) {
        double low, high, mean;
        f(a.f64[3] + s, a.n, &low, &high, &mean);
    });
    ADD(max_array_f32, 1,
        [](auto* f, Arrays& a, std::size_t s) { f(a.f32[0] + s, a.f32[1], a.n); });
    ADD(max_array_f64, 1,
        [](auto* f, Arrays& a, std::size_t s) { f(a.f64[0] + s, a.f64[1], a.n); });
}

template <class Add>
void each_spectrum(const Add& add)
{
    ADD(mult_f32, 1,
        [](auto* f, Arrays& a, std::size_t s) { f(a.f32[0] + s, a.f32[1], a.f32[2], a.n); });
    ADD(mult_f64, 1,
        [](auto* f, Arrays& a, std::size_t s) { f(a.f64[0] + s, a.f64[1], a.f64[2], a.n); });
    ADD(mult_add_f32, 1,
        [](auto* f, Arrays& a, std::size_t s) { f(a.f32[0] + s, a.n, 1.0F, 0.0F); });
    ADD(mix_f64, 1,
        [](auto* f, Arrays& a, std::size_t s) { f(a.f64[0], a.f64[1], a.n, a.f64[2] + s); });
    ADD(fft_abs_f32, 1, [](auto* f, Arrays& a, std::size_t s) { f(a.f32[0], a.n, a.f32[1] + s); });
    ADD(fft_abs_f64, 1, [](auto* f, Arrays& a, std::size_t s) { f(a.f64[0], a.n, a.f64[1] + s); });
    ADD(spec_log_f32, 0, [](auto* f, Arrays& a, std::size_t) { f(a.f32[3], a.n, a.f32[1], 1.0F); });
    ADD(spec_log_f64, 0, [](auto* f, Arrays& a, std::size_t) { f(a.f64[3], a.n, a.f64[1], 1.0); });
}

template <class Add>
void each_filter(const Add& add)
{
    ADD(fir_step_c32, 1, [](auto* f, Arrays& a, std::size_t s) {
        float re, im;
        f(a.f32[0] + s, a.f32[1], a.f32[2], a.n, &re, &im);
    });
    ADD(fir_step_c64, 1, [](auto* f, Arrays& a, std::size_t s) {
        double re, im;
        f(a.f64[0] + s, a.f64[1], a.f64[2], a.n, &re, &im);
    });
    ADD(iir1_f32, 1,
        [](auto* f, Arrays& a, std::size_t s) { f(a.f32[0], a.n, a.f32[1] + s, 0.1F); });
    ADD(iir1_f64, 1,
        [](auto* f, Arrays& a, std::size_t s) { f(a.f64[0], a.n, a.f64[1] + s, 0.1); });
    ADD(vfilter_f32, 1, [](auto* f, Arrays& a, std::size_t s) {
        f(a.f32[0] + s, static_cast<std::int32_t>(a.n), a.f32[1], 31, a.f32[2]);
    });
    ADD(vfilter_f64, 1, [](auto* f, Arrays& a, std::size_t s) {
        f(a.f64[0] + s, static_cast<std::int32_t>(a.n), a.f64[1], 31, a.f64[2]);
    });
    ADD(vfilter2_chunk, 1,
        [](auto* f, Arrays& a, std::size_t s) { keep(f(a.f32[3] + s, a.f32[2], a.n, 0.5F)); });
}

#undef ADD

/// Calls add(name, loop, crossing, call) for each of the 50 kernels, in the header's order, where
/// `loop` is the plain loop's place in PlainLoops and `call(function, arrays, shift)` runs a kernel
/// or its plain loop with one array `shift` elements off its boundary, 0 or `crossing` (0: the
/// kernel cannot be crossed).
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
