// tests/minmax_test.cpp: the extremes. Each variant against a plain model, bit for bit.
#include "models/minmax.h"
#include "rig/call.h"
#include "stats_patterns.h"

#include <algorithm>
#include <gtest/gtest.h>

namespace {

using namespace rig;
using namespace minmax;
using patterns::Pattern;

// --- Single-result kernels ---------------------------------------------------------------------

std::size_t calls;

struct Counted {
    ~Counted() { testing::Test::RecordProperty("calls", std::to_string(calls)); }
    Counted() { calls = 0; }
};

template <class T>
struct Single {
    using Kernel = T (*)(const T*, std::size_t);
    using Model = T (*)(const T*, std::size_t, std::size_t);

    Level level;
    const char* entry;
    Kernel kernel;
    Model model;
    std::size_t threshold, lanes;

    bool installed() const
    {
        return rig::at(level).variant(entry) == std::string(entry) + "_" + rig::name(level);
    }
    /// Past twice the largest block, whatever the head takes.
    std::size_t most() const { return threshold + 3 * lanes + 2; }

    testing::AssertionResult agrees(const Buffer<T>& in, const std::vector<T>& x,
                                    std::size_t n) const
    {
        const std::size_t offset = reinterpret_cast<std::uintptr_t>(in.data()) % 64;
        const T want = model(x.data(), n, offset);
        T got{};
        ++calls;
        auto result = armed(level, [&] { got = kernel(in.data(), n); });
        if (result)
            result = same_bits(want, got);
        if (result)
            result = patterns::untouched(in, x);
        if (!result)
            result << ", " << entry << " " << rig::name(level) << " n " << n << " offset "
                   << offset;
        return result;
    }
};

// Every count and every alignment, against both edges, with every kind of data.
template <class T>
void single_bits(const Single<T>& k)
{
    const Counted counted;
    ASSERT_TRUE(k.installed());
    Buffer<T> in(k.most() + 1);
    Random random(1);
    for (const Pattern pattern : patterns::list<T>())
        for (const Edge edge : both_edges)
            for (std::size_t offset = 0; offset < 64; offset += sizeof(T))
                for (std::size_t n = 0; n <= k.most(); ++n) {
                    in.place(n == 0 ? 1 : n, offset, edge);
                    const std::vector<T> x = patterns::fill(in, random, pattern);
                    ASSERT_TRUE(k.agrees(in, x, n)) << patterns::name(pattern);
                }
}

// One element beyond all others, at every position; integers at both ends of their range.
template <class T>
void single_positions(const Single<T>& k)
{
    const Counted counted;
    ASSERT_TRUE(k.installed());
    Buffer<T> in(k.most());
    using L = std::numeric_limits<T>;
    const T placed[][2] = {
        {T(7), T(6)}, {T(7), T(8)}, {L::lowest(), L::max()}, {L::max(), L::lowest()}};
    std::size_t pair = 0;
    for (std::size_t offset = 0; offset < 64; offset += sizeof(T))
        for (std::size_t n = 1; n <= k.most(); n += n % 3 + 1) {
            in.place(n, offset, Edge::end);
            std::vector<T> x(n);
            for (std::size_t i = 0; i < n; ++i) {
                const T* const values = placed[pair++ % std::size(placed)];
                std::fill(x.begin(), x.end(), values[0]);
                x[i] = values[1];
                patterns::put(in, x);
                ASSERT_TRUE(k.agrees(in, x, n)) << "position " << i;
            }
        }
}

// Two NaNs with payloads of their own, or the two zeros, at every pair of positions: among numbers
// that are all beaten by a zero, and among numbers that all beat it.
template <class T>
void single_pairs(const Single<T>& k)
{
    const Counted counted;
    ASSERT_TRUE(k.installed());
    Buffer<T> in(k.most());
    Random random(2);
    for (std::size_t offset = 0; offset < 32; offset += sizeof(T))
        for (std::size_t n = 2; n <= k.most(); ++n) {
            in.place(n, offset, Edge::end);
            std::vector<T> x(n);
            for (std::size_t i = 0; i < n; ++i)
                for (std::size_t j = i + 1; j < n; ++j) {
                    const std::uint64_t what = random.below(6);
                    std::fill(x.begin(), x.end(), what % 2 != 0 ? T(3.5) : T(-3.5));
                    x[i] = what < 2 ? patterns::own_nan<T>(random) : T(what < 4 ? 0.0 : -0.0);
                    x[j] = what < 2 ? patterns::own_nan<T>(random) : T(what < 4 ? -0.0 : 0.0);
                    patterns::put(in, x);
                    ASSERT_TRUE(k.agrees(in, x, n)) << "positions " << i << " and " << j;
                }
        }
}

// Many blocks, some thousand elements.
template <class T>
void single_long(const Single<T>& k)
{
    const Counted counted;
    ASSERT_TRUE(k.installed());
    Buffer<T> in(5000);
    Random random(3);
    for (const Pattern pattern : patterns::list<T>())
        for (int round = 0; round < 6; ++round) {
            const std::size_t n = 1000 + random.below(4000);
            in.place(n, random.below(64 / sizeof(T)) * sizeof(T), Edge::end);
            const std::vector<T> x = patterns::fill(in, random, pattern);
            ASSERT_TRUE(k.agrees(in, x, n)) << patterns::name(pattern);
        }
}

// p[0] is read and returned; it may be the last readable element.
template <class T>
void single_none(const Single<T>& k)
{
    ASSERT_TRUE(k.installed());
    Buffer<T> in(1);
    Random random(4);
    for (const Pattern pattern : patterns::list<T>())
        for (std::size_t offset = 0; offset < 64; offset += sizeof(T)) {
            in.place(1, offset, Edge::end);
            const T first = patterns::fill(in, random, pattern)[0];
            T got{};
            ASSERT_TRUE(armed(k.level, [&] { got = k.kernel(in.data(), 0); }));
            ASSERT_TRUE(same_bits(first, got)) << patterns::name(pattern) << " offset " << offset;
        }
}

#define SINGLE(entry, level, T, model, threshold, lanes)                                           \
    namespace single_##entry                                                                       \
    {                                                                                              \
        Single<T> level()                                                                          \
        {                                                                                          \
            return {Level::level, #entry,    KERNEL(rig::at(Level::level), entry),                 \
                    model,        threshold, lanes};                                               \
        }                                                                                          \
    }                                                                                              \
    TEST(entry, level##_bits) { single_bits(single_##entry::level()); }                            \
    TEST(entry, level##_positions) { single_positions(single_##entry::level()); }                  \
    TEST(entry, level##_long) { single_long(single_##entry::level()); }                            \
    TEST(entry, level##_count_0_returns_first) { single_none(single_##entry::level()); }

#define SINGLE_FLOAT(entry, level, T, model, threshold, lanes)                                     \
    SINGLE(entry, level, T, model, threshold, lanes)                                               \
    TEST(entry, level##_pairs) { single_pairs(single_##entry::level()); }

SINGLE(min_u8, base, std::uint8_t, exact<Min>, 0, 16)
SINGLE(min_u8, sse2, std::uint8_t, exact<Min>, 31, 16)
SINGLE(min_u8, avx2, std::uint8_t, exact<Min>, 63, 32)
SINGLE(max_u8, base, std::uint8_t, exact<Max>, 0, 16)
SINGLE(max_u8, sse2, std::uint8_t, exact<Max>, 31, 16)
SINGLE(max_u8, avx2, std::uint8_t, exact<Max>, 63, 32)
SINGLE(min_s16, base, std::int16_t, exact<Min>, 0, 8)
SINGLE(min_s16, sse2, std::int16_t, exact<Min>, 15, 8)
SINGLE(min_s16, avx2, std::int16_t, exact<Min>, 31, 16)
SINGLE(max_s16, base, std::int16_t, exact<Max>, 0, 8)
SINGLE(max_s16, sse2, std::int16_t, exact<Max>, 15, 8)
SINGLE(max_s16, avx2, std::int16_t, exact<Max>, 31, 16)
SINGLE_FLOAT(min_f32, base, float, single_base<Min>, 6, 8)
SINGLE_FLOAT(min_f32, sse, float, f32_sse<Min>, 15, 4)
SINGLE_FLOAT(min_f32, avx, float, f32_avx<Min>, 31, 8)
SINGLE_FLOAT(max_f32, base, float, single_base<Max>, 6, 8)
SINGLE_FLOAT(max_f32, sse, float, f32_sse<Max>, 15, 4)
SINGLE_FLOAT(max_f32, avx, float, f32_avx<Max>, 31, 8)
SINGLE_FLOAT(min_f64, base, double, single_base<Min>, 6, 8)
SINGLE_FLOAT(min_f64, sse2, double, f64_sse2<Min>, 7, 2)
SINGLE_FLOAT(min_f64, avx, double, min_f64_avx, 15, 4)
SINGLE_FLOAT(max_f64, base, double, single_base<Max>, 6, 8)
SINGLE_FLOAT(max_f64, sse2, double, f64_sse2<Max>, 7, 2)
SINGLE_FLOAT(max_f64, avx, double, max_f64_avx, 15, 4)

// --- Pair kernels ------------------------------------------------------------------------------

template <class T>
struct Pair {
    using Kernel = void (*)(const T*, std::size_t, T*, T*);
    using Model = void (*)(const T*, std::size_t, std::size_t, T&, T&);

    Level level;
    const char* entry;
    Kernel kernel;
    Model model;
    std::size_t threshold, lanes;

    bool installed() const
    {
        return rig::at(level).variant(entry) == std::string(entry) + "_" + rig::name(level);
    }
    std::size_t most() const { return threshold + 3 * lanes + 2; }
};

/// The outputs of a pair kernel: two cells, or one for both.
template <class T>
class Outputs {
public:
    explicit Outputs(bool one_cell) : one_(one_cell) {}

    testing::AssertionResult agree(const Pair<T>& k, const Buffer<T>& in, const std::vector<T>& x,
                                   std::size_t n)
    {
        const std::size_t offset = reinterpret_cast<std::uintptr_t>(in.data()) % 64;
        // Where the outputs lie must not matter: between canaries, at changing alignments.
        const std::size_t place = turn_++ % (64 / sizeof(T)) * sizeof(T);
        min_.place(1, place, Edge::end);
        max_.place(1, 64 - sizeof(T) - place, Edge::start);
        min_.set(0, before_);
        max_.set(0, before_);
        T want_min = before_;
        T want_max = before_;
        if (n != 0)
            k.model(x.data(), n, offset, want_min, one_ ? want_min : want_max);
        ++calls;
        auto result = armed(k.level, [&] {
            k.kernel(in.data(), n, min_.data(), one_ ? min_.data() : max_.data());
        });
        if (result)
            if (!(result = same_bits(want_min, min_.get(0))))
                result << " as minimum";
        if (result)
            if (!(result = same_bits(want_max, max_.get(0))))
                result << " as maximum";
        if (result)
            result = min_.intact();
        if (result)
            result = max_.intact();
        if (result)
            result = patterns::untouched(in, x);
        if (!result)
            result << ", " << k.entry << " " << rig::name(k.level) << " n " << n << " offset "
                   << offset;
        return result;
    }

private:
    static constexpr T before_ = T(-77);
    bool one_;
    std::size_t turn_ = 0;
    Buffer<T> min_{1}, max_{1};
};

template <class T>
void pair_bits(const Pair<T>& k, bool one_cell)
{
    const Counted counted;
    ASSERT_TRUE(k.installed());
    Buffer<T> in(k.most());
    Outputs<T> out(one_cell);
    Random random(5);
    for (const Pattern pattern : patterns::list<T>())
        for (const Edge edge : both_edges)
            for (std::size_t offset = 0; offset < 64; offset += sizeof(T))
                for (std::size_t n = 0; n <= k.most(); ++n) {
                    in.place(n, offset, edge);
                    const std::vector<T> x = patterns::fill(in, random, pattern);
                    ASSERT_TRUE(out.agree(k, in, x, n)) << patterns::name(pattern);
                }
}

template <class T>
void pair_positions(const Pair<T>& k)
{
    const Counted counted;
    ASSERT_TRUE(k.installed());
    Buffer<T> in(k.most());
    Outputs<T> out(false);
    using L = std::numeric_limits<T>;
    const T placed[][2] = {
        {T(7), T(6)}, {T(7), T(8)}, {L::lowest(), L::max()}, {L::max(), L::lowest()}};
    std::size_t pair = 0;
    for (std::size_t offset = 0; offset < 64; offset += sizeof(T))
        for (std::size_t n = 1; n <= k.most(); n += n % 3 + 1) {
            in.place(n, offset, Edge::end);
            std::vector<T> x(n);
            for (std::size_t i = 0; i < n; ++i) {
                const T* const values = placed[pair++ % std::size(placed)];
                std::fill(x.begin(), x.end(), values[0]);
                x[i] = values[1];
                patterns::put(in, x);
                ASSERT_TRUE(out.agree(k, in, x, n)) << "position " << i;
            }
        }
}

template <class T>
void pair_pairs(const Pair<T>& k)
{
    const Counted counted;
    ASSERT_TRUE(k.installed());
    Buffer<T> in(k.most());
    Outputs<T> out(false);
    Random random(6);
    for (std::size_t offset = 0; offset < 32; offset += sizeof(T))
        for (std::size_t n = 2; n <= k.most(); ++n) {
            in.place(n, offset, Edge::end);
            std::vector<T> x(n);
            for (std::size_t i = 0; i < n; ++i)
                for (std::size_t j = i + 1; j < n; ++j) {
                    const std::uint64_t what = random.below(6);
                    std::fill(x.begin(), x.end(), what % 2 != 0 ? T(3.5) : T(-3.5));
                    x[i] = what < 2 ? patterns::own_nan<T>(random) : T(what < 4 ? 0.0 : -0.0);
                    x[j] = what < 2 ? patterns::own_nan<T>(random) : T(what < 4 ? -0.0 : 0.0);
                    patterns::put(in, x);
                    ASSERT_TRUE(out.agree(k, in, x, n)) << "positions " << i << " and " << j;
                }
        }
}

template <class T>
void pair_long(const Pair<T>& k)
{
    const Counted counted;
    ASSERT_TRUE(k.installed());
    Buffer<T> in(5000);
    Outputs<T> out(false);
    Random random(7);
    for (const Pattern pattern : patterns::list<T>())
        for (int round = 0; round < 6; ++round) {
            const std::size_t n = 1000 + random.below(4000);
            in.place(n, random.below(64 / sizeof(T)) * sizeof(T), Edge::end);
            const std::vector<T> x = patterns::fill(in, random, pattern);
            ASSERT_TRUE(out.agree(k, in, x, n)) << patterns::name(pattern);
        }
}

// Not even the output that is given is written, and the input is not read: it need not be there.
template <class T>
void pair_null(const Pair<T>& k)
{
    ASSERT_TRUE(k.installed());
    Buffer<T> in(200);
    Buffer<T> out(1);
    out.place(1, 0, Edge::end);
    for (const std::size_t n : {std::size_t{0}, std::size_t{1}, std::size_t{2}, k.threshold,
                                k.threshold + 1, std::size_t{200}}) {
        in.place(n, 0, Edge::end);
        in.fill_bytes(1);
        for (const T* const p :
             {static_cast<const T*>(in.data()), static_cast<const T*>(nullptr)}) {
            out.set(0, T(5));
            ASSERT_TRUE(armed(k.level, [&] { k.kernel(p, n, nullptr, out.data()); })) << n;
            ASSERT_TRUE(armed(k.level, [&] { k.kernel(p, n, out.data(), nullptr); })) << n;
            ASSERT_TRUE(armed(k.level, [&] { k.kernel(p, n, nullptr, nullptr); })) << n;
            ASSERT_TRUE(same_bits(T(5), out.get(0))) << n;
        }
    }
}

template <class T>
void pair_none(const Pair<T>& k)
{
    ASSERT_TRUE(k.installed());
    T min = T(11);
    T max = T(12);
    ASSERT_TRUE(armed(k.level, [&] { k.kernel(nullptr, 0, &min, &max); }));
    EXPECT_TRUE(same_bits(T(11), min));
    EXPECT_TRUE(same_bits(T(12), max));
}

#define PAIR(entry, level, T, model, threshold, lanes)                                             \
    namespace pair_##entry                                                                         \
    {                                                                                              \
        Pair<T> level()                                                                            \
        {                                                                                          \
            return {Level::level, #entry,    KERNEL(rig::at(Level::level), entry),                 \
                    model,        threshold, lanes};                                               \
        }                                                                                          \
    }                                                                                              \
    TEST(entry, level##_bits) { pair_bits(pair_##entry::level(), false); }                         \
    TEST(entry, level##_one_cell_for_both) { pair_bits(pair_##entry::level(), true); }             \
    TEST(entry, level##_positions) { pair_positions(pair_##entry::level()); }                      \
    TEST(entry, level##_long) { pair_long(pair_##entry::level()); }                                \
    TEST(entry, level##_null_output) { pair_null(pair_##entry::level()); }                         \
    TEST(entry, level##_count_0_writes_nothing) { pair_none(pair_##entry::level()); }

#define PAIR_FLOAT(entry, level, T, model, threshold, lanes)                                       \
    PAIR(entry, level, T, model, threshold, lanes)                                                 \
    TEST(entry, level##_pairs) { pair_pairs(pair_##entry::level()); }

PAIR(minmax_s16, base, std::int16_t, pair_base, 8, 8)
PAIR(minmax_s16, sse2, std::int16_t, (minmax_s16_blocks<15, 8>), 15, 8)
PAIR(minmax_s16, avx2, std::int16_t, (minmax_s16_blocks<31, 16>), 31, 16)
PAIR_FLOAT(minmax_f32, base, float, pair_base, 6, 8)
PAIR_FLOAT(minmax_f32, sse, float, minmax_f32_sse, 15, 4)
PAIR_FLOAT(minmax_f32, avx, float, minmax_f32_avx, 31, 8)
PAIR_FLOAT(minmax_f64, base, double, pair_base, 6, 8)
PAIR_FLOAT(minmax_f64, sse2, double, minmax_f64_sse2, 15, 2)
PAIR_FLOAT(minmax_f64, avx, double, minmax_f64_avx, 31, 4)

// --- Named cases -------------------------------------------------------------------------------

float nan_f32(std::uint32_t payload) { return model::from_bits<float>(0x7FC00000U | payload); }
double nan_f64(std::uint64_t payload)
{
    return model::from_bits<double>(0x7FF8000000000000U | payload);
}

template <class T, class Kernel>
testing::AssertionResult gives(Level level, Kernel* kernel, const std::vector<T>& x,
                               std::size_t offset, T want)
{
    Buffer<T> in(x.size());
    in.place(x.size(), offset, Edge::end);
    patterns::put(in, x);
    T got{};
    if (const auto calm = armed(level, [&] { got = kernel(in.data(), x.size()); }); !calm)
        return calm;
    return same_bits(want, got);
}

template <class T, class Kernel>
testing::AssertionResult gives_pair(Level level, Kernel* kernel, const std::vector<T>& x,
                                    std::size_t offset, T want_min, T want_max)
{
    Buffer<T> in(x.size());
    in.place(x.size(), offset, Edge::end);
    patterns::put(in, x);
    T min = T(99);
    T max = T(98);
    if (const auto calm = armed(level, [&] { kernel(in.data(), x.size(), &min, &max); }); !calm)
        return calm;
    if (const auto same = same_bits(want_min, min); !same)
        return testing::AssertionFailure() << "minimum: " << same.message();
    return same_bits(want_max, max) << " (maximum)";
}

TEST(min_u8, every_level_count_0_returns_first_byte)
{
    for (const Level level : {Level::base, Level::sse2, Level::avx2}) {
        const std::uint8_t x[2] = {200, 3};
        EXPECT_EQ(200, KERNEL(rig::at(level), min_u8)(x, 0)) << rig::name(level);
        EXPECT_EQ(200, KERNEL(rig::at(level), max_u8)(x, 0)) << rig::name(level);
    }
}

TEST(min_u8, every_level_bytes_are_unsigned)
{
    for (const Level level : {Level::base, Level::sse2, Level::avx2})
        for (const std::size_t n : {3U, 100U}) {
            std::vector<std::uint8_t> x(n, 128);
            x[n / 2] = 127;
            EXPECT_TRUE(gives(level, KERNEL(rig::at(level), min_u8), x, 0, std::uint8_t{127}));
            x[n / 2] = 129;
            EXPECT_TRUE(gives(level, KERNEL(rig::at(level), max_u8), x, 0, std::uint8_t{129}));
        }
}

TEST(min_f32, base_nan_first_of_three_is_dropped)
{
    const auto kernel = KERNEL(rig::at(Level::base), min_f32);
    EXPECT_TRUE(gives(Level::base, kernel, {nan_f32(1), 1.0F, 2.0F}, 0, 1.0F));
}

TEST(min_f32, base_nan_last_of_five_is_ignored)
{
    const auto kernel = KERNEL(rig::at(Level::base), min_f32);
    EXPECT_TRUE(gives(Level::base, kernel, {1.0F, 2.0F, 3.0F, 4.0F, nan_f32(1)}, 0, 1.0F));
}

TEST(min_f32, base_nan_last_of_two_is_returned)
{
    const auto kernel = KERNEL(rig::at(Level::base), min_f32);
    EXPECT_TRUE(gives(Level::base, kernel, {1.0F, nan_f32(9)}, 0, nan_f32(9)));
}

TEST(min_f32, base_nan_first_of_five_is_returned)
{
    const auto kernel = KERNEL(rig::at(Level::base), min_f32);
    EXPECT_TRUE(gives(Level::base, kernel, {nan_f32(9), 1.0F, 2.0F, 3.0F, 4.0F}, 0, nan_f32(9)));
}

// The same two orders in all four kernels, on both sides of the change from 4 to 5 elements.
TEST(min_f32, base_operand_order_changes_at_five)
{
    const auto two = [](auto minimum, auto maximum, auto nan) {
        using T = decltype(nan);
        for (const auto kernel : {minimum, maximum}) {
            for (std::size_t n = 2; n <= 8; ++n) {
                std::vector<T> x(n, T(4));
                x[0] = nan;
                EXPECT_TRUE(gives(Level::base, kernel, x, 0, n <= 4 ? T(4) : nan)) << n;
                x[0] = T(4);
                x[n - 1] = nan;
                EXPECT_TRUE(gives(Level::base, kernel, x, 0, n <= 4 ? nan : T(4))) << n;
                // Of equal zeros the later stays up to 4, the first from 5 on.
                x.assign(n, T(0.0));
                x[0] = T(-0.0);
                EXPECT_TRUE(gives(Level::base, kernel, x, 0, n <= 4 ? T(0.0) : T(-0.0))) << n;
            }
        }
    };
    const Library& base = rig::at(Level::base);
    two(KERNEL(base, min_f32), KERNEL(base, max_f32), nan_f32(77));
    two(KERNEL(base, min_f64), KERNEL(base, max_f64), nan_f64(77));
}

TEST(min_f32, every_level_signalling_nan_returned_unchanged)
{
    const float signalling = model::from_bits<float>(0xFF800123U);
    for (const Level level : {Level::base, Level::sse, Level::avx})
        EXPECT_TRUE(
            gives(level, KERNEL(rig::at(level), min_f32), {1.0F, signalling}, 0, signalling))
            << rig::name(level);
}

// The last step takes the tail's and the blocks' result as second operand at SSE, the head at AVX.
TEST(min_f32, sse_tie_of_head_and_blocks_gives_blocks)
{
    std::vector<float> x(20, 0.0F);
    std::fill(x.begin(), x.begin() + 3, -0.0F);
    EXPECT_TRUE(gives(Level::sse, KERNEL(rig::at(Level::sse), min_f32), x, 4, 0.0F));
    EXPECT_TRUE(gives(Level::sse, KERNEL(rig::at(Level::sse), max_f32), x, 4, 0.0F));
}

TEST(min_f32, avx_tie_of_head_and_blocks_gives_head)
{
    std::vector<float> x(40, 0.0F);
    std::fill(x.begin(), x.begin() + 7, -0.0F);
    EXPECT_TRUE(gives(Level::avx, KERNEL(rig::at(Level::avx), min_f32), x, 4, -0.0F));
    EXPECT_TRUE(gives(Level::avx, KERNEL(rig::at(Level::avx), max_f32), x, 4, -0.0F));
}

// Only the first block holds zeros. SSE keeps the one of lane 3, second in both halvings; AVX that
// of lane 3 too, because its first halving has lane 7 before lane 3.
TEST(min_f32, fold_keeps_lane_3_of_equal_lanes)
{
    for (std::size_t lane = 1; lane < 4; ++lane) {
        std::vector<float> x(16, 1.0F);
        for (std::size_t j = 1; j < 4; ++j)
            x[j] = j == lane ? -0.0F : 0.0F;
        EXPECT_TRUE(
            gives(Level::sse, KERNEL(rig::at(Level::sse), min_f32), x, 0, lane == 3 ? -0.0F : 0.0F))
            << lane;
    }
    for (std::size_t lane = 1; lane < 8; ++lane) {
        std::vector<float> x(32, 1.0F);
        for (std::size_t j = 1; j < 8; ++j)
            x[j] = j == lane ? -0.0F : 0.0F;
        EXPECT_TRUE(
            gives(Level::avx, KERNEL(rig::at(Level::avx), min_f32), x, 0, lane == 3 ? -0.0F : 0.0F))
            << lane;
    }
}

TEST(min_f64, sse2_even_count_8_past_leaves_the_last_out)
{
    std::vector<double> x(10, 5.0);
    x[9] = 1.0;
    const auto kernel = KERNEL(rig::at(Level::sse2), min_f64);
    EXPECT_TRUE(gives(Level::sse2, kernel, x, 8, 5.0));
    EXPECT_TRUE(gives(Level::sse2, kernel, x, 24, 5.0));
    EXPECT_TRUE(gives(Level::sse2, kernel, x, 0, 1.0)); // aligned: exact
    x[8] = 1.0;
    EXPECT_TRUE(gives(Level::sse2, kernel, x, 8, 1.0)); // the last but one is seen
    x.assign(7, 5.0);
    x[6] = 1.0;
    EXPECT_TRUE(gives(Level::sse2, kernel, x, 8, 1.0)); // below the threshold all are
    x.assign(11, 5.0);
    x[10] = 1.0;
    EXPECT_TRUE(gives(Level::sse2, kernel, x, 8, 1.0)); // an odd count sees it twice
}

TEST(max_f64, sse2_even_count_8_past_leaves_the_last_out)
{
    std::vector<double> x(10, 5.0);
    x[9] = 9.0;
    const auto kernel = KERNEL(rig::at(Level::sse2), max_f64);
    EXPECT_TRUE(gives(Level::sse2, kernel, x, 8, 5.0));
    EXPECT_TRUE(gives(Level::sse2, kernel, x, 0, 9.0));
}

// The parity step puts p[n - 1] second, and the head comes second after it: a NaN in the last place
// wipes out the blocks and leaves the head.
TEST(min_f64, sse2_odd_count_last_nan_leaves_the_head)
{
    std::vector<double> x(9, 5.0);
    x[0] = 7.0;
    x[8] = nan_f64(3);
    EXPECT_TRUE(gives(Level::sse2, KERNEL(rig::at(Level::sse2), min_f64), x, 0, 7.0));
    x[0] = nan_f64(4);
    EXPECT_TRUE(gives(Level::sse2, KERNEL(rig::at(Level::sse2), min_f64), x, 0, nan_f64(4)));
    x.pop_back();
    EXPECT_TRUE(gives(Level::sse2, KERNEL(rig::at(Level::sse2), min_f64), x, 0, nan_f64(4)));
    x[0] = 7.0;
    EXPECT_TRUE(gives(Level::sse2, KERNEL(rig::at(Level::sse2), min_f64), x, 0, 5.0));
}

TEST(minmax_f64, sse2_even_count_8_past_leaves_the_last_out)
{
    const auto kernel = KERNEL(rig::at(Level::sse2), minmax_f64);
    for (const double last : {1.0, 9.0}) {
        std::vector<double> x(16, 5.0);
        x[15] = last;
        EXPECT_TRUE(gives_pair(Level::sse2, kernel, x, 8, 5.0, 5.0));
        EXPECT_TRUE(
            gives_pair(Level::sse2, kernel, x, 0, last < 5.0 ? 1.0 : 5.0, last > 5.0 ? 9.0 : 5.0));
        x.push_back(last);
        x[15] = 5.0;
        EXPECT_TRUE(
            gives_pair(Level::sse2, kernel, x, 8, last < 5.0 ? 1.0 : 5.0, last > 5.0 ? 9.0 : 5.0));
    }
}

// The pair kernel's fold is lane 0 first, the single ones' lane 1 first.
TEST(minmax_f64, sse2_fold_is_the_other_way_round_than_min_f64)
{
    std::vector<double> x(16, 0.0);
    x[0] = 1.0; // h, out of the way
    for (std::size_t i = 1; i < 16; i += 2)
        x[i] = -0.0;
    EXPECT_TRUE(gives(Level::sse2, KERNEL(rig::at(Level::sse2), min_f64), x, 0, 0.0));
    double min = 5;
    double max = 5;
    Buffer<double> in(16);
    in.place(16, 0, Edge::end);
    patterns::put(in, x);
    ASSERT_TRUE(armed(Level::sse2, [&] {
        KERNEL(rig::at(Level::sse2), minmax_f64)(in.data(), 16, &min, &max);
    }));
    EXPECT_TRUE(same_bits(-0.0, min));
    EXPECT_TRUE(same_bits(1.0, max));
}

TEST(max_f64, avx_head_is_skipped)
{
    const auto kernel = KERNEL(rig::at(Level::avx), max_f64);
    for (const std::size_t offset : {8U, 16U, 24U}) {
        std::vector<double> x(16, 1.0);
        const std::size_t head = (32 - offset) / 8;
        for (std::size_t i = 0; i < head; ++i)
            x[i] = 9.0;
        x[15] = 2.0;
        EXPECT_TRUE(gives(Level::avx, kernel, x, offset, 2.0)) << offset;
        x[head] = 7.0; // the first on the boundary is seen
        EXPECT_TRUE(gives(Level::avx, kernel, x, offset, 7.0)) << offset;
        x.pop_back(); // 15: the baseline sees all
        EXPECT_TRUE(gives(Level::avx, kernel, x, offset, 9.0)) << offset;
    }
    std::vector<double> x(16, 1.0);
    x[0] = 9.0;
    EXPECT_TRUE(gives(Level::avx, kernel, x, 32, 9.0)); // aligned: nothing is skipped
}

TEST(min_f64, avx_head_is_examined)
{
    const auto kernel = KERNEL(rig::at(Level::avx), min_f64);
    for (const std::size_t offset : {8U, 16U, 24U})
        for (std::size_t i = 0; i < (32 - offset) / 8; ++i) {
            std::vector<double> x(16, 1.0);
            x[i] = -9.0;
            EXPECT_TRUE(gives(Level::avx, kernel, x, offset, -9.0)) << offset << " " << i;
        }
}

TEST(min_s16, sse2_both_sides_of_the_threshold_are_exact)
{
    const auto kernel = KERNEL(rig::at(Level::sse2), min_s16);
    for (const std::size_t n : {15U, 16U})
        for (std::size_t i = 0; i < n; ++i) {
            std::vector<std::int16_t> x(n, 30000);
            x[i] = -32768;
            EXPECT_TRUE(gives(Level::sse2, kernel, x, 2, std::int16_t{-32768})) << n << " " << i;
        }
}

// Of equal zeros the baseline keeps the first, the blocks the last of their lanes.
TEST(min_f32, thresholds_show_in_equal_zeros)
{
    const auto shows = [](Level level, std::size_t threshold, auto* kernel, auto beaten) {
        using T = decltype(beaten);
        std::vector<T> x(threshold, T(0.0));
        x[0] = beaten;
        x[1] = T(-0.0);
        EXPECT_TRUE(gives(level, kernel, x, 0, T(-0.0))) << rig::name(level);
        x.push_back(T(0.0));
        EXPECT_TRUE(gives(level, kernel, x, 0, T(0.0))) << rig::name(level);
    };
    shows(Level::sse, 15, KERNEL(rig::at(Level::sse), min_f32), 1.0F);
    shows(Level::sse, 15, KERNEL(rig::at(Level::sse), max_f32), -1.0F);
    shows(Level::avx, 31, KERNEL(rig::at(Level::avx), min_f32), 1.0F);
    shows(Level::avx, 31, KERNEL(rig::at(Level::avx), max_f32), -1.0F);
    shows(Level::sse2, 7, KERNEL(rig::at(Level::sse2), min_f64), 1.0);
    shows(Level::sse2, 7, KERNEL(rig::at(Level::sse2), max_f64), -1.0);
    shows(Level::avx, 15, KERNEL(rig::at(Level::avx), min_f64), 1.0);
    shows(Level::avx, 15, KERNEL(rig::at(Level::avx), max_f64), -1.0);
}

TEST(minmax_f32, every_level_null_maximum_writes_not_even_the_minimum)
{
    for (const Level level : {Level::base, Level::sse, Level::avx})
        for (const std::size_t n : {1U, 5U, 50U}) {
            std::vector<float> x(n, 3.0F);
            float min = 42.0F;
            ASSERT_TRUE(armed(level, [&] {
                KERNEL(rig::at(level), minmax_f32)(x.data(), n, &min, nullptr);
            }));
            EXPECT_TRUE(same_bits(42.0F, min));
        }
}

TEST(minmax_s16, every_level_count_0_leaves_outputs)
{
    for (const Level level : {Level::base, Level::sse2, Level::avx2}) {
        std::int16_t min = 42;
        std::int16_t max = 43;
        const std::int16_t x = 7;
        ASSERT_TRUE(armed(level, [&] { KERNEL(rig::at(level), minmax_s16)(&x, 0, &min, &max); }));
        EXPECT_EQ(42, min);
        EXPECT_EQ(43, max);
    }
}

TEST(minmax_f32, base_nan_first_stays_in_both)
{
    const auto kernel = KERNEL(rig::at(Level::base), minmax_f32);
    EXPECT_TRUE(
        gives_pair(Level::base, kernel, {nan_f32(5), 1.0F, 2.0F}, 0, nan_f32(5), nan_f32(5)));
    EXPECT_TRUE(
        gives_pair(Level::base, kernel, {1.0F, nan_f32(5), 2.0F, nan_f32(6)}, 0, 1.0F, 2.0F));
}

// The outputs hold the running state: one cell for both follows each number that differs.
TEST(minmax_f32, base_one_cell_ends_with_the_last_number)
{
    const auto kernel = KERNEL(rig::at(Level::base), minmax_f32);
    const float x[] = {5.0F, 9.0F, 1.0F, 3.0F, nan_f32(1)};
    float cell = 0.0F;
    ASSERT_TRUE(armed(Level::base, [&] { kernel(x, 5, &cell, &cell); }));
    EXPECT_TRUE(same_bits(3.0F, cell));
}

// With an array off its element alignment the head of a vector variant never meets the boundary and
// reads on to the end of the memory; the baseline reads only what it is told of.
template <class T, class Call>
void runs_past(Level level, std::size_t threshold, const Call& call)
{
    Buffer<T> in(threshold + 1);
    for (std::size_t off = 1; off < sizeof(T); ++off) {
        in.place(threshold + 1, 64 - (threshold + 1) * sizeof(T) % 64 - off, Edge::end);
        in.fill_bytes(0);
        EXPECT_TRUE(faults([&] { call(in.data(), threshold + 1); }))
            << rig::name(level) << " " << off;
        in.place(threshold, 64 - threshold * sizeof(T) % 64 - off, Edge::end);
        in.fill_bytes(0);
        EXPECT_TRUE(armed(level, [&] { call(in.data(), threshold); }))
            << rig::name(level) << " " << off;
    }
}

#define RUNS_PAST(entry, level, T, threshold)                                                      \
    TEST(entry, level##_off_element_alignment_runs_past_the_array)                                 \
    {                                                                                              \
        runs_past<T>(Level::level, threshold, [](const T* p, std::size_t n) {                      \
            KERNEL(rig::at(Level::level), entry)(p, n);                                            \
        });                                                                                        \
    }
#define PAIR_RUNS_PAST(entry, level, T, threshold)                                                 \
    TEST(entry, level##_off_element_alignment_runs_past_the_array)                                 \
    {                                                                                              \
        runs_past<T>(Level::level, threshold, [](const T* p, std::size_t n) {                      \
            T min;                                                                                 \
            T max;                                                                                 \
            KERNEL(rig::at(Level::level), entry)(p, n, &min, &max);                                \
        });                                                                                        \
    }

RUNS_PAST(min_s16, sse2, std::int16_t, 15)
RUNS_PAST(min_s16, avx2, std::int16_t, 31)
RUNS_PAST(max_s16, sse2, std::int16_t, 15)
RUNS_PAST(max_s16, avx2, std::int16_t, 31)
RUNS_PAST(min_f32, sse, float, 15)
RUNS_PAST(min_f32, avx, float, 31)
RUNS_PAST(max_f32, sse, float, 15)
RUNS_PAST(max_f32, avx, float, 31)
RUNS_PAST(min_f64, sse2, double, 7)
RUNS_PAST(min_f64, avx, double, 15)
RUNS_PAST(max_f64, sse2, double, 7)
PAIR_RUNS_PAST(minmax_s16, sse2, std::int16_t, 15)
PAIR_RUNS_PAST(minmax_s16, avx2, std::int16_t, 31)
PAIR_RUNS_PAST(minmax_f32, sse, float, 15)
PAIR_RUNS_PAST(minmax_f32, avx, float, 31)
PAIR_RUNS_PAST(minmax_f64, sse2, double, 15)
PAIR_RUNS_PAST(minmax_f64, avx, double, 31)

} // namespace
