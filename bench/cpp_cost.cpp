// bench/cpp_cost.cpp: what a call through libsimd.hpp costs beyond the kernel's own, at 64 and at 4096
// elements, on aligned arrays.
//
//     cpp_cost [ROUNDS]    a row for each function; both calls in turn, the least of each
//
// Where the kernel may not be called so, or its result is not what the function returns (fft_abs of
// floats), the row is marked: there the difference is the price of the right result.
#include "libsimd.hpp"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <limits>

namespace {

// Read anew at every call, as a host's arrays are.
void forget() { asm volatile("" ::: "memory"); }

template <class Call>
double nanoseconds(Call call, int calls)
{
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < calls; ++i) {
        call();
        forget();
    }
    const std::chrono::duration<double, std::nano> spent = std::chrono::steady_clock::now() - start;
    return spent.count() / calls;
}

struct Worst {
    double nanoseconds = 0, percent = 0;
} worst;

template <class Raw, class Wrapped>
void row(const char* name, std::size_t n, int rounds, Raw raw, Wrapped wrapped, bool alike = true)
{
    // as many calls as fill some 20 microseconds
    const double guess = nanoseconds(raw, 20);
    const int calls = std::clamp(static_cast<int>(20000 / guess), 4, 4000);
    double least[2] = {std::numeric_limits<double>::max(), std::numeric_limits<double>::max()};
    for (int i = 0; i < rounds; ++i) {
        least[0] = std::min(least[0], nanoseconds(raw, calls));
        least[1] = std::min(least[1], nanoseconds(wrapped, calls));
    }
    const double more = least[1] - least[0], percent = 100 * more / least[0];
    std::printf("%-20s %5zu %10.2f %10.2f %+8.2f ns %+7.2f %%%s\n", name, n, least[0], least[1],
                more, percent, alike ? "" : "  (not the kernel's result)");
    if (alike && n == 64)
        worst.nanoseconds = std::max(worst.nanoseconds, more);
    if (alike && n == 4096)
        worst.percent = std::max(worst.percent, percent);
}

template <class T>
struct Arrays {
    simd::aligned_vector<T> a, b, c, d, twice;
    explicit Arrays(std::size_t n) : a(n, 2), b(n, 1), c(n, 1), d(n, 1), twice(2 * n, 1)
    {
        for (std::size_t i = 0; i < n; ++i)
            a[i] = static_cast<T>(i % 50 + 1);
    }
};

double sink_f64;
float sink_f32;
unsigned sink;

template <class T>
void keep(T value)
{
    if constexpr (std::is_same_v<T, float>)
        sink_f32 = value;
    else if constexpr (std::is_same_v<T, double>)
        sink_f64 = value;
    else
        sink = static_cast<unsigned>(value);
}

