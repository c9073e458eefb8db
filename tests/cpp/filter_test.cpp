// tests/cpp/filter_test.cpp: the filters of libsimd.hpp. Where the kernel works and is regular, its bits;
// elsewhere what the header promises, by plain loops.
#include "cpp/places.h"
#include "models/vfilter.h"

#include <algorithm>

namespace {

using namespace cpp;
using enum Level;

template <class T, class Fn>
void steps(Fn*& entry, std::initializer_list<Level> levels)
{
    Place<T> re, im, taps;
    everywhere<T, T, T>(
        levels,
        [&](Level level, std::size_t n, Edge edge, std::size_t at, std::size_t bt, std::size_t ct) {
            const auto r = re.at(n, at, edge), i = im.at(n, bt, edge), t = taps.at(n, ct, edge);
            take(r, values<T>(Kind::ordinary));
            take(i, values<T>(Kind::ordinary, 2));
            take(t, values<T>(Kind::mixed, 3));
            T want_re, want_im;
            entry(r.data(), i.data(), t.data(), n, &want_re, &want_im);
            const auto [got_re, got_im] = simd::fir_step(r, i, t);
            ASSERT_TRUE(rig::same_bits(want_re, got_re) && rig::same_bits(want_im, got_im))
                << where(level, n, at, bt, ct);
        },
        sizeof(T) == 4 ? 100 : longest);
}

TEST(Cpp, fir_step_c32) { steps<float>(fir_step_c32, {base, sse, avx}); }
TEST(Cpp, fir_step_c64) { steps<double>(fir_step_c64, {base, sse2, avx}); }

/// A ring of `taps` slots between forbidden pages.
struct Ring {
    Place<double> taps, re, im;
    std::int64_t pos = 0;

