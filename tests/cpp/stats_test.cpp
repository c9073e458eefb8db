// tests/cpp/stats_test.cpp: the statistics of libsimd.hpp. Where the kernel is regular, its bits; elsewhere
// what the header promises, by plain loops.
#include "cpp/places.h"

#include <algorithm>

namespace {

using namespace cpp;
using enum Level;

/// Whether SSE2 leaves the last double out (or, of an odd count, looks at it twice).
template <class T>
bool off_by_one(Level level, const T* x, std::size_t n, std::size_t threshold)
{
    return std::is_same_v<T, double> && level == sse2 && n > threshold && address(x) % 16 == 8;
}

/// Of one array, at every place: body(level, x, n, explanation).
template <class T, class Body>
void single(std::initializer_list<Level> levels, Kind kind, Body body)
{
    Place<T> place;
    everywhere<T>(levels, [&](Level level, std::size_t n, Edge edge, std::size_t at) {
        const auto x = place.at(n, at, edge);
        take(x, values<T>(kind));
        if (n != 0 && kind == Kind::ordinary) // extremes at every end, in turn
            x[(n + at / sizeof(T)) % 2 == 0 ? n - 1 : at / sizeof(T) % n] =
                n % 3 == 0 ? std::numeric_limits<T>::max() : std::numeric_limits<T>::lowest();
        body(level, x, n, where(level, n, at));
        ASSERT_TRUE(place.intact()) << where(level, n, at);
    });
}

template <class T>
constexpr std::array kinds_of =
    std::is_floating_point_v<T> ? std::array{Kind::ordinary, Kind::mixed, Kind::ties}
                                : std::array{Kind::ordinary, Kind::special, Kind::ties};

template <class T, class Fn>
void extremes(Fn*& min_entry, Fn*& max_entry, std::initializer_list<Level> levels)
{
    for (const Kind kind : kinds_of<T>)
        single<T>(levels, kind,
                  [&](Level level, std::span<T> x, std::size_t n, const std::string& at) {
                      if (n == 0) {
                          ASSERT_THROW(simd::min(x), simd::bad_argument) << at;
                          ASSERT_THROW(simd::max(x), simd::bad_argument) << at;
                          return;
                      }
                      T low = min_entry(x.data(), n), high = max_entry(x.data(), n);
                      if (off_by_one(level, x.data(), n, 7) && n % 2 == 0) {
                          low = min_entry(x.data(), n - 1);
                          high = max_entry(x.data(), n - 1);
                          low = x[n - 1] < low ? x[n - 1] : low;
                          high = x[n - 1] > high ? x[n - 1] : high;
                      }
                      if (std::is_same_v<T, double> && level == avx && n > 15 &&
                          address(x.data()) % 32 != 0) {
                          T head = x[0];
                          for (std::size_t i = 1; address(&x[i]) % 32 != 0; ++i)
                              head = x[i] > head ? x[i] : head;
                          high = high > head ? high : head;
                      }
                      ASSERT_TRUE(rig::same_bits(low, simd::min(x))) << at;
                      ASSERT_TRUE(rig::same_bits(high, simd::max(x))) << at;
                      if (kind != Kind::mixed) { // no NaN
                          ASSERT_EQ(simd::min(x), *std::min_element(x.begin(), x.end())) << at;
                          ASSERT_EQ(simd::max(x), *std::max_element(x.begin(), x.end())) << at;
                      }
                  });
}

TEST(Cpp, min_max_u8) { extremes<std::uint8_t>(min_u8, max_u8, {base, sse2, avx2}); }
TEST(Cpp, min_max_s16) { extremes<std::int16_t>(min_s16, max_s16, {base, sse2, avx2}); }
TEST(Cpp, min_max_f32) { extremes<float>(min_f32, max_f32, {base, sse, avx}); }
TEST(Cpp, min_max_f64) { extremes<double>(min_f64, max_f64, {base, sse2, avx}); }

template <class T, class Fn>
void both_extremes(Fn*& entry, std::initializer_list<Level> levels)
{
    for (const Kind kind : kinds_of<T>)
        single<T>(levels, kind,
                  [&](Level level, std::span<T> x, std::size_t n, const std::string& at) {
                      if (n == 0) {
                          ASSERT_THROW(simd::minmax(x), simd::bad_argument) << at;
                          return;
                      }
                      T low, high;
                      entry(x.data(), n, &low, &high);
                      if (off_by_one(level, x.data(), n, 15) && n % 2 == 0) {
                          entry(x.data(), n - 1, &low, &high);
                          low = low > x[n - 1] ? x[n - 1] : low;
                          high = x[n - 1] > high ? x[n - 1] : high;
                      }
                      const auto [min, max] = simd::minmax(x);
                      ASSERT_TRUE(rig::same_bits(low, min) && rig::same_bits(high, max)) << at;
                      if (kind != Kind::mixed) {
                          ASSERT_EQ(min, *std::min_element(x.begin(), x.end())) << at;
                          ASSERT_EQ(max, *std::max_element(x.begin(), x.end())) << at;
                      }
                  });
}

TEST(Cpp, minmax_s16) { both_extremes<std::int16_t>(minmax_s16, {base, sse2, avx2}); }
TEST(Cpp, minmax_f32) { both_extremes<float>(minmax_f32, {base, sse, avx}); }
TEST(Cpp, minmax_f64) { both_extremes<double>(minmax_f64, {base, sse2, avx}); }

template <class T, class Fn>
void summaries(Fn*& entry, std::initializer_list<Level> levels)
{
    for (const Kind kind : kinds_of<T>)
        single<T>(
            levels, kind, [&](Level level, std::span<T> x, std::size_t n, const std::string& at) {
                if (n == 0) {
                    ASSERT_THROW(simd::minmaxmed(x), simd::bad_argument) << at;
                    return;
                }
                T low, high, mean;
                entry(x.data(), n, &low, &high, &mean);
                if (off_by_one(level, x.data(), n, 15)) {
                    const auto both = simd::minmax(x); // has a test of its own
                    low = both.min;
                    high = both.max;
                    mean = x[0];
                    for (std::size_t i = 1; i < n; ++i)
                        mean = model::add(x[i], mean);
                    mean = model::div(mean, static_cast<T>(n));
                }
                const auto got = simd::minmaxmed(x);
                ASSERT_TRUE(rig::same_bits(low, got.min) && rig::same_bits(high, got.max)) << at;
                // which NaN of two is left is the compiler's choice in a plain loop
                ASSERT_TRUE(rig::same_bits(mean, got.mean) ||
                            (std::isnan(mean) && std::isnan(got.mean)))
                    << at;
            });
}

TEST(Cpp, minmaxmed_f32) { summaries<float>(minmaxmed_f32, {base, sse, avx}); }
TEST(Cpp, minmaxmed_f64) { summaries<double>(minmaxmed_f64, {base, sse2, avx}); }

template <class T, class Fn>
void means(Fn*& entry, std::initializer_list<Level> levels)
{
    for (const Kind kind : kinds_of<T>)
        single<T>(levels, kind, [&](Level, std::span<T> x, std::size_t n, const std::string& at) {
            ASSERT_TRUE(rig::same_bits(entry(x.data(), n), simd::avg(x))) << at;
        });
}

TEST(Cpp, avg_f32) { means<float>(avg_f32, {base, sse, avx}); }
TEST(Cpp, avg_f64) { means<double>(avg_f64, {base, sse2, avx}); }

template <class T, class Fn>
void floors(Fn*& entry)
{
    for (const Kind kind : kinds_of<T>)
        single<T>(
            {base, sse2, avx, avx2}, kind,
            [&](Level, std::span<T> x, std::size_t n, const std::string& at) {
                ASSERT_TRUE(rig::same_bits(entry(x.data(), n, T(0.5)), simd::avg_lvl(x, T(0.5))))
                    << at;
            });
}

TEST(Cpp, avg_lvl_f32) { floors<float>(avg_lvl_f32); }
TEST(Cpp, avg_lvl_f64) { floors<double>(avg_lvl_f64); }

TEST(Cpp, avg_abs)
{
    for (const Kind kind : kinds_of<std::int16_t>)
        single<std::int16_t>(
            {base, ssse3, avx2}, kind,
            [&](Level, std::span<std::int16_t> x, std::size_t n, const std::string& at) {
                std::uint64_t total = 0;
                for (const int sample : x)
                    total += static_cast<unsigned>(sample < 0 ? -sample : sample);
                ASSERT_EQ(simd::avg_abs(x), n == 0 ? 0 : total / n) << at;
            });
}

TEST(Cpp, avg_abs_of_sums_that_wrap)
{
    const std::vector<std::int16_t> x(1048576 + 16, std::numeric_limits<std::int16_t>::min());
    for (const Level level : {base, ssse3, avx2}) {
        install(level);
        for (std::size_t n = 1048576 - 16; n <= x.size(); ++n)
            ASSERT_EQ(simd::avg_abs(std::span(x).first(n)), 32768U)
                << rig::name(level) << ", " << n;
    }
}

template <class T, class Fn>
void peaks(Fn*& entry, std::initializer_list<Level> levels)
{
    Place<T> dst, src;
    for (const Kind kind : kinds_of<T>)
        everywhere<T, T>(
            levels, [&](Level level, std::size_t n, Edge edge, std::size_t to, std::size_t from) {
                const auto d = dst.at(n, to, edge), s = src.at(n, from, edge);
                take(d, values<T>(kind));
                take(s, values<T>(kind, 2));
                entry(d.data(), s.data(), n);
                const auto want = dst.copy();
                take(d, values<T>(kind));
                simd::max_array(d, s);
                ASSERT_TRUE(same<T>(want, d) && src.intact() && dst.intact())
                    << where(level, n, to, from);
                simd::max_array(d, d);
                ASSERT_TRUE(same<T>(want, d)) << "with itself, " << where(level, n, to);
            });
}

TEST(Cpp, max_array_f32) { peaks<float>(max_array_f32, {base, sse, avx}); }
TEST(Cpp, max_array_f64) { peaks<double>(max_array_f64, {base, sse2, avx}); }

} // namespace
