// tests/cpp/spectrum_test.cpp: products, power and decibels of libsimd.hpp. Where the kernel works and is
// regular, its bits; elsewhere what the header promises, by plain loops.
#include "cpp/places.h"

#include <algorithm>

namespace {

using namespace cpp;
using enum Level;

template <class T, class Fn>
void products(Fn*& entry, std::initializer_list<Level> levels)
{
    Place<T> dst, a, b;
    const auto &va = values<T>(Kind::mixed), &vb = values<T>(Kind::mixed, 2);
    everywhere<T, T, T>(
        levels,
        [&](Level level, std::size_t n, Edge edge, std::size_t to, std::size_t at, std::size_t bt) {
            const auto d = dst.at(n, to, edge), x = a.at(n, at, edge), y = b.at(n, bt, edge);
            take(x, va);
            take(y, vb);
            entry(d.data(), x.data(), y.data(), n);
            const auto want = dst.copy();
            std::fill(d.begin(), d.end(), T(77));
            simd::mult(d, x, y);
            ASSERT_TRUE(same<T>(want, d) && dst.intact() && a.intact() && b.intact())
                << where(level, n, to, at, bt);
        },
        sizeof(T) == 4 ? 150 : longest);
}

TEST(Cpp, mult_f32) { products<float>(mult_f32, {base, sse, avx}); }
TEST(Cpp, mult_f64) { products<double>(mult_f64, {base, sse2, avx}); }

template <class T>
void products_in_place(std::initializer_list<Level> levels)
{
    Place<T> a, b;
    everywhere<T, T>(levels,
                     [&](Level level, std::size_t n, Edge edge, std::size_t at, std::size_t bt) {
                         const auto x = a.at(n, at, edge), y = b.at(n, bt, edge);
                         take(x, values<T>(Kind::ordinary));
                         take(y, values<T>(Kind::ordinary, 2));
                         std::vector<T> want(n);
                         for (std::size_t i = 0; i < n; ++i)
                             want[i] = x[i] * y[i];
                         simd::mult(x, x, y);
                         ASSERT_TRUE(same<T>(want, x) && a.intact()) << where(level, n, at, bt);
                         take(x, values<T>(Kind::ordinary));
                         simd::mult(y, x, y);
                         ASSERT_TRUE(same<T>(want, y) && b.intact()) << where(level, n, at, bt);
                         for (std::size_t i = 0; i < n; ++i)
                             want[i] = x[i] * x[i];
                         simd::mult(x, x, x);
                         ASSERT_TRUE(same<T>(want, x)) << where(level, n, at, bt);
                     });
}

TEST(Cpp, mult_f32_in_place) { products_in_place<float>({base, sse, avx}); }
TEST(Cpp, mult_f64_in_place) { products_in_place<double>({base, sse2, avx}); }

TEST(Cpp, mult_add)
{
    Place<float> place;
    everywhere<float>({base, sse, avx}, [&](Level level, std::size_t n, Edge edge, std::size_t at) {
        const auto x = place.at(n, at, edge);
        take(x, values<float>(Kind::mixed));
        auto want = place.copy();
        for (float& value : want)
            value = model::add(model::mul(value, 1.7F), 0.3F);
        simd::mult_add(x, 1.7F, 0.3F);
        ASSERT_TRUE(same<float>(want, x) && place.intact()) << where(level, n, at);
    });
}

TEST(Cpp, mix)
{
    Place<double> re, im, out;
    everywhere<double, double, double>(
        {base, sse2, avx},
        [&](Level level, std::size_t n, Edge edge, std::size_t at, std::size_t bt, std::size_t to) {
            const auto r = re.at(n, at, edge), i = im.at(n, bt, edge), o = out.at(2 * n, to, edge);
            take(r, values<double>(Kind::mixed));
            take(i, values<double>(Kind::mixed, 2));
            std::vector<double> want(2 * n);
            for (std::size_t k = 0; k < 2 * n; ++k)
                std::memcpy(&want[k], k % 2 == 0 ? &r[k / 2] : &i[k / 2], sizeof(double));
            std::fill(o.begin(), o.end(), 77.0);
            simd::mix(r, i, o);
            ASSERT_TRUE(same<double>(want, o) && re.intact() && im.intact() && out.intact())
                << where(level, n, at, bt, to);
        });
}

template <class T>
void powers(std::initializer_list<Level> levels)
{
    Place<T> in, out;
    for (const Kind kind : {Kind::ordinary, Kind::mixed})
        everywhere<T, T>(
            levels, [&](Level level, std::size_t n, Edge edge, std::size_t from, std::size_t to) {
                const auto z = in.at(2 * n, from, edge), o = out.at(n, to, edge);
                take(z, values<T>(kind));
                std::fill(o.begin(), o.end(), T(77));
                auto want = out.copy();
                const std::size_t h = n / 2;
                for (std::size_t k = 0; k < 2 * h; ++k)
                    want[(k + h) % (2 * h)] = model::add(model::mul(z[2 * k], z[2 * k]),
                                                         model::mul(z[2 * k + 1], z[2 * k + 1]));
                simd::fft_abs(z, o);
                for (std::size_t k = 0; k < n; ++k) // of two NaN parts any may be left
                    ASSERT_TRUE(rig::same_bits(want[k], o[k]) ||
                                (std::isnan(want[k]) && std::isnan(o[k])))
                        << where(level, n, from, to) << ", bin " << k;
                ASSERT_TRUE(in.intact() && out.intact()) << where(level, n, from, to);
            });
}

TEST(Cpp, fft_abs_f32) { powers<float>({base, sse, avx}); }
TEST(Cpp, fft_abs_f64) { powers<double>({base, sse2, sse3, avx}); }

TEST(Cpp, fft_abs_longer_than_a_buffer)
{
    for (const Level level : {base, sse2, avx}) {
        install(level);
        std::vector<std::complex<float>> z(4102);
        for (std::size_t k = 0; k < z.size(); ++k)
            z[k] = {static_cast<float>(k % 97), static_cast<float>(k % 89)};
        std::vector<float> out(z.size());
        simd::fft_abs(simd::parts(z), out);
        for (std::size_t k = 0; k < z.size(); ++k)
            ASSERT_EQ(out[(k + z.size() / 2) % z.size()], std::norm(z[k])) << k;
    }
}

/// What a block of spec_log_f32 makes of one value: a call of the installed variant above its threshold.
float block_decibels(float value, float offset)
{
    alignas(32) float in[32], out[32];
    std::fill_n(in, 32, value);
    spec_log_f32(in, 32, out, offset);
    return out[17];
}

TEST(Cpp, spec_log_f32)
{
    Place<float> in, out;
    auto powers = values<float>(Kind::mixed);
    for (std::size_t i = 0; i < powers.size(); i += 2)
        powers[i] = std::abs(powers[i]);
    for (const Level level : {base, sse2, avx2}) {
        install(level);
        std::vector<float> in_block(powers.size());
        for (std::size_t i = 0; i < powers.size(); ++i)
            in_block[i] = block_decibels(powers[i], 3.5F);
        const std::size_t threshold = level == sse2 ? 15 : level == avx2 ? 31 : 1000;
        const std::size_t width = level == sse2 ? 16 : 32;
        everywhere<float, float>({level}, [&](Level, std::size_t n, Edge edge, std::size_t from,
                                              std::size_t to) {
            const auto i = in.at(n, from, edge), o = out.at(n, to, edge);
            take(i, powers);
            std::vector<float> want(in_block.begin(),
                                    in_block.begin() + static_cast<std::ptrdiff_t>(n));
            if (n <= threshold || (from % width == 0 && to % width == 0 && n % (width / 4) == 0)) {
                spec_log_f32(i.data(), n, o.data(), 3.5F);
                want = out.copy();
            }
            std::fill(o.begin(), o.end(), 77.0F);
            simd::spec_log(i, o, 3.5);
            ASSERT_TRUE(same<float>(want, o) && in.intact() && out.intact())
                << where(level, n, from, to);
            simd::spec_log(i, i, 3.5);
            ASSERT_TRUE(same<float>(want, i)) << "in place, " << where(level, n, from);
        });
    }
}

TEST(Cpp, spec_log_f64)
{
    Place<double> in, out;
    everywhere<double, double>(
        {base}, [&](Level level, std::size_t n, Edge edge, std::size_t from, std::size_t to) {
            const auto i = in.at(n, from, edge), o = out.at(n, to, edge);
            take(i, values<double>(Kind::mixed));
            spec_log_f64(i.data(), n, o.data(), 3.5);
            const auto want = out.copy();
            std::fill(o.begin(), o.end(), 77.0);
            simd::spec_log(i, o, 3.5);
            ASSERT_TRUE(same<double>(want, o) && in.intact() && out.intact())
                << where(level, n, from, to);
        });
}

TEST(Cpp, spec_log_longer_than_a_buffer)
{
    for (const Level level : {sse2, avx2}) {
        install(level);
        simd::aligned_vector<float> in(2020), out(2021);
        for (std::size_t i = 0; i < in.size(); ++i)
            in[i] = static_cast<float>(i + 1);
        simd::spec_log(in, std::span(out).subspan(1), 0); // differently aligned
        for (std::size_t i = 0; i < in.size(); ++i)
            ASSERT_TRUE(rig::same_bits(block_decibels(in[i], 0), out[i + 1])) << i;
    }
}

} // namespace