// row("name", raw call, call): each without its semicolon.
#define ROW(name, raw_call, call)                                                                  \
    row(                                                                                           \
        #name, n, rounds, [&] { raw_call; }, [&] { call; })

void all(std::size_t n, int rounds)
{
    using namespace simd::raw;
    Arrays<float> f(n);
    Arrays<double> d(n);
    Arrays<std::int16_t> s(n);
    Arrays<std::uint8_t> b(n);
    Arrays<std::uint16_t> u(n);
    Arrays<std::uint32_t> w(n);
    float x1, x2, x3;
    double y1, y2, y3;
    std::int16_t s1, s2;
    std::int64_t pos = 0;
    simd::aligned_vector<double> taps(15, 0.1), re(15), im(15);
    simd::aligned_vector<float> taps_f32(15, 0.1F);

    ROW(fill_f32, fill_f32(f.a.data(), n, 1), simd::fill(f.a, 1));
    ROW(memcpy_fast, ::memcpy_fast(f.a.data(), f.b.data(), 4 * n), simd::memcpy_fast(f.a, f.b));
    ROW(swap_words_u32, swap_words_u32(w.a.data(), n, w.b.data()), simd::swap_words(w.a, w.b));
    ROW(pack_f32_u8, (pack_f32_u8(f.a.data(), n, b.a.data(), &x1, &x2), keep(x1)),
        keep(simd::pack_u8(f.a, b.a).step));
    ROW(pack_f32_s16, (pack_f32_s16(f.a.data(), n, s.a.data(), &x1, &x2), keep(x1)),
        keep(simd::pack_s16(f.a, s.a).step));
    ROW(pack_f64_u8, (pack_f64_u8(d.a.data(), n, b.a.data(), &y1, &y2), keep(y1)),
        keep(simd::pack_u8(d.a, b.a).step));
    ROW(pack_f64_s16, (pack_f64_s16(d.a.data(), n, s.a.data(), &y1, &y2), keep(y1)),
        keep(simd::pack_s16(d.a, s.a).step));
    ROW(pack_f64_u16, (pack_f64_u16(d.a.data(), n, u.a.data(), &y1, &y2), keep(y1)),
        keep(simd::pack_u16(d.a, u.a).step));
    ROW(unpack_u8_f32, unpack_u8_f32(b.a.data(), n, f.b.data(), 1, 2),
        simd::unpack_u8(b.a, f.b, 1, 2));
    ROW(unpack_s16_f32, unpack_s16_f32(s.a.data(), n, f.b.data(), 1, 2),
        simd::unpack_s16(s.a, f.b, 1, 2));
    ROW(unpack_u8_f64, unpack_u8_f64(b.a.data(), n, d.b.data(), 1, 2),
        simd::unpack_u8(b.a, d.b, 1, 2));
    ROW(unpack_s16_f64, unpack_s16_f64(s.a.data(), n, d.b.data(), 1, 2),
        simd::unpack_s16(s.a, d.b, 1, 2));
    ROW(unpack_u16_f64, unpack_u16_f64(u.a.data(), n, d.b.data(), 1, 2),
        simd::unpack_u16(u.a, d.b, 1, 2));
    ROW(unpack_alt_s16_f64, unpack_alt_s16_f64(s.twice.data(), n, d.a.data(), d.b.data(), 1, 2),
        simd::unpack_alt_s16(s.twice, d.a, d.b, 1, 2));
    ROW(unpack_cmb_s16_f64, unpack_cmb_s16_f64(s.a.data(), s.b.data(), n, d.twice.data(), 1, 2),
        simd::unpack_cmb_s16(s.a, s.b, d.twice, 1, 2));
    ROW(min_u8, keep(min_u8(b.a.data(), n)), keep(simd::min(b.a)));
    ROW(max_u8, keep(max_u8(b.a.data(), n)), keep(simd::max(b.a)));
    ROW(min_s16, keep(min_s16(s.a.data(), n)), keep(simd::min(s.a)));
    ROW(max_s16, keep(max_s16(s.a.data(), n)), keep(simd::max(s.a)));
    ROW(minmax_s16, (minmax_s16(s.a.data(), n, &s1, &s2), keep(s1)), keep(simd::minmax(s.a).min));
    ROW(min_f32, keep(min_f32(f.a.data(), n)), keep(simd::min(f.a)));
    ROW(max_f32, keep(max_f32(f.a.data(), n)), keep(simd::max(f.a)));
    ROW(minmax_f32, (minmax_f32(f.a.data(), n, &x1, &x2), keep(x1)), keep(simd::minmax(f.a).min));
    ROW(min_f64, keep(min_f64(d.a.data(), n)), keep(simd::min(d.a)));
    ROW(max_f64, keep(max_f64(d.a.data(), n)), keep(simd::max(d.a)));
    ROW(minmax_f64, (minmax_f64(d.a.data(), n, &y1, &y2), keep(y1)), keep(simd::minmax(d.a).min));
    ROW(avg_f32, keep(avg_f32(f.a.data(), n)), keep(simd::avg(f.a)));
    ROW(avg_f64, keep(avg_f64(d.a.data(), n)), keep(simd::avg(d.a)));
    ROW(avg_lvl_f32, keep(avg_lvl_f32(f.a.data(), n, 9)), keep(simd::avg_lvl(f.a, 9)));
    ROW(avg_lvl_f64, keep(avg_lvl_f64(d.a.data(), n, 9)), keep(simd::avg_lvl(d.a, 9)));
    ROW(avg_abs_s16, keep(avg_abs_s16(s.a.data(), n)), keep(simd::avg_abs(s.a)));
    ROW(minmaxmed_f32, (minmaxmed_f32(f.a.data(), n, &x1, &x2, &x3), keep(x3)),
        keep(simd::minmaxmed(f.a).mean));
    ROW(minmaxmed_f64, (minmaxmed_f64(d.a.data(), n, &y1, &y2, &y3), keep(y3)),
        keep(simd::minmaxmed(d.a).mean));
    ROW(max_array_f32, max_array_f32(f.a.data(), f.b.data(), n), simd::max_array(f.a, f.b));
    ROW(max_array_f64, max_array_f64(d.a.data(), d.b.data(), n), simd::max_array(d.a, d.b));
    ROW(mult_f32, mult_f32(f.d.data(), f.a.data(), f.b.data(), n), simd::mult(f.d, f.a, f.b));
    ROW(mult_f64, mult_f64(d.d.data(), d.a.data(), d.b.data(), n), simd::mult(d.d, d.a, d.b));
    ROW(mult_add_f32, mult_add_f32(f.d.data(), n, 1, 0), simd::mult_add(f.d, 1, 0));
    ROW(mix_f64, mix_f64(d.a.data(), d.b.data(), n, d.twice.data()), simd::mix(d.a, d.b, d.twice));
    row(
        "fft_abs_f32", n, rounds, [&] { fft_abs_f32(f.twice.data(), n, f.d.data()); },
        [&] { simd::fft_abs(f.twice, f.d); }, false);
    ROW(fft_abs_f64, fft_abs_f64(d.twice.data(), n, d.d.data()), simd::fft_abs(d.twice, d.d));
    ROW(spec_log_f32, spec_log_f32(f.a.data(), n, f.d.data(), 3), simd::spec_log(f.a, f.d, 3));
    ROW(spec_log_f64, spec_log_f64(d.a.data(), n, d.d.data(), 3), simd::spec_log(d.a, d.d, 3));
    ROW(fir_step_c32, (fir_step_c32(f.a.data(), f.b.data(), f.c.data(), n, &x1, &x2), keep(x1)),
        keep(simd::fir_step(f.a, f.b, f.c).re));
    ROW(fir_step_c64, (fir_step_c64(d.a.data(), d.b.data(), d.c.data(), n, &y1, &y2), keep(y1)),
        keep(simd::fir_step(d.a, d.b, d.c).re));
    ROW(fir_c16_alt,
        fir_c16_alt(s.twice.data(), n, taps.data(), 14, &pos, re.data(), im.data(), d.twice.data(),
                    1, 0),
        simd::fir_alt(s.twice, taps, pos, re, im, d.twice, 1, 0));
    ROW(fir_c32_alt,
        fir_c32_alt(f.twice.data(), n, taps.data(), 14, &pos, re.data(), im.data(), d.twice.data()),
        simd::fir_alt(f.twice, taps, pos, re, im, d.twice));
    simd::aligned_vector<double> out(2 * n);
    ROW(fir_c64_alt,
        fir_c64_alt(d.twice.data(), n, taps.data(), 14, &pos, re.data(), im.data(), out.data()),
        simd::fir_alt(d.twice, taps, pos, re, im, out));
    ROW(iir1_f32, iir1_f32(f.a.data(), n, f.d.data(), 0.5F), simd::iir1(f.a, f.d, 0.5F));
    ROW(iir1_f64, iir1_f64(d.a.data(), n, d.d.data(), 0.5), simd::iir1(d.a, d.d, 0.5));
    const int count = static_cast<int>(n);
    ROW(vfilter_f32, vfilter_f32(f.a.data(), count, taps_f32.data(), 15, f.d.data()),
        simd::vfilter(f.a, taps_f32, f.d));
    ROW(vfilter_f64, vfilter_f64(d.a.data(), count, taps.data(), 15, d.d.data()),
        simd::vfilter(d.a, taps, d.d));
    ROW(vfilter2_chunk, keep(::vfilter2_chunk(f.a.data(), f.b.data(), n, 9)),
        keep(simd::vfilter2_chunk(f.a, f.b, 9)));
}

} // namespace

int main(int argc, char** argv)
try {
    const int rounds = argc > 1 ? std::atoi(argv[1]) : 200;
    std::printf("%-20s %5s %10s %10s\n", "ns per call", "n", "kernel", "simd::");
    all(64, rounds);
    all(4096, rounds);
    std::printf("most beyond the kernel: %.2f ns at 64 elements, %.2f %% at 4096\n",
                worst.nanoseconds, worst.percent);
} catch (const std::exception& e) {
    std::fprintf(stderr, "cpp_cost: %s\n", e.what());
    return 1;
}
