#include "corpus/corpus.h"

#include "corpus/array.h"

#include <functional>
#include <map>

namespace corpus {
namespace {

/// Lengths around every head, block and threshold.
constexpr std::size_t lengths[] = {0,  1,  2,  3,  4,  5,  7,  8,  9,  15,  16,
                                   17, 30, 31, 32, 33, 47, 63, 64, 65, 100, 257};

/// Byte offsets of up to four arrays, within what every level accepts.
struct Offsets {
    std::size_t a, b, c, d;
};

struct Call {
    std::size_t n;
    Offsets at;
    bool special;
    Random& random;
    Result& result;
    Hash& hash;

    template <class T>
    Array<T> in(std::size_t count, std::size_t offset) const
    {
        return {count, offset, random, special};
    }
};

using Corpus = std::function<void(const Kernels&, Result&, Hash&)>;

template <class Body>
Corpus each(std::vector<Offsets> offsets, Body body)
{
    return
        [offsets = std::move(offsets), body](const Kernels& kernels, Result& result, Hash& hash) {
            Random random(1);
            for (const std::size_t n : lengths)
                for (const Offsets& at : offsets)
                    for (const bool special : {false, true}) {
                        body(kernels, Call{n, at, special, random, result, hash});
                        ++result.calls;
                    }
        };
}

const std::vector<Offsets> any_float = {{0, 0, 0, 0}, {4, 4, 4, 0}, {12, 28, 8, 0}};
const std::vector<Offsets> any_double = {{0, 0, 0, 0}, {8, 8, 8, 0}, {24, 8, 16, 0}};

template <class T>
const std::vector<Offsets>& any()
{
    if constexpr (sizeof(T) == 4)
        return any_float;
    else
        return any_double;
}

template <class T, class Code>
Corpus pack(void (*Kernels::*kernel)(const T*, std::size_t, Code*, T*, T*),
            std::vector<Offsets> offsets)
{
    return each(std::move(offsets), [kernel](const Kernels& k, const Call& c) {
        const auto src = c.in<T>(c.n, c.at.a);
        const Array<Code> dst(c.n, c.at.b);
        const Array<T> step(1, 0);
        const Array<T> offset(1, 8);
        (k.*kernel)(src, c.n, dst, step, offset);
        c.hash.add(dst);
        if (c.n != 0)
            c.hash.add(step), c.hash.add(offset);
    });
}

template <class Code, class T>
Corpus unpack(void (*Kernels::*kernel)(const Code*, std::size_t, T*, T, T),
              std::vector<Offsets> offsets)
{
    return each(std::move(offsets), [kernel](const Kernels& k, const Call& c) {
        const auto src = c.in<Code>(c.n, c.at.a);
        const Array<T> dst(c.n, c.at.b);
        (k.*kernel)(src, c.n, dst, T(0.37), T(-3));
        c.hash.add(dst);
    });
}

/// One array to one value; p[0] is read even with n = 0.
template <class T, class R>
Corpus reduce(R (*Kernels::*kernel)(const T*, std::size_t), std::vector<Offsets> offsets)
{
    return each(std::move(offsets), [kernel](const Kernels& k, const Call& c) {
        const auto p = c.in<T>(c.n == 0 ? 1 : c.n, c.at.a);
        c.hash.add((k.*kernel)(p, c.n));
    });
}

template <class T>
Corpus minmax(void (*Kernels::*kernel)(const T*, std::size_t, T*, T*), std::vector<Offsets> offsets)
{
    return each(std::move(offsets), [kernel](const Kernels& k, const Call& c) {
        const auto p = c.in<T>(c.n, c.at.a);
        const Array<T> min(1, 0);
        const Array<T> max(1, sizeof(T));
        (k.*kernel)(p, c.n, min, max);
        c.hash.add(min), c.hash.add(max);
    });
}

template <class T>
Corpus minmaxmed(void (*Kernels::*kernel)(const T*, std::size_t, T*, T*, T*))
{
    return each(any<T>(), [kernel](const Kernels& k, const Call& c) {
        const auto p = c.in<T>(c.n, c.at.a);
        const Array<T> min(1, 0);
        const Array<T> max(1, sizeof(T));
        const Array<T> mean(1, 0);
        (k.*kernel)(p, c.n, min, max, mean);
        c.hash.add(min), c.hash.add(max), c.hash.add(mean);
    });
}

template <class T>
Corpus avg_lvl(T (*Kernels::*kernel)(const T*, std::size_t, T))
{
    return each(any<T>(), [kernel](const Kernels& k, const Call& c) {
        const auto x = c.in<T>(c.n, c.at.a);
        c.hash.add((k.*kernel)(x, c.n, T(0.25)));
    });
}

template <class T>
Corpus max_array(void (*Kernels::*kernel)(T*, const T*, std::size_t))
{
    return each(any<T>(), [kernel](const Kernels& k, const Call& c) {
        const auto dst = c.in<T>(c.n, c.at.a);
        const auto src = c.in<T>(c.n, c.at.b);
        (k.*kernel)(dst, src, c.n);
        c.hash.add(dst);
    });
}

template <class T>
Corpus mult(void (*Kernels::*kernel)(T*, const T*, const T*, std::size_t))
{
    return each(any<T>(), [kernel](const Kernels& k, const Call& c) {
        const Array<T> dst(c.n, c.at.a);
        const auto a = c.in<T>(c.n, c.at.b);
        const auto b = c.in<T>(c.n, c.at.c);
        (k.*kernel)(dst, a, b, c.n);
        c.hash.add(dst);
    });
}

/// Whole blocks at every level only.
template <class T>
Corpus fft_abs(void (*Kernels::*kernel)(const T*, std::size_t, T*))
{
    return each({{0, 0, 0, 0}, {sizeof(T), 0, 0, 0}}, [kernel](const Kernels& k, const Call& c) {
        const std::size_t n = c.n / 16 * 16;
        const auto in = c.in<T>(2 * n, c.at.a);
        const Array<T> out(n, c.at.b);
        (k.*kernel)(in, n, out);
        c.hash.add(out);
    });
}

/// Aligned, and above the thresholds whole blocks at every level.
template <class T>
Corpus spec_log(void (*Kernels::*kernel)(const T*, std::size_t, T*, T))
{
    return each({{0, 0, 0, 0}, {32, 0, 0, 0}}, [kernel](const Kernels& k, const Call& c) {
        const std::size_t n = c.n <= 15 ? c.n : c.n / 8 * 8;
        const auto in = c.in<T>(n, c.at.a);
        const Array<T> out(n, c.at.b);
        (k.*kernel)(in, n, out, T(3));
        c.hash.add(out);
    });
}

template <class T>
Corpus fir_step(void (*Kernels::*kernel)(const T*, const T*, const T*, std::size_t, T*, T*))
{
    return each(any<T>(), [kernel](const Kernels& k, const Call& c) {
        const auto re = c.in<T>(c.n, c.at.a);
        const auto im = c.in<T>(c.n, c.at.b);
        const auto taps = c.in<T>(c.n, c.at.c);
        const Array<T> out_re(1, 0);
        const Array<T> out_im(1, 8);
        (k.*kernel)(re, im, taps, c.n, out_re, out_im);
        c.hash.add(out_re), c.hash.add(out_im);
    });
}

/// A ring of 9 taps, a stream of c.n samples in two calls.
template <class T, class Kernel>
Corpus fir_alt(Kernel kernel)
{
    return each({{0, 0, 0, 0}, {sizeof(T), 8, 0, 0}}, [kernel](const Kernels& k, const Call& c) {
        const auto in = c.in<T>(2 * c.n, c.at.a);
        const auto taps = c.in<double>(9, c.at.b);
        const auto re = c.in<double>(9, 0);
        const auto im = c.in<double>(9, 8);
        const Array<double> out(2 * c.n, 0);
        std::int64_t pos = 0;
        const std::size_t first = c.n / 3;
        kernel(k, in, first, taps, &pos, re, im, out);
        kernel(k, in + 2 * first, c.n - first, taps, &pos, re, im, out + 2 * first);
        c.hash.add(out), c.hash.add(re), c.hash.add(im), c.hash.add(pos);
    });
}

template <class T>
Corpus iir1(void (*Kernels::*kernel)(const T*, std::size_t, T*, T))
{
    return each(any<T>(), [kernel](const Kernels& k, const Call& c) {
        const auto x = c.in<T>(c.n, c.at.a);
        const auto y = c.in<T>(c.n, c.at.b);
        (k.*kernel)(x, c.n, y, T(0.1));
        c.hash.add(y);
    });
}

/// len 0 to 12; n from 2 * half on, as the contract asks.
template <class T>
Corpus vfilter(void (*Kernels::*kernel)(const T*, std::int32_t, const T*, std::int32_t, T*))
{
    return each(any<T>(), [kernel](const Kernels& k, const Call& c) {
        for (std::int32_t len = 0; len < 13; ++len) {
            const auto half = static_cast<std::size_t>(len / 2);
            if (c.n < 2 * half)
                continue;
            const auto x = c.in<T>(c.n, c.at.a);
            const auto taps = c.in<T>(2 * half + 1, c.at.b);
            const Array<T> y(c.n, c.at.c);
            (k.*kernel)(x, static_cast<std::int32_t>(c.n), taps, len, y);
            c.hash.add(y);
        }
    });
}

void copy(const Kernels& k, const Call& c)
{
    const auto src = c.in<std::uint8_t>(3 * c.n, c.at.a);
    const Array<std::uint8_t> dst(3 * c.n, c.at.b);
    k.memcpy_fast(dst, src, 3 * c.n);
    c.hash.add(dst);
}

void swap_words(const Kernels& k, const Call& c)
{
    const auto src = c.in<std::uint32_t>(c.n, c.at.a);
    const Array<std::uint32_t> dst(c.n + 6, c.at.b); // the AVX2 tail writes past it
    k.swap_words_u32(src, c.n, dst);
    c.hash.add(dst);
}

void vfilter2(const Kernels& k, const Call& c)
{
    const auto x = c.in<float>(c.n, c.at.a);
    const auto w = c.in<float>(c.n, c.at.b);
    c.hash.add(k.vfilter2_chunk(x, w, c.n, 0.3F));
}

/// Kernels by name, each with offsets that no level's contract forbids.
const std::map<std::string, Corpus>& corpora()
{
    using K = Kernels;
    const std::vector<Offsets> bytes = {{0, 0, 0, 0}, {1, 0, 0, 0}, {33, 1, 0, 0}};
    const std::vector<Offsets> s16 = {{0, 0, 0, 0}, {2, 0, 0, 0}, {18, 0, 0, 0}};
    static const std::map<std::string, Corpus> list = {
        {"fill_f32", each({{0, 0, 0, 0}, {4, 0, 0, 0}, {28, 0, 0, 0}},
                          [](const K& k, const Call& c) {
                              const Array<float> dst(c.n, c.at.a);
                              k.fill_f32(dst, c.n, 1.7F);
                              c.hash.add(dst);
                          })},
        {"memcpy_fast", each({{0, 0, 0, 0}, {5, 37, 0, 0}, {3, 1, 0, 0}}, copy)},
        {"swap_words_u32", each({{0, 0, 0, 0}, {4, 36, 0, 0}, {28, 28, 0, 0}}, swap_words)},
        {"pack_f32_u8", pack(&K::pack_f32_u8, {{0, 0, 0, 0}, {0, 1, 0, 0}, {4, 1, 0, 0}})},
        {"pack_f32_s16", pack(&K::pack_f32_s16, {{0, 0, 0, 0}, {0, 2, 0, 0}, {4, 6, 0, 0}})},
        {"pack_f64_u8", pack(&K::pack_f64_u8, {{0, 0, 0, 0}, {0, 1, 0, 0}, {8, 0, 0, 0}})},
        {"pack_f64_s16", pack(&K::pack_f64_s16, {{0, 0, 0, 0}, {0, 2, 0, 0}, {8, 2, 0, 0}})},
        {"pack_f64_u16", pack(&K::pack_f64_u16, {{0, 0, 0, 0}, {0, 4, 0, 0}, {8, 2, 0, 0}})},
        {"unpack_u8_f32", unpack(&K::unpack_u8_f32, {{0, 0, 0, 0}, {1, 0, 0, 0}, {1, 4, 0, 0}})},
        {"unpack_s16_f32", unpack(&K::unpack_s16_f32, {{0, 0, 0, 0}, {2, 0, 0, 0}, {2, 4, 0, 0}})},
        {"unpack_u8_f64", unpack(&K::unpack_u8_f64, {{0, 0, 0, 0}, {1, 0, 0, 0}, {3, 8, 0, 0}})},
        {"unpack_s16_f64", unpack(&K::unpack_s16_f64, {{0, 0, 0, 0}, {2, 0, 0, 0}, {2, 8, 0, 0}})},
        {"unpack_u16_f64", unpack(&K::unpack_u16_f64, {{0, 0, 0, 0}, {4, 0, 0, 0}, {2, 8, 0, 0}})},
        {"unpack_alt_s16_f64", each({{0, 0, 0, 0}, {2, 8, 8, 0}, {2, 0, 0, 0}},
                                    [](const K& k, const Call& c) {
                                        const auto src = c.in<std::int16_t>(2 * c.n, c.at.a);
                                        const Array<double> dst0(c.n, c.at.b);
                                        const Array<double> dst1(c.n, c.at.c);
                                        k.unpack_alt_s16_f64(src, c.n, dst0, dst1, 0.37, -3);
                                        c.hash.add(dst0), c.hash.add(dst1);
                                    })},
        {"unpack_cmb_s16_f64", each({{0, 0, 0, 0}, {2, 4, 8, 0}, {2, 2, 8, 0}},
                                    [](const K& k, const Call& c) {
                                        const auto a = c.in<std::int16_t>(c.n, c.at.a);
                                        const auto b = c.in<std::int16_t>(c.n, c.at.b);
                                        const Array<double> dst(2 * c.n, c.at.c);
                                        k.unpack_cmb_s16_f64(a, b, c.n, dst, 0.37, -3);
                                        c.hash.add(dst);
                                    })},
        {"min_u8", reduce(&K::min_u8, bytes)},
        {"max_u8", reduce(&K::max_u8, bytes)},
        {"min_s16", reduce(&K::min_s16, s16)},
        {"max_s16", reduce(&K::max_s16, s16)},
        {"minmax_s16", minmax(&K::minmax_s16, s16)},
        {"min_f32", reduce(&K::min_f32, any_float)},
        {"max_f32", reduce(&K::max_f32, any_float)},
        {"minmax_f32", minmax(&K::minmax_f32, any_float)},
        {"min_f64", reduce(&K::min_f64, any_double)},
        {"max_f64", reduce(&K::max_f64, any_double)},
        {"minmax_f64", minmax(&K::minmax_f64, any_double)},
        {"avg_f32", reduce(&K::avg_f32, any_float)},
        {"avg_f64", reduce(&K::avg_f64, any_double)},
        {"avg_lvl_f32", avg_lvl(&K::avg_lvl_f32)},
        {"avg_lvl_f64", avg_lvl(&K::avg_lvl_f64)},
        {"avg_abs_s16", reduce(&K::avg_abs_s16, s16)},
        {"minmaxmed_f32", minmaxmed(&K::minmaxmed_f32)},
        {"minmaxmed_f64", minmaxmed(&K::minmaxmed_f64)},
        {"max_array_f32", max_array(&K::max_array_f32)},
        {"max_array_f64", max_array(&K::max_array_f64)},
        {"mult_f32", mult(&K::mult_f32)},
        {"mult_f64", mult(&K::mult_f64)},
        {"mult_add_f32", each(any_float,
                              [](const K& k, const Call& c) {
                                  const auto x = c.in<float>(c.n, c.at.a);
                                  k.mult_add_f32(x, c.n, 0.37F, -3);
                                  c.hash.add(x);
                              })},
        {"mix_f64", each({{0, 0, 0, 0}, {8, 16, 24, 0}, {0, 8, 0, 0}},
                         [](const K& k, const Call& c) {
                             const auto re = c.in<double>(c.n, c.at.a);
                             const auto im = c.in<double>(c.n, c.at.b);
                             const Array<double> out(2 * c.n, c.at.c);
                             k.mix_f64(re, im, c.n, out);
                             c.hash.add(out);
                         })},
        {"fft_abs_f32", fft_abs(&K::fft_abs_f32)},
        {"fft_abs_f64", fft_abs(&K::fft_abs_f64)},
        {"spec_log_f32", spec_log(&K::spec_log_f32)},
        {"spec_log_f64", spec_log(&K::spec_log_f64)},
        {"fir_step_c32", fir_step(&K::fir_step_c32)},
        {"fir_step_c64", fir_step(&K::fir_step_c64)},
        {"fir_c16_alt",
         fir_alt<std::int16_t>([](const K& k, const std::int16_t* in, std::size_t n, auto& taps,
                                  std::int64_t* pos, auto& re, auto& im, double* out) {
             k.fir_c16_alt(in, n, taps, 8, pos, re, im, out, 0.37, -3);
         })},
        {"fir_c32_alt", fir_alt<float>([](const K& k, const float* in, std::size_t n, auto& taps,
                                          std::int64_t* pos, auto& re, auto& im, double* out) {
             k.fir_c32_alt(in, n, taps, 8, pos, re, im, out);
         })},
        {"fir_c64_alt", fir_alt<double>([](const K& k, const double* in, std::size_t n, auto& taps,
                                           std::int64_t* pos, auto& re, auto& im, double* out) {
             k.fir_c64_alt(in, n, taps, 8, pos, re, im, out);
         })},
        {"iir1_f32", iir1(&K::iir1_f32)},
        {"iir1_f64", iir1(&K::iir1_f64)},
        {"vfilter_f32", vfilter(&K::vfilter_f32)},
        {"vfilter_f64", vfilter(&K::vfilter_f64)},
        {"vfilter2_chunk", each(any_float, vfilter2)},
    };
    return list;
}

bool is_null(const Kernels& kernels, const std::string& name)
{
#define CORPUS_NULL(kernel)                                                                        \
    if (name == #kernel)                                                                           \
        return kernels.kernel == nullptr;
    CORPUS_ENTRIES(CORPUS_NULL)
#undef CORPUS_NULL
    return false;
}

} // namespace

const std::vector<std::string>& names()
{
    static const std::vector<std::string> list = [] {
        std::vector<std::string> all;
        for (const auto& [name, corpus] : corpora())
            all.push_back(name);
        return all;
    }();
    return list;
}

Result run(const Kernels& kernels, const std::string& name)
{
    Result result;
    if (is_null(kernels, name))
        return result;
    Hash hash;
    corpora().at(name)(kernels, result, hash);
    result.hash = hash.state();
    return result;
}

} // namespace corpus
