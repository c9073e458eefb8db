// tests/fir_alt_test.cpp: fir_c16_alt, fir_c32_alt and fir_c64_alt over every fir_step_c64.
#include "models/fir_alt.h"
#include "rig/buffer.h"
#include "rig/call.h"
#include "rig/data.h"

#include <string>
#include <sys/mman.h>
#include <vector>

using namespace rig;

namespace {

using namespace fir_alt;

constexpr Level step_levels[] = {Level::base, Level::sse2, Level::avx};

/// Byte offsets modulo 64.
struct Offsets {
    std::size_t in, taps, re, im, out;
};

/// A stream: what the caller holds, the same for the model, and calls that compare the two.
template <class F>
class Stream {
public:
    using In = typename F::In;
    static constexpr std::size_t most_taps = 48, most_samples = 128;

    std::vector<In> samples = std::vector<In>(2 * most_samples);
    std::vector<double> taps = std::vector<double>(most_taps), re = taps, im = taps;
    std::int64_t pos = 0;
    std::uint64_t last = 0;
    Numbers by;
    std::vector<double> wanted; // outputs of the last call

    void make(Random& random, Kind kind)
    {
        fill(samples.data(), samples.size(), random, kind);
        fill(taps.data(), taps.size(), random, kind);
        fill(re.data(), re.size(), random, kind);
        fill(im.data(), im.size(), random, kind);
    }

    /// Puts the state where the kernel finds it.
    void place(Offsets at, Edge edge)
    {
        at_ = at;
        edge_ = edge;
        taps_.place(last + 1, at.taps, edge);
        re_.place(last + 1, at.re, edge);
        im_.place(last + 1, at.im, edge);
        pos_.place(1, at.taps % 64 / 8 * 8, edge);
        std::memcpy(taps_.data(), taps.data(), taps_.bytes());
        std::memcpy(re_.data(), re.data(), re_.bytes());
        std::memcpy(im_.data(), im.data(), im_.bytes());
        pos_.set(0, pos);
    }

    /// One call on samples from..from + count.
    testing::AssertionResult call(Level level, std::size_t from, std::size_t count)
    {
        auto* const kernel = at(level).function<typename F::Fn>(F::name);
        in_.place(2 * count, at_.in, edge_);
        out_.place(2 * count, at_.out, edge_);
        std::memcpy(in_.data(), samples.data() + 2 * from, in_.bytes());
        out_.fill_bytes(0xa5);
        // Without a sample no step runs, so nothing clears the upper halves.
        if (auto ok = armed(count == 0 ? Level::base : level,
                            [&] {
                                F::call(kernel, in_.data(), count, taps_.data(), last, pos_.data(),
                                        re_.data(), im_.data(), out_.data(), by);
                            });
            !ok)
            return ok;
        expect(level, from, count);
        for (const auto& ok :
             {in_.intact(), taps_.intact(), pos_.intact(), re_.intact(), im_.intact(),
              out_.intact(), same_bits(samples.data() + 2 * from, in_.data(), 2 * count),
              same_bits(taps.data(), taps_.data(), last + 1)})
            if (!ok)
                return ok;
        if (auto ok = same_bits(wanted.data(), out_.data(), 2 * count); !ok)
            return ok << " in out";
        if (auto ok = same_bits(re.data(), re_.data(), last + 1); !ok)
            return ok << " in hist_re";
        if (auto ok = same_bits(im.data(), im_.data(), last + 1); !ok)
            return ok << " in hist_im";
        if (pos_.get(0) != pos)
            return testing::AssertionFailure() << "pos " << pos_.get(0) << ", want " << pos;
        return testing::AssertionSuccess();
    }

private:
    void expect(Level level, std::size_t from, std::size_t count)
    {
        fir_alt::Ring ring{taps_.data(), re_.data(), im_.data(), taps.data(),
                           re.data(),    im.data(),  last,       pos};
        wanted.assign(2 * count, 0);
        fir_alt::expect<F>(level, samples.data() + 2 * from, count, ring, wanted.data(), by);
        pos = ring.pos;
    }

