// Highway: its own Dot, Log10 and Exp, and the loop of its manual, compiled for AVX2 without fused
// products, as the variants beside it.
#include "bench/peers.h"
#include "libsimd.h"

#include <cmath>
#include <hwy/contrib/dot/dot-inl.h>
#include <hwy/contrib/math/math-inl.h>
#include <hwy/highway.h>
#include <limits>

namespace bench {
namespace {

namespace hn = hwy::HWY_NAMESPACE;

template <class T, class F, class G>
void each(std::size_t n, F vector, G single)
{
    const std::size_t lanes = hn::Lanes(hn::ScalableTag<T>());
    std::size_t i = 0;
    for (; i + lanes <= n; i += lanes)
        vector(i);
    for (; i < n; ++i)
        single(i);
}

template <class T>
void mult_highway(T* dst, const T* a, const T* b, std::size_t n)
{
    const hn::ScalableTag<T> d;
    each<T>(
        n,
        [=](std::size_t i) {
            hn::StoreU(hn::Mul(hn::LoadU(d, a + i), hn::LoadU(d, b + i)), d, dst + i);
        },
        [=](std::size_t i) { dst[i] = a[i] * b[i]; });
}
template <class T>
void max_array_highway(T* dst, const T* src, std::size_t n)
{
    const hn::ScalableTag<T> d;
    each<T>(
        n,
        [=](std::size_t i) {
            hn::StoreU(hn::Max(hn::LoadU(d, dst + i), hn::LoadU(d, src + i)), d, dst + i);
        },
        [=](std::size_t i) { dst[i] = src[i] > dst[i] ? src[i] : dst[i]; });
}
void swap_words_highway(const std::uint32_t* src, std::size_t n, std::uint32_t* dst)
{
    const hn::ScalableTag<std::uint32_t> d;
    each<std::uint32_t>(
        n,
        [=](std::size_t i) { hn::StoreU(hn::RotateRight<16>(hn::LoadU(d, src + i)), d, dst + i); },
        [=](std::size_t i) { dst[i] = src[i] << 16 | src[i] >> 16; });
}
void mix_highway(const double* re, const double* im, std::size_t n, double* out)
{
    const hn::ScalableTag<double> d;
    each<double>(
        n,
        [=](std::size_t i) {
            hn::StoreInterleaved2(hn::LoadU(d, re + i), hn::LoadU(d, im + i), d, out + 2 * i);
        },
        [=](std::size_t i) {
            out[2 * i] = re[i];
            out[2 * i + 1] = im[i];
        });
}
template <class T>
void log_highway(const T* in, std::size_t n, T* out, T offset)
{
    const hn::ScalableTag<T> d;
    const auto floor = hn::Set(d, std::numeric_limits<T>::min());
    const auto ten = hn::Set(d, T(10));
    const auto down = hn::Set(d, offset);
    each<T>(
        n,
        [&](std::size_t i) {
            const auto v = hn::Log10(d, hn::Max(hn::LoadU(d, in + i), floor));
            hn::StoreU(hn::Sub(hn::Mul(v, ten), down), d, out + i);
        },
        [&](std::size_t i) {
            out[i] = std::log10(std::fmax(in[i], std::numeric_limits<T>::min())) * T(10) - offset;
        });
}
template <class T>
void fir_step_highway(const T* re, const T* im, const T* taps, std::size_t n, T* out_re, T* out_im)
{
    const hn::ScalableTag<T> d;
    *out_re = hn::Dot::Compute<0>(d, re, taps, n);
    *out_im = hn::Dot::Compute<0>(d, im, taps, n);
}
float vfilter2_highway(const float* x, const float* w, std::size_t n, float c)
{
    const hn::ScalableTag<float> d;
    const auto centre = hn::Set(d, c);
    const auto width = hn::Set(d, 0.15F);
    auto num = hn::Zero(d);
    auto den = hn::Zero(d);
    float rest_num = 0;
    float rest_den = 0;
    each<float>(
        n,
        [&](std::size_t i) {
            const auto value = hn::LoadU(d, x + i);
            const auto far = hn::Mul(hn::Sub(value, centre), width);
            const auto g = hn::Mul(hn::Exp(d, hn::Neg(hn::Mul(far, far))), hn::LoadU(d, w + i));
            num = hn::Add(num, hn::Mul(value, g));
            den = hn::Add(den, g);
        },
        [&](std::size_t i) {
            const float far = (x[i] - c) * 0.15F;
            const float g = std::exp(-far * far) * w[i];
            rest_num += x[i] * g;
            rest_den += g;
        });
    return (hn::GetLane(hn::SumOfLanes(d, num)) + rest_num) /
           (hn::GetLane(hn::SumOfLanes(d, den)) + rest_den);
}

} // namespace

PeerList highway_peers()
{
    const char* const own = "Highway";
    const Tolerance same{};
    const Tolerance sums{.units = 16, .root_n = 4};
    const char* const nan = "NaN and signed zeros by the processor's maximum";
#define ROW(kernel, function, calls, difference, tolerance)                                        \
    BENCH_PEER(kernel, own, function, calls, difference, tolerance, Needs::avx2)
    static const Peer rows[] = {
        ROW(swap_words_u32, swap_words_highway, "RotateRight", "complete tail", same),
        ROW(mult_f32, mult_highway<float>, "Mul", "", same),
        ROW(mult_f64, mult_highway<double>, "Mul", "", same),
        ROW(max_array_f32, max_array_highway<float>, "Max", nan, same),
        ROW(max_array_f64, max_array_highway<double>, "Max", nan, same),
        ROW(mix_f64, mix_highway, "StoreInterleaved2", "", same),
        ROW(spec_log_f32, log_highway<float>, "Max, Log10", "logarithm of its own",
            (Tolerance{.absolute = 4e-5})),
        ROW(spec_log_f64, log_highway<double>, "Max, Log10", "logarithm of its own",
            (Tolerance{.absolute = 1e-12})),
        ROW(fir_step_c32, fir_step_highway<float>, "Dot (twice)",
            "four accumulators; two passes over the taps", sums),
        ROW(fir_step_c64, fir_step_highway<double>, "Dot (twice)",
            "four accumulators; two passes over the taps", sums),
        ROW(vfilter2_chunk, vfilter2_highway, "Exp, Mul, Add, SumOfLanes",
            "sums in an order of its own", (Tolerance{.units = 64, .root_n = 4})),
    };
    return {rows, std::size(rows)};
#undef ROW
}

} // namespace bench