    void set(std::size_t count, std::size_t at, Edge edge)
    {
        take(taps.at(count, at, edge), values<double>(Kind::ordinary));
        for (auto* plane : {&re, &im}) {
            const auto p = plane->at(count, (at + 8) % 32, edge);
            std::fill(p.begin(), p.end(), 0.25);
        }
        pos = static_cast<std::int64_t>(at / 8 % count);
        taps_ = count;
    }
    std::size_t count() const { return taps_; }

private:
    std::size_t taps_ = 0;
};

template <class I, class Raw, class Wrapped>
void streams(Raw raw, Wrapped wrapped)
{
    Place<I> in;
    Place<double> out;
    Ring ring;
    for (const std::size_t taps : {1U, 2U, 7U, 33U})
        everywhere<I, double>(
            {base, sse2, avx},
            [&](Level level, std::size_t n, Edge edge, std::size_t from, std::size_t to) {
                const auto i = in.at(2 * n, from, edge);
                const auto o = out.at(2 * n, to, edge);
                take(i, values<I>(Kind::ordinary));
                ring.set(taps, to, edge);
                const auto t = ring.taps.copy();
                auto re = ring.re.copy(), im = ring.im.copy();
                std::int64_t pos = ring.pos;
                const auto vt = ring.taps.now(), vr = ring.re.now(), vi = ring.im.now();
                raw(i, vt, pos, vr, vi, o);
                const auto want = out.copy(), want_re = ring.re.copy(), want_im = ring.im.copy();
                std::copy(re.begin(), re.end(), vr.begin());
                std::copy(im.begin(), im.end(), vi.begin());
                std::fill(o.begin(), o.end(), 77.0);
                wrapped(i, vt, ring.pos, vr, vi, o);
                ASSERT_TRUE(same<double>(want, o) && same<double>(want_re, vr) &&
                            same<double>(want_im, vi) && pos == ring.pos && in.intact() &&
                            out.intact() && ring.re.intact() && ring.im.intact())
                    << where(level, n, from, to) << ", " << taps << " taps";
            },
            taps == 7 ? longest : 40);
}

TEST(Cpp, fir_c16_alt)
{
    streams<std::int16_t>(
        [](auto i, auto t, std::int64_t& pos, auto re, auto im, auto o) {
            fir_c16_alt(i.data(), i.size() / 2, t.data(), t.size() - 1, &pos, re.data(), im.data(),
                        o.data(), 0.3, 0.1);
        },
        [](auto i, auto t, std::int64_t& pos, auto re, auto im, auto o) {
            simd::fir_alt(i, t, pos, re, im, o, 0.3, 0.1);
        });
}

TEST(Cpp, fir_c32_alt)
{
    streams<float>(
        [](auto i, auto t, std::int64_t& pos, auto re, auto im, auto o) {
            fir_c32_alt(i.data(), i.size() / 2, t.data(), t.size() - 1, &pos, re.data(), im.data(),
                        o.data());
        },
        [](auto i, auto t, std::int64_t& pos, auto re, auto im, auto o) {
            simd::fir_alt(i, t, pos, re, im, o);
        });
}

TEST(Cpp, fir_c64_alt)
{
    streams<double>(
        [](auto i, auto t, std::int64_t& pos, auto re, auto im, auto o) {
            fir_c64_alt(i.data(), i.size() / 2, t.data(), t.size() - 1, &pos, re.data(), im.data(),
                        o.data());
        },
        [](auto i, auto t, std::int64_t& pos, auto re, auto im, auto o) {
            simd::fir_alt(i, t, pos, re, im, o);
        });
}

template <class T>
void averages(std::initializer_list<Level> levels)
{
    Place<T> x, y;
    for (const Kind kind : {Kind::ordinary, Kind::mixed})
        everywhere<T, T>(levels, [&](Level level, std::size_t n, Edge edge, std::size_t at,
                                     std::size_t bt) {
            const auto frame = x.at(n, at, edge), state = y.at(n, bt, edge);
            take(frame, values<T>(kind));
            take(state, values<T>(kind, 2));
            auto want = y.copy();
            for (std::size_t i = 0; i < n; ++i)
                want[i] = model::add(model::mul(model::sub(frame[i], want[i]), T(0.3)), want[i]);
            simd::iir1(frame, state, T(0.3));
            ASSERT_TRUE(same<T>(want, state) && x.intact() && y.intact())
                << where(level, n, at, bt);
        });
}

TEST(Cpp, iir1_f32) { averages<float>({base, sse, avx}); }
TEST(Cpp, iir1_f64) { averages<double>({base, sse2, avx}); }

template <class T>
std::vector<T> symmetric(std::size_t count)
{
    std::vector<T> taps(count);
    for (std::size_t i = 0; i < count; ++i)
        taps[i] = T(1) / T(3 + std::min(i, count - 1 - i));
    return taps;
}

/// The folded form with both ends repeated.
template <class T>
T folded(std::span<const T> x, const std::vector<T>& taps, std::size_t i)
{
    return vfilter::folded(x.data(), static_cast<std::int64_t>(x.size()), taps.data(),
                           static_cast<std::int64_t>(taps.size() / 2), static_cast<std::int64_t>(i),
                           true, true);
}

template <class T, class Fn>
void smoothings(Fn*& entry, std::initializer_list<Level> levels)
{
    Place<T> x, y, taps;
    for (const std::size_t count : {0U, 1U, 3U, 5U, 21U, 61U}) {
        const auto values_of_taps = symmetric<T>(count);
        everywhere<T, T>(
            levels,
            [&](Level level, std::size_t n, Edge edge, std::size_t at, std::size_t to) {
                const auto in = x.at(n, at, edge), out = y.at(n, to, edge);
                const auto t = taps.at(count, (at + to) % 32, Edge::end);
                take(in, values<T>(Kind::ordinary));
                take(t, values_of_taps);
                std::vector<T> want(n);
                if (n + 1 >= count) {
                    entry(in.data(), static_cast<int>(n), t.data(), static_cast<int>(count),
                          out.data());
                    want = y.copy();
                } else {
                    for (std::size_t i = 0; i < n; ++i)
                        want[i] = folded<T>(in, values_of_taps, i);
                }
                std::fill(out.begin(), out.end(), T(77));
                simd::vfilter(in, t, out);
                ASSERT_TRUE(same<T>(want, out) && x.intact() && y.intact() && taps.intact())
                    << where(level, n, at, to) << ", " << count << " taps";
            },
            count == 5 ? longest : 90);
    }
}

TEST(Cpp, vfilter_f32) { smoothings<float>(vfilter_f32, {base, sse, avx}); }
TEST(Cpp, vfilter_f64) { smoothings<double>(vfilter_f64, {base, sse2, avx}); }

TEST(Cpp, vfilter_in_pieces) // as of more than 2^30 elements
{
    const auto taps = symmetric<double>(9);
    for (const Level level : {base, sse2, avx}) {
        install(level);
        for (std::size_t n = 0; n <= longest; ++n)
            for (const std::size_t most : {9U, 10U, 64U, 100U}) {
                const std::vector<double> x(values<double>(Kind::ordinary).begin(),
                                            values<double>(Kind::ordinary).begin() +
                                                static_cast<std::ptrdiff_t>(n));
                std::vector<double> y(n, 77.0);
                simd::detail::smooth<double>(vfilter_f64, x, taps, y, most);
                for (std::size_t i = 0; i < n; ++i) {
                    const double want = folded<double>(x, taps, i);
                    const bool seam = i >= most - 4 && (i % most >= most - 4 || i % most < 4);
                    ASSERT_NEAR(want, y[i], seam ? 0 : 1e-9 * (1 + std::abs(want)))
                        << n << " in " << most << ", at " << i;
                }
            }
    }
}

TEST(Cpp, vfilter2_chunk)
{
    Place<float> x, w;
    everywhere<float, float>({base, sse2, avx2}, [&](Level level, std::size_t n, Edge edge,
                                                     std::size_t at, std::size_t bt) {
        const auto s = x.at(n, at, edge), weights = w.at(n, bt, edge);
        take(s, values<float>(Kind::ordinary));
        take(weights, values<float>(Kind::ordinary, 2));
        ASSERT_TRUE(rig::same_bits(vfilter2_chunk(s.data(), weights.data(), n, 0.5F),
                                   simd::vfilter2_chunk(s, weights, 0.5F)))
            << where(level, n, at, bt);
    });
}

} // namespace