    Buffer<In> in_{2 * most_samples};
    Buffer<double> taps_{most_taps}, re_{most_taps}, im_{most_taps}, out_{2 * most_samples};
    Buffer<std::int64_t> pos_{1};
    Offsets at_{};
    Edge edge_{};
};

std::string where(Level level, std::uint64_t last, std::int64_t pos, std::size_t count, Offsets at,
                  Kind kind)
{
    return std::string(name(level)) + " last " + std::to_string(last) + " pos " +
           std::to_string(pos) + " count " + std::to_string(count) + " offsets in " +
           std::to_string(at.in) + " taps " + std::to_string(at.taps) + " re " +
           std::to_string(at.re) + " im " + std::to_string(at.im) + " out " +
           std::to_string(at.out) + " kind " + std::to_string(static_cast<int>(kind));
}

// ---- Bits ---------------------------------------------------------------------------------------

/// Every position of rings of many lengths, counts to beyond two rounds.
template <class F>
void rings(Level level)
{
    Stream<F> stream;
    Random random(71);
    stream.by = {1.0 / 32768, 0.3};
    std::size_t turn = 0;
    for (const std::uint64_t last : {0U, 1U, 2U, 3U, 4U, 5U, 6U, 7U, 8U, 9U, 12U, 16U, 19U, 37U})
        for (std::int64_t pos = 0; pos <= static_cast<std::int64_t>(last); ++pos)
            for (const std::size_t count :
                 {std::size_t{1}, std::size_t{2}, last, last + 1, last + 2, 2 * last + 3})
                for (const Kind kind : {Kind::ordinary, Kind::mixed, Kind::special}) {
                    ++turn;
                    const Offsets at{turn * sizeof(typename F::In) % 64, turn * 8 % 64,
                                     turn / 8 * 8 % 64, turn / 64 * 8 % 64, turn / 3 * 8 % 64};
                    stream.make(random, kind);
                    stream.last = last;
                    stream.pos = pos;
                    stream.place(at, turn % 2 == 0 ? Edge::start : Edge::end);
                    ASSERT_TRUE(stream.call(level, 0, count))
                        << where(level, last, pos, count, at, kind);
                }
}

/// Histories and taps at every three offsets modulo 64.
template <class F>
void alignments(Level level)
{
    Stream<F> stream;
    Random random(72);
    stream.make(random, Kind::ordinary);
    for (std::size_t taps = 0; taps < 64; taps += 8)
        for (std::size_t re = 0; re < 64; re += 8)
            for (std::size_t im = 0; im < 64; im += 8) {
                const Offsets at{(taps + re) % 64, taps, re, im, (re + im) % 64};
                stream.last = 13;
                stream.pos = 6;
                stream.place(at, im % 16 == 0 ? Edge::start : Edge::end);
                ASSERT_TRUE(stream.call(level, 0, 15))
                    << where(level, 13, 6, 15, at, Kind::ordinary);
            }
}

/// in and out at every offset of their elements, against both edges.
template <class F>
void in_and_out(Level level)
{
    Stream<F> stream;
    Random random(73);
    stream.make(random, Kind::ordinary);
    for (std::size_t in = 0; in < 64; in += sizeof(typename F::In))
        for (std::size_t out = 0; out < 64; out += 8)
            for (const std::size_t count : {1U, 2U, 5U, 8U})
                for (const Edge edge : both_edges) {
                    const Offsets at{in, 0, 0, 0, out};
                    stream.last = 2;
                    stream.pos = 1;
                    stream.place(at, edge);
                    ASSERT_TRUE(stream.call(level, 0, count))
                        << where(level, 2, 1, count, at, Kind::ordinary);
                }
}

/// A stream cut at every place, into two calls and into three, gives the bits of one call.
template <class F>
void cuts(Level level)
{
    constexpr std::size_t whole = 11;
    Stream<F> stream;
    Random random(74);
    stream.make(random, Kind::mixed);
    stream.by = {0.7, -0.1};
    const auto re = stream.re;
    const auto im = stream.im;
    for (const std::uint64_t last : {0U, 1U, 4U, 6U})
        for (std::int64_t pos = 0; pos <= static_cast<std::int64_t>(last); ++pos) {
            const auto start = [&] {
                stream.re = re;
                stream.im = im;
                stream.last = last;
                stream.pos = pos;
                stream.place({0, 8, 16, 16, 8}, Edge::end);
            };
            start();
            ASSERT_TRUE(stream.call(level, 0, whole)) << name(level);
            const auto outputs = stream.wanted; // compared with the kernel's by call()
            const auto end_re = stream.re;
            const auto end_im = stream.im;
            const std::int64_t end_pos = stream.pos;
            for (std::size_t one = 0; one <= whole; ++one)
                for (std::size_t two = one; two <= whole; ++two) {
                    start();
                    std::vector<double> joined;
                    const std::size_t ends[] = {0, one, two, whole};
                    for (int part = 0; part < 3; ++part) {
                        ASSERT_TRUE(stream.call(level, ends[part], ends[part + 1] - ends[part]))
                            << name(level) << " cut at " << one << ", " << two;
                        joined.insert(joined.end(), stream.wanted.begin(), stream.wanted.end());
                    }
                    ASSERT_TRUE(same_bits(outputs.data(), joined.data(), 2 * whole));
                    ASSERT_TRUE(same_bits(end_re.data(), stream.re.data(), last + 1));
                    ASSERT_TRUE(same_bits(end_im.data(), stream.im.data(), last + 1));
                    ASSERT_EQ(end_pos, stream.pos);
                }
        }
}

// ---- The calls of the entry ---------------------------------------------------------------------

struct Call {
    const double *re, *im, *taps;
    std::uint64_t n;
    int by;                      // which replacement was called
    double newest_re, newest_im; // what stood at re and im
    std::int64_t pos;            // what stood at *pos
};

/// What the replacements share with their test.
struct Watched {
    std::vector<Call> calls;
    std::vector<double> results; // handed out in turn: out_re, out_im
    std::size_t given = 0;
    fir_step_c64_fn** entry = nullptr;
    const std::int64_t* pos = nullptr;
    bool look = true; // at the newest sample; not where slot 0 is nowhere

