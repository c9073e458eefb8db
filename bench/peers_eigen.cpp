// Eigen: expressions over mapped arrays, compiled for AVX2.
#include "bench/peers.h"
#include "libsimd.h"

#include <Eigen/Core>
#include <complex>

namespace bench {
namespace {

template <class T>
using Values = Eigen::Map<Eigen::Array<T, Eigen::Dynamic, 1>>;
template <class T>
using Constants = Eigen::Map<const Eigen::Array<T, Eigen::Dynamic, 1>>;

Eigen::Index count(std::size_t n) { return static_cast<Eigen::Index>(n); }

template <class T>
Constants<T> of(const T* p, std::size_t n)
{
    return {p, count(n)};
}
template <class T>
Values<T> into(T* p, std::size_t n)
{
    return {p, count(n)};
}

void fill_eigen(float* dst, std::size_t n, float value) { into(dst, n).setConstant(value); }

template <class T>
void mult_eigen(T* dst, const T* a, const T* b, std::size_t n)
{
    into(dst, n) = of(a, n) * of(b, n);
}
void mult_add_eigen(float* x, std::size_t n, float scale, float offset)
{
    into(x, n) = into(x, n) * scale + offset;
}
template <class T>
void max_array_eigen(T* dst, const T* src, std::size_t n)
{
    into(dst, n) = into(dst, n).max(of(src, n));
}
template <class T>
void iir1_eigen(const T* x, std::size_t n, T* y, T a)
{
    into(y, n) += (of(x, n) - into(y, n)) * a;
}

template <class T>
T min_eigen(const T* p, std::size_t n)
{
    return of(p, n).minCoeff();
}
template <class T>
T max_eigen(const T* p, std::size_t n)
{
    return of(p, n).maxCoeff();
}
template <class T>
void minmax_eigen(const T* p, std::size_t n, T* min, T* max)
{
    *min = min_eigen(p, n);
    *max = max_eigen(p, n);
}
template <class T>
void minmaxmed_eigen(const T* p, std::size_t n, T* min, T* max, T* mean)
{
    minmax_eigen(p, n, min, max);
    *mean = of(p, n).mean();
}
template <class T>
T avg_eigen(const T* x, std::size_t n)
{
    return of(x, n).mean();
}
template <class T>
T avg_lvl_eigen(const T* x, std::size_t n, T level)
{
    const auto below = of(x, n) <= level;
    const Eigen::Index found = below.count();
    return found == 0 ? T(0) : below.select(of(x, n), T(0)).sum() / static_cast<T>(found);
}

template <class S, class T>
void unpack_eigen(const S* src, std::size_t n, T* dst, T step, T offset)
{
    into(dst, n) = of(src, n).template cast<T>() * step + offset;
}
template <class T, class S, int codes, bool centred>
void pack_eigen(const T* src, std::size_t n, S* dst, T* step, T* offset)
{
    T low;
    T high;
    minmax_eigen(src, n, &low, &high);
    *step = (high - low) / T(codes);
    *offset = centred ? ((low + high) + *step) * T(0.5) : low;
    into(dst, n) =
        ((of(src, n) - *offset) * (T(1) / *step)).template cast<int>().template cast<S>();
}

template <class T>
void power_eigen(const T* in, std::size_t n, T* out)
{
    const auto* x = reinterpret_cast<const std::complex<T>*>(in);
    into(out + n / 2, n / 2) = of(x, n / 2).abs2();
    into(out, n / 2) = of(x + n / 2, n / 2).abs2();
}
template <class T>
void log_eigen(const T* in, std::size_t n, T* out, T offset)
{
    into(out, n) = of(in, n).max(std::numeric_limits<T>::min()).log10() * T(10) - offset;
}
void mix_eigen(const double* re, const double* im, std::size_t n, double* out)
{
    Eigen::Map<Eigen::Array<double, 2, Eigen::Dynamic>> pairs(out, 2, count(n));
    pairs.row(0) = of(re, n).transpose();
    pairs.row(1) = of(im, n).transpose();
}
template <class T>
void fir_step_eigen(const T* re, const T* im, const T* taps, std::size_t n, T* out_re, T* out_im)
{
    *out_re = (of(re, n) * of(taps, n)).sum();
    *out_im = (of(im, n) * of(taps, n)).sum();
}
float vfilter2_eigen(const float* x, const float* w, std::size_t n, float c)
{
    const auto d = (of(x, n) - c) * 0.15F;
    const auto g = (-d * d).exp() * of(w, n);
    return (of(x, n) * g).sum() / g.sum();
}

} // namespace

PeerList eigen_peers()
{
    const char* const own = "Eigen";
    const Tolerance same{};
    const Tolerance sums{.units = 16, .root_n = 4};
    const Tolerance code{.units = 8, .codes = 1};
    const char* const nan = "NaN and signed zeros unspecified";
    const char* const order = "sums in an order of its own";
#define ROW(kernel, function, calls, difference, tolerance)                                        \
    BENCH_PEER(kernel, own, function, calls, difference, tolerance, Needs::avx2)
    static const Peer rows[] = {
        ROW(fill_f32, fill_eigen, "setConstant", "", same),
        ROW(pack_f32_u8, (pack_eigen<float, std::uint8_t, 255, false>), "minCoeff, maxCoeff, cast",
            "three passes; truncates; clamps nothing", code),
        ROW(pack_f32_s16, (pack_eigen<float, std::int16_t, 65535, true>),
            "minCoeff, maxCoeff, cast", "three passes; truncates; clamps nothing", code),
        ROW(pack_f64_s16, (pack_eigen<double, std::int16_t, 65535, true>),
            "minCoeff, maxCoeff, cast", "three passes; truncates; clamps nothing", code),
        ROW(unpack_u8_f32, (unpack_eigen<std::uint8_t, float>), "cast, *, +", "", same),
        ROW(unpack_s16_f32, (unpack_eigen<std::int16_t, float>), "cast, *, +", "", same),
        ROW(unpack_s16_f64, (unpack_eigen<std::int16_t, double>), "cast, *, +", "", same),
        ROW(min_s16, min_eigen<std::int16_t>, "minCoeff", "", same),
        ROW(max_s16, max_eigen<std::int16_t>, "maxCoeff", "", same),
        ROW(min_f32, min_eigen<float>, "minCoeff", nan, same),
        ROW(max_f32, max_eigen<float>, "maxCoeff", nan, same),
        ROW(minmax_f32, minmax_eigen<float>, "minCoeff, maxCoeff", "two passes", same),
        ROW(min_f64, min_eigen<double>, "minCoeff", nan, same),
        ROW(max_f64, max_eigen<double>, "maxCoeff", nan, same),
        ROW(minmax_f64, minmax_eigen<double>, "minCoeff, maxCoeff", "two passes", same),
        ROW(avg_f32, avg_eigen<float>, "mean", order, sums),
        ROW(avg_f64, avg_eigen<double>, "mean", order, sums),
        ROW(avg_lvl_f32, avg_lvl_eigen<float>, "count, select, sum", "two passes", sums),
        ROW(avg_lvl_f64, avg_lvl_eigen<double>, "count, select, sum", "two passes", sums),
        ROW(minmaxmed_f32, minmaxmed_eigen<float>, "minCoeff, maxCoeff, mean", "three passes",
            sums),
        ROW(minmaxmed_f64, minmaxmed_eigen<double>, "minCoeff, maxCoeff, mean", "three passes",
            sums),
        ROW(max_array_f32, max_array_eigen<float>, "max", nan, same),
        ROW(max_array_f64, max_array_eigen<double>, "max", nan, same),
        ROW(mult_f32, mult_eigen<float>, "*", "", same),
        ROW(mult_f64, mult_eigen<double>, "*", "", same),
        ROW(mult_add_f32, mult_add_eigen, "*, +", "", same),
        ROW(mix_f64, mix_eigen, "two strided rows", "two passes", same),
        ROW(fft_abs_f32, power_eigen<float>, "abs2",
            "true powers at every level, where ours are irregular", (Tolerance{.units = 4})),
        ROW(fft_abs_f64, power_eigen<double>, "abs2", "", (Tolerance{.units = 4})),
        ROW(spec_log_f32, log_eigen<float>, "max, log10", "logarithm of its own",
            (Tolerance{.absolute = 4e-5})),
        ROW(spec_log_f64, log_eigen<double>, "max, log10", "logarithm of its own",
            (Tolerance{.absolute = 1e-12})),
        ROW(fir_step_c32, fir_step_eigen<float>, "*, sum (twice)", order, sums),
        ROW(fir_step_c64, fir_step_eigen<double>, "*, sum (twice)", order, sums),
        ROW(iir1_f32, iir1_eigen<float>, "-, *, +=", "", same),
        ROW(iir1_f64, iir1_eigen<double>, "-, *, +=", "", same),
        ROW(vfilter2_chunk, vfilter2_eigen, "exp, *, sum (twice)",
            "the exponential is computed twice; sums in an order of its own",
            (Tolerance{.units = 64, .root_n = 4})),
    };
    return {rows, std::size(rows)};
#undef ROW
}

} // namespace bench
