// xsimd: a loop of batches as its manual shows it, compiled for AVX2, unaligned loads, scalar rest.
#include "bench/peers.h"
#include "libsimd.h"

#include <cmath>
#include <limits>
#include <xsimd/xsimd.hpp>

namespace bench {
namespace {

template <class T>
using Batch = xsimd::batch<T, xsimd::avx2>;

/// Batches and then single elements: f works on both.
template <class T, class F>
void each(std::size_t n, F f)
{
    std::size_t i = 0;
    for (; i + Batch<T>::size <= n; i += Batch<T>::size)
        f(i, Batch<T>());
    for (; i < n; ++i)
        f(i, T());
}
template <class T>
Batch<T> load(const T* p, Batch<T>)
{
    return Batch<T>::load_unaligned(p);
}
template <class T>
T load(const T* p, T)
{
    return *p;
}
template <class T>
void store(T* p, Batch<T> v)
{
    v.store_unaligned(p);
}
template <class T>
void store(T* p, T v)
{
    *p = v;
}

template <class T>
void mult_xsimd(T* dst, const T* a, const T* b, std::size_t n)
{
    each<T>(n, [=](std::size_t i, auto v) { store(dst + i, load(a + i, v) * load(b + i, v)); });
}
void mult_add_xsimd(float* x, std::size_t n, float scale, float offset)
{
    each<float>(n, [=](std::size_t i, auto v) {
        store(x + i, load(x + i, v) * decltype(v)(scale) + decltype(v)(offset));
    });
}
template <class T>
void max_array_xsimd(T* dst, const T* src, std::size_t n)
{
    each<T>(n, [=](std::size_t i, auto v) {
        using std::max;
        using xsimd::max;
        store(dst + i, max(load(dst + i, v), load(src + i, v)));
    });
}
template <class T>
void iir1_xsimd(const T* x, std::size_t n, T* y, T a)
{
    each<T>(n, [=](std::size_t i, auto v) {
        const auto state = load(y + i, v);
        store(y + i, (load(x + i, v) - state) * decltype(v)(a) + state);
    });
}
template <class T>
T avg_xsimd(const T* x, std::size_t n)
{
    Batch<T> lanes(T(0));
    T rest = 0;
    each<T>(n, [&](std::size_t i, auto v) {
        if constexpr (std::is_same_v<decltype(v), T>)
            rest += x[i];
        else
            lanes += load(x + i, v);
    });
    return (xsimd::hadd(lanes) + rest) / static_cast<T>(n);
}
template <class T>
void log_xsimd(const T* in, std::size_t n, T* out, T offset)
{
    each<T>(n, [=](std::size_t i, auto v) {
        using std::log10;
        using std::max;
        using xsimd::log10;
        using xsimd::max;
        using V = decltype(v);
        const V floored = max(load(in + i, v), V(std::numeric_limits<T>::min()));
        store(out + i, log10(floored) * V(T(10)) - V(offset));
    });
}
template <class T>
void fir_step_xsimd(const T* re, const T* im, const T* taps, std::size_t n, T* out_re, T* out_im)
{
    Batch<T> lanes_re(T(0));
    Batch<T> lanes_im(T(0));
    T rest_re = 0;
    T rest_im = 0;
    each<T>(n, [&](std::size_t i, auto v) {
        if constexpr (std::is_same_v<decltype(v), T>) {
            rest_re += re[i] * taps[i];
            rest_im += im[i] * taps[i];
        } else {
            lanes_re += load(re + i, v) * load(taps + i, v);
            lanes_im += load(im + i, v) * load(taps + i, v);
        }
    });
    *out_re = xsimd::hadd(lanes_re) + rest_re;
    *out_im = xsimd::hadd(lanes_im) + rest_im;
}
float vfilter2_xsimd(const float* x, const float* w, std::size_t n, float c)
{
    Batch<float> num(0.0F);
    Batch<float> den(0.0F);
    float rest_num = 0;
    float rest_den = 0;
    each<float>(n, [&](std::size_t i, auto v) {
        using std::exp;
        using xsimd::exp;
        using V = decltype(v);
        const V value = load(x + i, v);
        const V d = (value - V(c)) * V(0.15F);
        const V g = exp(-d * d) * load(w + i, v);
        if constexpr (std::is_same_v<V, float>) {
            rest_num += value * g;
            rest_den += g;
        } else {
            num += value * g;
            den += g;
        }
    });
    return (xsimd::hadd(num) + rest_num) / (xsimd::hadd(den) + rest_den);
}

} // namespace

PeerList xsimd_peers()
{
    const char* const own = "xsimd";
    const Tolerance same{};
    const Tolerance sums{.units = 16, .root_n = 4};
    const char* const nan = "NaN and signed zeros by the processor's maximum";
    const char* const order = "sums in an order of its own";
#define ROW(kernel, function, calls, difference, tolerance)                                        \
    BENCH_PEER(kernel, own, function, calls, difference, tolerance, Needs::avx2)
    static const Peer rows[] = {
        ROW(mult_f32, mult_xsimd<float>, "*", "", same),
        ROW(mult_f64, mult_xsimd<double>, "*", "", same),
        ROW(mult_add_f32, mult_add_xsimd, "*, +", "", same),
        ROW(max_array_f32, max_array_xsimd<float>, "max", nan, same),
        ROW(max_array_f64, max_array_xsimd<double>, "max", nan, same),
        ROW(iir1_f32, iir1_xsimd<float>, "-, *, +", "", same),
        ROW(iir1_f64, iir1_xsimd<double>, "-, *, +", "", same),
        ROW(avg_f32, avg_xsimd<float>, "+, hadd", order, sums),
        ROW(avg_f64, avg_xsimd<double>, "+, hadd", order, sums),
        ROW(spec_log_f32, log_xsimd<float>, "max, log10", "logarithm of its own",
            (Tolerance{.absolute = 4e-5})),
        ROW(spec_log_f64, log_xsimd<double>, "max, log10", "logarithm of its own",
            (Tolerance{.absolute = 1e-12})),
        ROW(fir_step_c32, fir_step_xsimd<float>, "*, +, hadd", order, sums),
        ROW(fir_step_c64, fir_step_xsimd<double>, "*, +, hadd", order, sums),
        ROW(vfilter2_chunk, vfilter2_xsimd, "exp, *, +, hadd", order,
            (Tolerance{.units = 64, .root_n = 4})),
    };
    return {rows, std::size(rows)};
#undef ROW
}

} // namespace bench