    double next() { return given < results.size() ? results[given++] : 0.0; }
};
Watched watched;

void logged(const double* re, const double* im, const double* taps, std::size_t n, double* out_re,
            double* out_im, int by)
{
    const bool any = watched.look && n != 0;
    watched.calls.push_back({re, im, taps, n, by, any ? *re : 0, any ? *im : 0,
                             watched.pos != nullptr ? *watched.pos : 0});
    *out_re = watched.next();
    *out_im = watched.next();
}

void second(const double*, const double*, const double*, std::size_t, double*, double*);

void first(const double* re, const double* im, const double* taps, std::size_t n, double* out_re,
           double* out_im)
{
    logged(re, im, taps, n, out_re, out_im, 1);
    *watched.entry = second;
}

void second(const double* re, const double* im, const double* taps, std::size_t n, double* out_re,
            double* out_im)
{
    logged(re, im, taps, n, out_re, out_im, 2);
    *watched.entry = first;
}

void silent(const double*, const double*, const double*, std::size_t, double* out_re,
            double* out_im)
{
    *out_re = 0;
    *out_im = 0;
}

/// Replaces the entry of a level's library for as long as it lives.
class Replaced {
public:
    Replaced(Level level, fir_step_c64_fn* by)
        : entry_(at(level).entry<fir_step_c64_fn>("fir_step_c64")), kept_(*entry_)
    {
        watched = {};
        watched.entry = entry_;
        *entry_ = by;
    }
    ~Replaced() { *entry_ = kept_; }
    Replaced(const Replaced&) = delete;
    Replaced& operator=(const Replaced&) = delete;

private:
    fir_step_c64_fn** entry_;
    fir_step_c64_fn* kept_;
};

/// The arguments of both calls of every sample, each made through the entry as it stands just then;
/// the newest sample is in its slot before the first, *pos changes only at the end, and the two
/// results are added first to second.
template <class F>
void calls_of_the_entry(Level level)
{
    using model::from_bits;
    constexpr std::size_t count = 9;
    const Replaced replaced(level, first);
    Random random(75);
    for (const std::uint64_t last : {0U, 1U, 3U, 5U})
        for (std::int64_t pos = 0; pos <= static_cast<std::int64_t>(last); ++pos) {
            std::vector<typename F::In> in(2 * count);
            fill(in.data(), in.size(), random, Kind::special);
            std::vector<double> taps(last + 1);
            std::vector<double> re(last + 1);
            std::vector<double> im(last + 1);
            std::vector<double> out(2 * count);
            std::int64_t p = pos;
            const Numbers by{1.5, 0.25};
            watched.calls.clear();
            watched.given = 0;
            watched.results.resize(4 * count);
            fill(watched.results.data(), 4 * count, random, Kind::special);
            watched.pos = &p;
            ASSERT_TRUE(armed(Level::base, [&] {
                F::call(at(level).function<typename F::Fn>(F::name), in.data(), count, taps.data(),
                        last, &p, re.data(), im.data(), out.data(), by);
            }));
            ASSERT_EQ(watched.calls.size(), 2 * count);
            std::int64_t slot = pos;
            for (std::size_t k = 0; k < count; ++k) {
                const Call& one = watched.calls[2 * k];
                const Call& two = watched.calls[2 * k + 1];
                const auto s = static_cast<std::uint64_t>(slot);
                ASSERT_EQ(one.re, re.data() + s) << k;
                ASSERT_EQ(one.im, im.data() + s) << k;
                ASSERT_EQ(one.taps, taps.data()) << k;
                ASSERT_EQ(one.n, last + 1 - s) << k;
                ASSERT_EQ(one.by, 1) << "the entry is read once more before a first call";
                ASSERT_EQ(two.re, re.data()) << k;
                ASSERT_EQ(two.im, im.data()) << k;
                ASSERT_EQ(two.taps, taps.data() + (last + 1 - s)) << k;
                ASSERT_EQ(two.n, s) << "the second call is made, with n = 0 too";
                ASSERT_EQ(two.by, 2) << "the entry is read once more before a second call";
                ASSERT_TRUE(same_bits(F::converted(in[2 * k], by), one.newest_re)) << k;
                ASSERT_TRUE(same_bits(F::converted(in[2 * k + 1], by), one.newest_im)) << k;
                ASSERT_EQ(one.pos, pos);
                ASSERT_EQ(two.pos, pos);
                const double* const r = watched.results.data() + 4 * k;
                ASSERT_TRUE(same_bits(model::add(r[0], r[2]), out[2 * k])) << k;
                ASSERT_TRUE(same_bits(model::add(r[1], r[3]), out[2 * k + 1])) << k;
                slot = slot == 0 ? static_cast<std::int64_t>(last) : slot - 1;
            }
            ASSERT_EQ(p, slot);
            ASSERT_EQ(*watched.entry, first);
        }
}

/// Of two NaN segments the first one's survives; -0 and the empty segment's +0 give +0.
template <class F>
void first_segment_first(Level level)
{
    using D = model::Format<double>;
    const Replaced replaced(level, first);
    const double nan0 = model::from_bits<double>(D::exponent | 0x111);
    const double nan1 = model::from_bits<double>(D::sign | D::exponent | D::quiet | 0x222);
    watched.results = {nan0, nan1, nan1, nan0, -0.0, -0.0, 0.0, -0.0};
    const typename F::In in[4] = {};
    const double taps[1] = {1};
    double re[1];
    double im[1];
    double out[4];
    std::int64_t pos = 0;
    ASSERT_TRUE(armed(Level::base, [&] {
        F::call(at(level).function<typename F::Fn>(F::name), in, 2, taps, 0, &pos, re, im, out, {});
    }));
    EXPECT_TRUE(same_bits(model::quieted(nan0), out[0]));
    EXPECT_TRUE(same_bits(nan1, out[1]));
    EXPECT_TRUE(same_bits(0.0, out[2]));
    EXPECT_TRUE(same_bits(-0.0, out[3]));
}

/// Position and last are 64 bits wide.
template <class F>
void wide_ring(Level level)
{
    const Replaced replaced(level, first);
    watched.look = false;
    const std::uint64_t last = (std::uint64_t{1} << 40) + 5;
    const typename F::In in[6] = {1, 2, 3, 4, 5, 6};
    double re[4] = {};
    double im[4] = {};
    const double taps[1] = {};
    double out[6];
    auto pos = static_cast<std::int64_t>(last - 1);
    const auto base = [&](double* slot_last_3) { // where slot 0 would be
        return reinterpret_cast<double*>(reinterpret_cast<std::uintptr_t>(slot_last_3) -
                                         (last - 3) * sizeof(double));
    };
    ASSERT_TRUE(armed(Level::base, [&] {
        F::call(at(level).function<typename F::Fn>(F::name), in, 3, taps, last, &pos, base(re),
                base(im), out, {});
    }));
    EXPECT_EQ(pos, static_cast<std::int64_t>(last - 4));
    EXPECT_EQ(re[2], 1);
    EXPECT_EQ(im[0], 6);
    ASSERT_EQ(watched.calls.size(), 6U);
    for (std::uint64_t k = 0; k < 3; ++k) {
        EXPECT_EQ(watched.calls[2 * k].re, re + 2 - k);
        EXPECT_EQ(watched.calls[2 * k].n, 2 + k);
        EXPECT_EQ(watched.calls[2 * k + 1].n, last - 1 - k);
        EXPECT_EQ(watched.calls[2 * k + 1].taps, taps + 2 + k);
    }
}

/// A position outside 0..last is taken as it is: -1 stores before slot 0, and the first segment
/// reads from there. The next one is last.
template <class F>
void position_not_checked(Level level)
{
    const Replaced replaced(level, first);
    watched.look = false;
    const typename F::In in[2] = {7, 8};
    double re[4] = {};
    double im[4] = {};
    const double taps[4] = {};
    double out[2];
    std::int64_t pos = -1;
    ASSERT_TRUE(armed(Level::base, [&] {
        F::call(at(level).function<typename F::Fn>(F::name), in, 1, taps, 2, &pos, re + 1, im + 1,
                out, {});
    }));
    EXPECT_EQ(re[0], 7);
    EXPECT_EQ(im[0], 8);
    EXPECT_EQ(pos, 2);
    ASSERT_EQ(watched.calls.size(), 2U);
    EXPECT_EQ(watched.calls[0].n, 4U);
    EXPECT_EQ(watched.calls[1].n, ~std::uint64_t{0});
}

// ---- Edge cases ---------------------------------------------------------------------------------

/// count = 0 writes the position back, whatever it is, and touches nothing else.
template <class F>
void no_samples(Level level)
{
    auto* const kernel = at(level).function<typename F::Fn>(F::name);
    const Replaced replaced(level, first);
    for (const std::int64_t value : {std::int64_t{0}, std::int64_t{3}, std::int64_t{-5}}) {
        std::int64_t pos = value;
        ASSERT_TRUE(armed(Level::base, [&] {
            F::call(kernel, nullptr, 0, nullptr, 3, &pos, nullptr, nullptr, nullptr, {});
        }));
        EXPECT_EQ(pos, value);
    }
    EXPECT_TRUE(watched.calls.empty());
    void* const page = mmap(nullptr, 4096, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(page, MAP_FAILED);
    EXPECT_TRUE(faults([&] {
        F::call(kernel, nullptr, 0, nullptr, 3, static_cast<std::int64_t*>(page), nullptr, nullptr,
                nullptr, {});
    })) << "the position is written back";
    munmap(page, 4096);
}

/// One tap: every output is taps[0] times the converted sample, and the position stays 0.
template <class F>
void one_tap(Level level)
{
    Stream<F> stream;
    Random random(76);
    for (const Kind kind : {Kind::ordinary, Kind::mixed})
        for (std::size_t count = 0; count < 20; ++count) {
            stream.make(random, kind);
            stream.by = {0.01, 0.5};
            stream.last = 0;
            stream.pos = 0;
            stream.place({0, 0, 0, 0, 0}, Edge::end);
            ASSERT_TRUE(stream.call(level, 0, count)) << count;
            ASSERT_EQ(stream.pos, 0);
            for (std::size_t i = 0; i < 2 * count; ++i) {
                const double plain = model::add(
                    0.0, model::mul(F::converted(stream.samples[i], stream.by), stream.taps[0]));
                ASSERT_TRUE(same_bits(plain, stream.wanted[i])) << i;
            }
        }
}

/// From slot 0: stored there, an empty second segment, and the next sample goes to slot last.
template <class F>
void from_slot_0(Level level)
{
    const typename F::In in[4] = {11, 12, 13, 14};
    const double taps[3] = {1, 10, 100};
    double re[3] = {0.5, 2, 3};
    double im[3] = {0.5, 5, 6};
    double out[4];
    std::int64_t pos = 0;
    auto* const kernel = at(level).function<typename F::Fn>(F::name);
    ASSERT_TRUE(armed(level, [&] { F::call(kernel, in, 1, taps, 2, &pos, re, im, out, {}); }));
    EXPECT_EQ(pos, 2);
    EXPECT_EQ(re[0], 11);
    EXPECT_EQ(im[0], 12);
    EXPECT_EQ(out[0], 11 + 20 + 300);
    EXPECT_EQ(out[1], 12 + 50 + 600);
    ASSERT_TRUE(
        armed(level, [&] { F::call(kernel, in + 2, 1, taps, 2, &pos, re, im, out + 2, {}); }));
    EXPECT_EQ(pos, 1);
    EXPECT_EQ(re[2], 13);
    EXPECT_EQ(im[2], 14);
    EXPECT_EQ(out[2], 13 + 110 + 200);
    EXPECT_EQ(out[3], 14 + 120 + 500);
}

/// Doubles, real then imaginary, in every format: impulses come out as the taps.
template <class F>
void impulse(Level level)
{
    constexpr std::size_t n = 6;
    const double taps[n] = {1e300, -2.5, 1.0 / 3, 1e-300, 0.1, 7};
    typename F::In in[2 * n] = {};
    in[0] = 1;
    in[3] = 2; // the imaginary part of the second sample
    double re[n] = {};
    double im[n] = {};
    double out[2 * n];
    std::int64_t pos = 4;
    ASSERT_TRUE(armed(level, [&] {
        F::call(at(level).function<typename F::Fn>(F::name), in, n, taps, n - 1, &pos, re, im, out,
                {});
    }));
    for (std::size_t k = 0; k < n; ++k) {
        EXPECT_EQ(out[2 * k], taps[k]) << k;
        EXPECT_EQ(out[2 * k + 1], k == 0 ? 0 : 2 * taps[k - 1]) << k;
    }
}

/// No pointer is tested for null.
template <class F>
void null_position(Level level)
{
    EXPECT_TRUE(faults([&] {
        F::call(at(level).function<typename F::Fn>(F::name), nullptr, 0, nullptr, 0, nullptr,
                nullptr, nullptr, nullptr, {});
    }));
}

} // namespace

#define FORMAT(function, F)                                                                        \
    TEST(function, base_rings) { rings<F>(Level::base); }                                          \
    TEST(function, sse2_rings) { rings<F>(Level::sse2); }                                          \
    TEST(function, avx_rings) { rings<F>(Level::avx); }                                            \
    TEST(function, base_alignments) { alignments<F>(Level::base); }                                \
    TEST(function, sse2_alignments) { alignments<F>(Level::sse2); }                                \
    TEST(function, avx_alignments) { alignments<F>(Level::avx); }                                  \
    TEST(function, in_and_out_at_any_place) { in_and_out<F>(Level::avx); }                         \
    TEST(function, base_cuts) { cuts<F>(Level::base); }                                            \
    TEST(function, sse2_cuts) { cuts<F>(Level::sse2); }                                            \
    TEST(function, avx_cuts) { cuts<F>(Level::avx); }                                              \
    TEST(function, entry_read_at_every_call) { calls_of_the_entry<F>(Level::avx); }                \
    TEST(function, first_segment_first) { first_segment_first<F>(Level::avx); }                    \
    TEST(function, positions_of_64_bits) { wide_ring<F>(Level::avx); }                             \
    TEST(function, position_not_checked) { position_not_checked<F>(Level::avx); }                  \
    TEST(function, no_samples_write_the_position_back) { no_samples<F>(Level::avx); }              \
    TEST(function, null_position_faults) { null_position<F>(Level::base); }                        \
    TEST(function, one_tap)                                                                        \
    {                                                                                              \
        for (const Level level : step_levels)                                                      \
            one_tap<F>(level);                                                                     \
    }                                                                                              \
    TEST(function, from_slot_0_to_last)                                                            \
    {                                                                                              \
        for (const Level level : step_levels)                                                      \
            from_slot_0<F>(level);                                                                 \
    }                                                                                              \
    TEST(function, doubles_interleaved)                                                            \
    {                                                                                              \
        for (const Level level : step_levels)                                                      \
            impulse<F>(level);                                                                     \
    }

FORMAT(fir_c16_alt, c16)
FORMAT(fir_c32_alt, c32)
FORMAT(fir_c64_alt, c64)

// ---- Conversions --------------------------------------------------------------------------------

namespace {

/// The history after one round of a ring, newest at slot 0: nothing but converted samples.
template <class F>
std::vector<double> history(const std::vector<typename F::In>& in, Numbers by)
{
    const Replaced replaced(Level::base, silent);
    const std::size_t n = in.size() / 2;
    std::vector<double> re(n);
    std::vector<double> im(n);
    std::vector<double> out(2 * n);
    auto pos = static_cast<std::int64_t>(n - 1);
    const double taps[1] = {};
    EXPECT_TRUE(armed(Level::base, [&] {
        F::call(at(Level::base).function<typename F::Fn>(F::name), in.data(), n, taps, n - 1, &pos,
                re.data(), im.data(), out.data(), by);
    }));
    std::vector<double> all;
    for (std::size_t k = n; k-- > 0;) {
        all.push_back(re[k]);
        all.push_back(im[k]);
    }
    return all;
}

} // namespace

/// Every sample value under plain, usual, rounded and special numbers, in both parts.
TEST(fir_c16_alt, conversion_of_every_sample)
{
    std::vector<std::int16_t> in;
    for (int s = -32768; s < 32768; ++s) {
        in.push_back(static_cast<std::int16_t>(s));
        in.push_back(static_cast<std::int16_t>(-1 - s));
    }
    using D = model::Format<double>;
    const double nan = model::from_bits<double>(D::exponent | 0x77);
    const double other = model::from_bits<double>(D::sign | D::exponent | D::quiet | 0x99);
    const double inf = std::numeric_limits<double>::infinity();
    for (const Numbers by :
         {Numbers{1, 0}, Numbers{1.0 / 32768, 0}, Numbers{1.0 / 32768, 0.25}, Numbers{0.1, 1.0 / 3},
          Numbers{-1e-5, 12345.678}, Numbers{0, -0.0}, Numbers{-0.0, -0.0}, Numbers{nan, 1},
          Numbers{1, nan}, Numbers{nan, other}, Numbers{other, nan}, Numbers{inf, 0},
          Numbers{inf, -inf}, Numbers{inf, other}, Numbers{5e-324, 0}, Numbers{1e308, -1e308}}) {
        const auto got = history<c16>(in, by);
        for (std::size_t i = 0; i < in.size(); ++i)
            ASSERT_TRUE(same_bits(c16::converted(in[i], by), got[i]))
                << "sample " << in[i] << " scale " << show(by.scale) << " offset "
                << show(by.offset);
    }
}

TEST(fir_c16_alt, scale_1_filters_the_integers)
{
    const auto got = history<c16>({-32768, 32767, 0, -1}, {1, 0});
    EXPECT_EQ(got, (std::vector<double>{-32768, 32767, 0, -1}));
}

TEST(fir_c16_alt, scale_of_full_range_normalises)
{
    const auto got = history<c16>({-32768, 16384, 1, -1}, {1.0 / 32768, 0});
    EXPECT_EQ(got, (std::vector<double>{-1, 0.5, 1.0 / 32768, -1.0 / 32768}));
}

TEST(fir_c16_alt, offset_goes_to_both_parts)
{
    const auto got = history<c16>({-100, 100, 0, 0}, {0.5, 3});
    EXPECT_EQ(got, (std::vector<double>{-47, 53, 3, 3}));
}

/// The product is rounded before the offset is added: 3 * 0.1 is above 0.3, exactly it is below
/// what its rounding is.
TEST(fir_c16_alt, product_rounded_before_the_offset)
{
    const double product = model::mul(3.0, 0.1);
    const auto got = history<c16>({3, 3}, {0.1, -product});
    EXPECT_TRUE(same_bits(0.0, got[0]));
    EXPECT_TRUE(same_bits(0.0, got[1]));
    EXPECT_NE(__builtin_fma(3.0, 0.1, -product), 0.0);
}

TEST(fir_c16_alt, nan_scale_survives_nan_offset)
{
    using D = model::Format<double>;
    const double scale = model::from_bits<double>(D::sign | D::exponent | 0x123);
    const double offset = model::from_bits<double>(D::exponent | D::quiet | 0x456);
    const auto got = history<c16>({3, 0}, {scale, offset});
    EXPECT_TRUE(same_bits(model::quieted(scale), got[0]));
    EXPECT_TRUE(same_bits(model::quieted(scale), got[1]));
}

/// Widening is exact, subnormals and NaN payloads too (made quiet).
TEST(fir_c32_alt, conversion_widens)
{
    std::vector<float> in(4096);
    Random random(77);
    fill(in.data(), in.size(), random, Kind::special);
    for (std::uint32_t e = 0; e < 1024; ++e) // over all exponents
        in.push_back(
            model::from_bits<float>((e << 22) ^ static_cast<std::uint32_t>(random.bits() >> 42)));
    const auto got = history<c32>(in, {});
    for (std::size_t i = 0; i < in.size(); ++i)
        ASSERT_TRUE(same_bits(c32::converted(in[i], {}), got[i])) << show(in[i]);
}

/// Doubles are stored as they stand: even a signalling NaN keeps its bits.
TEST(fir_c64_alt, conversion_keeps_the_bits)
{
    std::vector<double> in(4096);
    Random random(78);
    fill(in.data(), in.size(), random, Kind::special);
    const auto got = history<c64>(in, {});
    for (std::size_t i = 0; i < in.size(); ++i)
        ASSERT_TRUE(same_bits(in[i], got[i])) << i;
}
