// What the contract states and a watcher must report: each with arrays of exactly the told length.
#include "corpus/array.h"
#include "corpus/corpus.h"

namespace corpus {
namespace {

/// An input of n elements at an address off its element alignment: heads that do not test for the end.
template <class T>
class Crooked {
public:
    explicit Crooked(std::size_t n) : bytes_(n * sizeof(T), 1) {}
    operator T*() const { return reinterpret_cast<T*>(static_cast<char*>(bytes_)); } // NOLINT

private:
    Array<char> bytes_;
};

template <class T>
void fft_abs_of(void (*kernel)(const T*, std::size_t, T*), std::size_t n)
{
    const Array<T> in(2 * n, sizeof(T));
    const Array<T> out(n, sizeof(T));
    kernel(in, n, out);
}

template <class T>
void vfilter_of(void (*kernel)(const T*, std::int32_t, const T*, std::int32_t, T*), std::size_t n,
                std::int32_t len)
{
    const Array<T> x(n, 0);
    const Array<T> taps(static_cast<std::size_t>(len), 0);
    const Array<T> y(n, 0);
    kernel(x, static_cast<std::int32_t>(n), taps, len, y);
}

template <class T>
void minmaxmed_of(void (*kernel)(const T*, std::size_t, T*, T*, T*))
{
    const Crooked<T> p(33);
    const Array<T> out(3, 0);
    kernel(p, 33, out, out + 1, out + 2);
}

template <class T>
void minmax_of(void (*kernel)(const T*, std::size_t, T*, T*))
{
    const Crooked<T> p(33);
    const Array<T> out(2, 0);
    kernel(p, 33, out, out + 1);
}

template <class T>
void iir1_of(void (*kernel)(const T*, std::size_t, T*, T))
{
    const Crooked<T> x(33);
    const Crooked<T> y(33);
    kernel(x, 33, y, T(1));
}

template <class T, class R>
void reduce_of(R (*kernel)(const T*, std::size_t))
{
    const Crooked<T> p(33);
    kernel(p, 33);
}

template <class T, class R>
void nothing_of(R (*kernel)(const T*, std::size_t))
{
    const Array<T> p(0, 0);
    kernel(p, 0);
}

template <class T, class Code>
void pack_of(void (*kernel)(const T*, std::size_t, Code*, T*, T*))
{
    const Crooked<T> src(9);
    const Array<Code> dst(9, 0);
    const Array<T> out(2, 0);
    kernel(src, 9, dst, out, out + 1);
}

template <class T, class Code>
void unpack_of(void (*kernel)(const Code*, std::size_t, T*, T, T))
{
    const Array<Code> src(9, 0);
    const Crooked<T> dst(9);
    kernel(src, 9, dst, 1, 1);
}

template <class T>
void mult_of(void (*kernel)(T*, const T*, const T*, std::size_t))
{
    const Crooked<T> dst(9);
    const Array<T> a(9, 0);
    kernel(dst, a, a, 9);
}

void swap_words_of(const Kernels& k, std::size_t n)
{
    const Array<std::uint32_t> src(n, 0);
    const Array<std::uint32_t> dst(n, 0);
    k.swap_words_u32(src, n, dst);
}

void crooked_swap_words(const Kernels& k)
{
    const Crooked<std::uint32_t> src(33);
    const Crooked<std::uint32_t> dst(33);
    k.swap_words_u32(src, 33, dst);
}

void spec_log_of(const Kernels& k, std::size_t n)
{
    const Array<float> in(n, 0);
    const Array<float> out(n, 0);
    k.spec_log_f32(in, n, out, 0);
}

void fir_position(const Kernels& k)
{
    const Array<double> in(2, 0);
    const Array<double> taps(4, 0);
    const Array<double> re(4, 0);
    const Array<double> im(4, 0);
    const Array<double> out(2, 0);
    std::int64_t pos = 4;
    k.fir_c64_alt(in, 1, taps, 3, &pos, re, im, out);
}

} // namespace

const std::vector<Exception>& overruns()
{
    static const std::vector<Exception> list = {
        {"swap_words_u32: words past the tail", "avx2",
         [](const Kernels& k) { swap_words_of(k, 23); }},
        {"swap_words_u32: crooked source", "sse2", crooked_swap_words},
        {"fft_abs_f32: half rounded up to blocks of 4", "sse",
         [](const Kernels& k) { fft_abs_of(k.fft_abs_f32, 12); }},
        {"fft_abs_f32: half rounded up to blocks of 8", "avx",
         [](const Kernels& k) { fft_abs_of(k.fft_abs_f32, 24); }},
        {"fft_abs_f64: half that never ends in blocks of 2", "sse2",
         [](const Kernels& k) { fft_abs_of(k.fft_abs_f64, 6); }},
        {"fft_abs_f64: half that never ends in blocks of 4", "avx",
         [](const Kernels& k) { fft_abs_of(k.fft_abs_f64, 12); }},
        {"spec_log_f32: length that never ends in blocks of 4", "sse2",
         [](const Kernels& k) { spec_log_of(k, 18); }},
        {"spec_log_f32: length that never ends in blocks of 8", "avx2",
         [](const Kernels& k) { spec_log_of(k, 36); }},
        {"vfilter_f32: fewer elements than 2 * half", "base",
         [](const Kernels& k) { vfilter_of(k.vfilter_f32, 5, 9); }},
        {"vfilter_f64: fewer elements than half", "base",
         [](const Kernels& k) { vfilter_of(k.vfilter_f64, 2, 9); }},
        {"fir_c64_alt: position outside the ring", "base", fir_position},
        {"max_s16: p[0] of no element", "base", [](const Kernels& k) { nothing_of(k.max_s16); }},
        {"min_f32: p[0] of no element", "base", [](const Kernels& k) { nothing_of(k.min_f32); }},
        {"max_f64: p[0] of no element", "base", [](const Kernels& k) { nothing_of(k.max_f64); }},
        {"min_s16: crooked input", "sse2", [](const Kernels& k) { reduce_of(k.min_s16); }},
        {"min_f32: crooked input", "sse", [](const Kernels& k) { reduce_of(k.min_f32); }},
        {"avg_abs_s16: crooked input", "ssse3", [](const Kernels& k) { reduce_of(k.avg_abs_s16); }},
        {"minmax_s16: crooked input", "sse2", [](const Kernels& k) { minmax_of(k.minmax_s16); }},
        {"minmax_f32: crooked input", "sse", [](const Kernels& k) { minmax_of(k.minmax_f32); }},
        {"minmaxmed_f32: crooked input", "sse",
         [](const Kernels& k) { minmaxmed_of(k.minmaxmed_f32); }},
        {"iir1_f32: crooked state", "sse", [](const Kernels& k) { iir1_of(k.iir1_f32); }},
    };
    return list;
}

const std::vector<Exception>& crooked_elements()
{
    static const std::vector<Exception> list = {
        {"fill_f32: dst", "base", [](const Kernels& k) { k.fill_f32(Crooked<float>(9), 9, 1); }},
        {"pack_f32_u8: src", "base", [](const Kernels& k) { pack_of<float>(k.pack_f32_u8); }},
        {"pack_f32_s16: src", "base", [](const Kernels& k) { pack_of<float>(k.pack_f32_s16); }},
        {"pack_f64_u8: src", "base", [](const Kernels& k) { pack_of<double>(k.pack_f64_u8); }},
        {"pack_f64_s16: src", "base", [](const Kernels& k) { pack_of<double>(k.pack_f64_s16); }},
        {"pack_f64_u16: src", "base", [](const Kernels& k) { pack_of<double>(k.pack_f64_u16); }},
        {"unpack_u8_f32: dst", "base", [](const Kernels& k) { unpack_of<float>(k.unpack_u8_f32); }},
        {"unpack_s16_f32: dst", "sse2",
         [](const Kernels& k) { unpack_of<float>(k.unpack_s16_f32); }},
        {"unpack_u8_f64: dst", "base",
         [](const Kernels& k) { unpack_of<double>(k.unpack_u8_f64); }},
        {"unpack_s16_f64: dst", "base",
         [](const Kernels& k) { unpack_of<double>(k.unpack_s16_f64); }},
        {"unpack_u16_f64: dst", "base",
         [](const Kernels& k) { unpack_of<double>(k.unpack_u16_f64); }},
        {"avg_f32: x", "base", [](const Kernels& k) { k.avg_f32(Crooked<float>(9), 9); }},
        {"avg_f64: x", "base", [](const Kernels& k) { k.avg_f64(Crooked<double>(9), 9); }},
        {"avg_lvl_f32: x", "base",
         [](const Kernels& k) { k.avg_lvl_f32(Crooked<float>(9), 9, 1); }},
        {"avg_lvl_f64: x", "base",
         [](const Kernels& k) { k.avg_lvl_f64(Crooked<double>(9), 9, 1); }},
        {"mult_f32: dst", "base", [](const Kernels& k) { mult_of(k.mult_f32); }},
        {"mult_f64: dst", "base", [](const Kernels& k) { mult_of(k.mult_f64); }},
        {"mult_add_f32: x", "base",
         [](const Kernels& k) { k.mult_add_f32(Crooked<float>(9), 9, 1, 1); }},
        {"fft_abs_f32: in", "base",
         [](const Kernels& k) { k.fft_abs_f32(Crooked<float>(16), 8, Array<float>(8, 0)); }},
        {"fft_abs_f64: in", "base",
         [](const Kernels& k) { k.fft_abs_f64(Crooked<double>(16), 8, Array<double>(8, 0)); }},
    };
    return list;
}

} // namespace corpus
