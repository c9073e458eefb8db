// tests/spec_log_test.cpp: spec_log_f32 and spec_log_f64, each variant bit for bit: what is asked
// of the library's log10f and log10, and the blocks' own logarithm.
#include "models/spec_log.h"
#include "rig/buffer.h"
#include "rig/call.h"
#include "rig/data.h"

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstdint>
#include <initializer_list>
#include <type_traits>
#include <vector>

namespace {

using namespace spec_log;
using rig::Edge;
using rig::Kind;
using Sizes = std::initializer_list<std::size_t>;

constexpr Level f32_levels[] = {Level::base, Level::sse2, Level::avx2};

// --- The system's logarithm, watched ---------------------------------------------------------

/// While one lives, a library's calls of log10f and log10 are written down. Answers are the
/// system's, or for `invented` bits of our own, NaNs among them, that no formula would give.
class Asked {
public:
    explicit Asked(rig::Library& library, bool invented = false) : library_(library)
    {
        floats.clear();
        doubles.clear();
        floats.reserve(1024);
        doubles.reserve(1024);
        inventing = invented;
        library.intercept("log10f", reinterpret_cast<void*>(&answer_f32));
        library.intercept("log10", reinterpret_cast<void*>(&answer_f64));
    }
    ~Asked() { library_.release(); }
    Asked(const Asked&) = delete;
    Asked& operator=(const Asked&) = delete;

    static inline std::vector<float> floats;
    static inline std::vector<double> doubles;

    template <class T>
    static const std::vector<T>& of()
    {
        if constexpr (std::is_same_v<T, float>)
            return floats;
        else
            return doubles;
    }

    static float invent(float v)
    {
        std::uint32_t bits = rig::bits_of(v) * 0x9E3779B1U;
        bits ^= bits >> 15;
        return model::from_bits<float>(bits % 5 == 0 ? bits | 0x7F800001U : bits);
    }
    static double invent(double v)
    {
        std::uint64_t bits = rig::bits_of(v) * 0x9E3779B97F4A7C15U;
        bits ^= bits >> 31;
        return model::from_bits<double>(bits % 5 == 0 ? bits | 0x7FF0000000000001U : bits);
    }

private:
    static float answer_f32(float v)
    {
        if (floats.size() < floats.capacity())
            floats.push_back(v);
        return inventing ? invent(v) : std::log10(v);
    }
    static double answer_f64(double v)
    {
        if (doubles.size() < doubles.capacity())
            doubles.push_back(v);
        return inventing ? invent(v) : std::log10(v);
    }

    static inline bool inventing = false;
    rig::Library& library_;
};

// --- One call --------------------------------------------------------------------------------

/// Powers: every exponent, any mantissa, and what has to be clamped.
template <class T>
T some_power(rig::Random& random, Kind kind)
{
    if (kind != Kind::ordinary)
        return rig::make<T>(random, kind);
    using F = model::Format<T>;
    const auto bits = static_cast<typename F::Bits>(random.bits()) & ~F::sign;
    return model::from_bits<T>((bits & F::exponent) == F::exponent ? bits & F::mantissa : bits);
}

template <class T>
using Kernel = void (*)(const T*, std::size_t, T*, T);

template <class T>
Kernel<T> kernel_at(Level level)
{
    if constexpr (std::is_same_v<T, float>)
        return KERNEL(rig::at(level), spec_log_f32);
    else
        return KERNEL(rig::at(level), spec_log_f64);
}

template <class T>
class SpecLog {
public:
    explicit SpecLog(Level level, bool invented = false)
        : level_(level), invented_(invented), kernel_(kernel_at<T>(level))
    {
    }

    /// in_place: in and out are one array, at in_at.
    testing::AssertionResult operator()(std::size_t n, std::size_t in_at, std::size_t out_at,
                                        Edge edge, Kind kind, T offset, bool in_place = false)
    {
        const auto result = run(n, in_at, out_at, edge, kind, offset, in_place);
        if (result)
            return result;
        return testing::AssertionFailure()
               << rig::name(level_) << ", n " << n << ", in/out at " << in_at << "/" << out_at
               << (in_place ? " (one array)" : "") << ", edge " << static_cast<int>(edge)
               << ", kind " << static_cast<int>(kind) << ", offset " << rig::show(offset) << ": "
               << result.message();
    }

private:
    testing::AssertionResult run(std::size_t n, std::size_t in_at, std::size_t out_at, Edge edge,
                                 Kind kind, T offset, bool in_place)
    {
        const bool blocks = std::is_same_v<T, float> && n > threshold(level_);
        T* const in = in_.place(n, in_at, edge);
        T* const out = in_place ? in : out_.place(n, out_at, edge);
        rig::fill(out, n, random_, Kind::special);
        in_before_.resize(n);
        asked_.resize(n);
        want_.resize(n);
        for (std::size_t i = 0; i < n; ++i) {
            in_before_[i] = some_power<T>(random_, kind);
            in_.set(i, in_before_[i]);
            asked_[i] = clamped(in_before_[i]);
            if (blocks) {
                if constexpr (std::is_same_v<T, float>)
                    want_[i] = block_model(in_before_[i], offset);
            } else {
                want_[i] =
                    decibels(invented_ ? Asked::invent(asked_[i]) : std::log10(asked_[i]), offset);
            }
        }
        {
            const Asked watching(rig::at(level_), invented_);
            const Level variant = std::is_same_v<T, float> ? level_ : Level::base;
            if (const auto call = armed(variant, [&] { kernel_(in, n, out, offset); }); !call)
                return call;
            const std::vector<T>& calls = Asked::of<T>();
            if (calls.size() != (blocks ? 0 : n) ||
                Asked::floats.size() + Asked::doubles.size() != calls.size())
                return testing::AssertionFailure() << Asked::floats.size() << " calls of log10f, "
                                                   << Asked::doubles.size() << " of log10";
            if (!blocks)
                if (const auto order = rig::same_bits(asked_.data(), calls.data(), n); !order)
                    return testing::AssertionFailure() << "asked log10 of: " << order.message();
        }
        if (const auto bits = rig::same_bits(want_.data(), out, n); !bits)
            return bits;
        if (!in_place && !rig::same_bits(in_before_.data(), in, n))
            return testing::AssertionFailure() << "in was written";
        if (const auto still = in_.intact(); !still)
            return still;
        return in_place ? testing::AssertionSuccess() : out_.intact();
    }

    Level level_;
    bool invented_;
    Kernel<T> kernel_;
    rig::Random random_{1};
    rig::Buffer<T> in_{512}, out_{512};
    std::vector<T> in_before_, asked_, want_;
};

/// A NaN offset among them: of two NaNs the logarithm's survives.
template <class T>
const std::vector<T>& offsets()
{
    using F = model::Format<T>;
    static const std::vector<T> list = {T(0),   T(-0.0),      T(12.345),
                                        T(-90), T(HUGE_VALF), model::from_bits<T>(F::exponent | 7)};
    return list;
}

/// Counts that go to the baseline, at every alignment of both arrays.
template <class T>
void library_path(Level level, bool invented)
{
    SpecLog<T> check(level, invented);
    const std::size_t most = std::min<std::size_t>(threshold(level), 40);
    for (std::size_t n = 0; n <= most; ++n) {
        for (const T offset : offsets<T>())
            for (const Kind kind : rig::all_kinds)
                for (const Edge edge : rig::both_edges)
                    ASSERT_TRUE(check(n, 64 - sizeof(T), 0, edge, kind, offset));
        for (std::size_t in = 0; in < 64; in += sizeof(T)) {
            for (std::size_t out = 0; out < 64; out += sizeof(T))
                ASSERT_TRUE(check(n, in, out, Edge::end, Kind::mixed, T(3)));
            ASSERT_TRUE(check(n, in, in, Edge::start, Kind::mixed, T(3), true));
        }
    }
}

/// Counts above the threshold, at every alignment that a block allows.
void block_path(Level level)
{
    SpecLog<float> check(level);
    const std::size_t step = 4 * lanes(level);
    for (std::size_t n = threshold(level) + 1; n <= threshold(level) + 1 + 9 * lanes(level);
         n += lanes(level))
        for (std::size_t in = 0; in < 64; in += step)
            for (std::size_t out = 0; out < 64; out += step)
                for (const Edge edge : rig::both_edges)
                    for (const float offset : offsets<float>())
                        for (const Kind kind : rig::all_kinds) {
                            ASSERT_TRUE(check(n, in, out, edge, kind, offset));
                            ASSERT_TRUE(check(n, in, out, edge, kind, offset, true));
                        }
}

// --- spec_log_f32: variants and paths --------------------------------------------------------

TEST(spec_log_f32, variants)
{
    EXPECT_EQ(rig::at(Level::base).variant("spec_log_f32"), "spec_log_f32_base");
    EXPECT_EQ(rig::at(Level::sse2).variant("spec_log_f32"), "spec_log_f32_sse2");
    EXPECT_EQ(rig::at(Level::avx2).variant("spec_log_f32"), "spec_log_f32_avx2");
    for (const Level level : rig::all_levels)
        EXPECT_EQ(rig::at(level).variant("spec_log_f64"), "spec_log_f64_base");
}

TEST(spec_log_f32, base_bits) { library_path<float>(Level::base, false); }
TEST(spec_log_f32, sse2_library_path_bits) { library_path<float>(Level::sse2, false); }
TEST(spec_log_f32, avx2_library_path_bits) { library_path<float>(Level::avx2, false); }
TEST(spec_log_f64, base_bits) { library_path<double>(Level::base, false); }

/// Any answer of the logarithm is scaled and shifted, NaNs included.
TEST(spec_log_f32, base_invented_logarithm) { library_path<float>(Level::base, true); }
TEST(spec_log_f32, sse2_invented_logarithm) { library_path<float>(Level::sse2, true); }
TEST(spec_log_f32, avx2_invented_logarithm) { library_path<float>(Level::avx2, true); }
TEST(spec_log_f64, base_invented_logarithm) { library_path<double>(Level::base, true); }

/// The baseline has no threshold.
TEST(spec_log_f32, base_large_counts)
{
    SpecLog<float> check(Level::base);
    for (const std::size_t n : Sizes{64, 65, 127, 400})
        for (std::size_t in = 0; in < 64; in += 4)
            ASSERT_TRUE(check(n, in, 4, Edge::end, Kind::ordinary, 1.5F));
}

TEST(spec_log_f64, base_large_counts)
{
    SpecLog<double> check(Level::base);
    for (const std::size_t n : Sizes{64, 65, 127, 400})
        for (std::size_t in = 0; in < 64; in += 8)
            ASSERT_TRUE(check(n, in, 8, Edge::end, Kind::ordinary, 1.5));
}

TEST(spec_log_f32, sse2_block_path_bits) { block_path(Level::sse2); }
TEST(spec_log_f32, avx2_block_path_bits) { block_path(Level::avx2); }

/// Many lanes at once: the model's bits, and the same bits at both levels.
void blocks_of(const std::vector<float>& values, float offset)
{
    const std::size_t n = (values.size() + 31) / 32 * 32;
    rig::Buffer<float> in(n);
    rig::Buffer<float> out(n);
    in.place(n, 0, Edge::end);
    out.place(n, 0, Edge::end);
    for (std::size_t i = 0; i < n; ++i)
        in.set(i, i < values.size() ? values[i] : 1.0F);
    for (const Level level : {Level::sse2, Level::avx2}) {
        out.fill_bytes(0xEE);
        ASSERT_TRUE(
            armed(level, [&] { kernel_at<float>(level)(in.data(), n, out.data(), offset); }));
        for (std::size_t i = 0; i < n; ++i)
            ASSERT_TRUE(rig::same_bits(block_model(in.get(i), offset), out.get(i)))
                << rig::name(level) << ", of " << rig::show(in.get(i));
    }
}

/// Each exponent with the ends of the mantissa and both sides of the square root of one half.
TEST(spec_log_f32, blocks_every_exponent)
{
    constexpr std::uint32_t root = 0x3504F3;
    std::vector<float> values;
    for (std::uint32_t exponent = 0; exponent < 256; ++exponent)
        for (const std::uint32_t mantissa : {0U, 1U, 2U, root - 2, root - 1, root, root + 1,
                                             root + 2, 0x400000U, 0x7FFFFEU, 0x7FFFFFU})
            for (const std::uint32_t sign : {0U, 0x80000000U})
                values.push_back(model::from_bits<float>(sign | exponent << 23 | mantissa));
    blocks_of(values, 0.0F);
    blocks_of(values, -17.25F);
}

TEST(spec_log_f32, blocks_random_bits)
{
    rig::Random random(21);
    std::vector<float> values(150000);
    for (float& value : values)
        value = model::from_bits<float>(static_cast<std::uint32_t>(random.bits()));
    blocks_of(values, 3.75F);
}

TEST(spec_log_f32, blocks_random_normal_powers)
{
    rig::Random random(22);
    std::vector<float> values(150000);
    for (float& value : values)
        value = some_power<float>(random, Kind::ordinary);
    blocks_of(values, 0.0F);
}

/// Near 1, where the result is small and every rounding shows.
TEST(spec_log_f32, blocks_around_one)
{
    std::vector<float> values;
    for (std::uint32_t d = 0; d < 40000; ++d) {
        values.push_back(model::from_bits<float>(0x3F800000 + d * 17));
        values.push_back(model::from_bits<float>(0x3F800000 - d * 23));
    }
    blocks_of(values, 0.0F);
}

/// Powers at which one unit in the last place of a coefficient, or of the square root of one half,
/// shows in the result: two for each side of p0 to p8, then of q1, then the root. Found by search;
/// for p0 there are twelve in [0.25, 4).
TEST(spec_log_f32, blocks_last_bits_of_the_coefficients)
{
    std::vector<float> values;
    for (const std::uint32_t bits :
         {0x3EB311F2U, 0x3F2E18E1U, 0x3F2B4397U, 0x3F2D384EU, 0x3EADDE1DU, 0x3EAF2F63U, 0x3EA49903U,
          0x3EAFE39BU, 0x3EB19D43U, 0x3EA883BDU, 0x3EAE42BAU, 0x3EA77EFCU, 0x3EA36622U, 0x3EAB060AU,
          0x3E9F9052U, 0x3EA02F34U, 0x3E95E713U, 0x3E9F654DU, 0x3E98B741U, 0x3E99571CU, 0x3E9A372BU,
          0x3E9B6C5AU, 0x3E97053EU, 0x3E9831C7U, 0x3E8F69F9U, 0x3E8FBEB8U, 0x3E8988E6U, 0x3E89F7EBU,
          0x3E8C9904U, 0x3E8D8F3AU, 0x3E82C990U, 0x3E82D7E6U, 0x3E84C488U, 0x3E863396U, 0x3E800BABU,
          0x3E8033F3U, 0x3E801978U, 0x3E801E15U, 0x3F3504F2U, 0x3FB504F2U})
        values.push_back(model::from_bits<float>(bits));
    blocks_of(values, 0.0F);
}

/// That the numbers are decibels at all, whatever the bits: within 4e-6 of 10 log10(x), or of 1.
TEST(spec_log_f32, blocks_are_decibels)
{
    rig::Random random(23);
    constexpr std::size_t n = 4096;
    rig::Buffer<float> in(n);
    rig::Buffer<float> out(n);
    for (const Level level : f32_levels) {
        in.place(n, 0, Edge::end);
        out.place(n, 0, Edge::end);
        for (std::size_t i = 0; i < n; ++i) {
            const float power = some_power<float>(random, Kind::ordinary);
            in.set(i, power > FLT_MIN ? power : 2.0F);
        }
        ASSERT_TRUE(armed(level, [&] { kernel_at<float>(level)(in.data(), n, out.data(), 0.0F); }));
        for (std::size_t i = 0; i < n; ++i) {
            const double want = 10.0 * std::log10(static_cast<double>(in.get(i)));
            ASSERT_NEAR(static_cast<double>(out.get(i)), want,
                        4e-6 * std::max(1.0, std::fabs(want)) / 10)
                << rig::name(level) << ", of " << rig::show(in.get(i));
        }
    }
}

// --- spec_log_f32: thresholds, ends, alignment -----------------------------------------------

struct Loose {
    rig::Buffer<float> in{256}, out{256};

    void place(std::size_t in_room, std::size_t in_at, std::size_t out_room, std::size_t out_at)
    {
        in.place(in_room, in_at, Edge::end);
        out.place(out_room, out_at, Edge::end);
        for (std::size_t i = 0; i < in_room; ++i)
            in.set(i, static_cast<float>(i + 1));
        for (std::size_t i = 0; i < out_room; ++i)
            out.set(i, -777.0F);
    }
    bool faults(Level level, std::size_t n)
    {
        return rig::faults([&] { kernel_at<float>(level)(in.data(), n, out.data(), 0.0F); });
    }
};

TEST(spec_log_f32, zero_count_touches_nothing)
{
    for (const Level level : f32_levels) {
        const Asked watching(rig::at(level));
        EXPECT_TRUE(armed(level, [&] { kernel_at<float>(level)(nullptr, 0, nullptr, 1); }));
        EXPECT_TRUE(Asked::floats.empty());
    }
    const Asked watching(rig::at(Level::base));
    EXPECT_TRUE(
        armed(Level::base, [&] { kernel_at<double>(Level::base)(nullptr, 0, nullptr, 1); }));
    EXPECT_TRUE(Asked::doubles.empty());
}

/// 15 go to log10f everywhere; 16 and up take SSE2's blocks; AVX2's begin at 32.
TEST(spec_log_f32, thresholds_count_the_calls)
{
    Loose loose;
    for (const Level level : f32_levels)
        for (const std::size_t n : Sizes{1, 3, 4, 8, 14, 15, 16, 20, 24, 28, 31, 32, 40, 64}) {
            const bool blocks =
                (level == Level::sse2 && n >= 16) || (level == Level::avx2 && n >= 32);
            if (blocks && n % lanes(level) != 0)
                continue;
            loose.place(n, 0, n, 0);
            const Asked watching(rig::at(level));
            ASSERT_TRUE(armed(level, [&] {
                kernel_at<float>(level)(loose.in.data(), n, loose.out.data(), 0.0F);
            }));
            EXPECT_EQ(Asked::floats.size(), blocks ? 0 : n) << rig::name(level) << ", n " << n;
            EXPECT_TRUE(Asked::doubles.empty());
        }
}

/// AVX2 from 16 to 31: the library call, whatever the count and the alignment.
TEST(spec_log_f32, avx2_below_32_takes_any_count_and_alignment)
{
    SpecLog<float> check(Level::avx2);
    for (std::size_t n = 16; n <= 31; ++n)
        for (std::size_t at = 0; at < 64; at += 4)
            ASSERT_TRUE(check(n, at, (at + 4) % 64, Edge::end, Kind::mixed, 0.0F));
}

/// The block loop ends on equality alone: any other count runs past n, writing, until a page stops
/// it; and does so with no call of log10f. The multiples beside them end.
TEST(spec_log_f32, count_not_whole_runs_past_the_end)
{
    Loose loose;
    for (const Level level : {Level::sse2, Level::avx2})
        for (std::size_t n = threshold(level) + 1; n <= threshold(level) + 17; ++n) {
            constexpr std::size_t room = 128;
            loose.place(room, 0, room, 0);
            const Asked watching(rig::at(level));
            const bool whole = n % lanes(level) == 0;
            ASSERT_EQ(loose.faults(level, n), !whole) << rig::name(level) << ", n " << n;
            EXPECT_TRUE(Asked::floats.empty());
            for (std::size_t i = 0; i < room; ++i)
                ASSERT_TRUE(rig::same_bits(
                    whole && i >= n ? -777.0F : block_model(static_cast<float>(i + 1), 0.0F),
                    loose.out.get(i)))
                    << rig::name(level) << ", n " << n << ", element " << i;
        }
}

/// The library path ends where it should: one element less than the threshold plus one.
TEST(spec_log_f32, counts_to_the_threshold_end_at_the_page)
{
    Loose loose;
    for (const Level level : f32_levels)
        for (std::size_t n = 1; n <= std::min<std::size_t>(threshold(level), 31); ++n) {
            loose.place(n, (64 - n * 4 % 64) % 64, n, (64 - n * 4 % 64) % 64);
            EXPECT_FALSE(loose.faults(level, n)) << rig::name(level) << ", n " << n;
        }
}

/// Blocks are aligned on both sides: either array off the boundary faults before anything is
/// written; on the boundary none does, and below the threshold none does.
TEST(spec_log_f32, misaligned_blocks_fault)
{
    Loose loose;
    for (const Level level : {Level::sse2, Level::avx2}) {
        const std::size_t n = threshold(level) + 1;
        const std::size_t bytes = 4 * lanes(level);
        for (std::size_t at = 0; at < 64; at += 4) {
            const bool off = at % bytes != 0;
            const auto row = [&](std::size_t in_at, std::size_t out_at) {
                loose.place(n, in_at, n, out_at);
                EXPECT_EQ(loose.faults(level, n), off)
                    << rig::name(level) << ", in/out at " << in_at << "/" << out_at;
                for (std::size_t i = 0; i < n; ++i)
                    EXPECT_EQ(loose.out.get(i) == -777.0F, off) << "element " << i;
                loose.place(n - 1, in_at, n - 1, out_at);
                EXPECT_FALSE(loose.faults(level, n - 1));
            };
            row(at, 0);
            row(0, at);
            row(at, at);
        }
    }
}

// --- spec_log_f32: values --------------------------------------------------------------------

/// Calls with n copies of one power; all results are alike.
float level_of(Level level, std::size_t n, float power, float offset)
{
    rig::Buffer<float> in(64);
    rig::Buffer<float> out(64);
    in.place(n, 0, Edge::end);
    out.place(n, 0, Edge::end);
    for (std::size_t i = 0; i < n; ++i)
        in.set(i, power);
    EXPECT_TRUE(armed(level, [&] { kernel_at<float>(level)(in.data(), n, out.data(), offset); }));
    for (std::size_t i = 1; i < n; ++i)
        EXPECT_TRUE(rig::same_bits(out.get(0), out.get(i)));
    return out.get(0);
}

/// Levels and counts on both sides of each threshold.
struct Path {
    Level level;
    std::size_t n;
    bool blocks;
};
constexpr Path paths[] = {{Level::base, 1, false},  {Level::base, 32, false},
                          {Level::sse2, 15, false}, {Level::sse2, 16, true},
                          {Level::avx2, 16, false}, {Level::avx2, 32, true}};

/// 1, 100, 0.001 among sixteen (and thirty-two): 0, 20, -30 dB on both paths.
TEST(spec_log_f32, round_powers_give_round_decibels)
{
    for (const Path& path : {Path{Level::base, 16, false}, Path{Level::sse2, 16, true},
                             Path{Level::avx2, 16, false}, Path{Level::avx2, 32, true}}) {
        rig::Buffer<float> in(32);
        rig::Buffer<float> out(32);
        in.place(path.n, 0, Edge::end);
        out.place(path.n, 0, Edge::end);
        const float powers[] = {1.0F, 100.0F, 0.001F};
        const float levels[] = {0.0F, 20.0F, -30.0F};
        for (std::size_t i = 0; i < path.n; ++i)
            in.set(i, powers[i % 3]);
        ASSERT_TRUE(armed(path.level, [&] {
            kernel_at<float>(path.level)(in.data(), path.n, out.data(), 0.0F);
        }));
        for (std::size_t i = 0; i < path.n; ++i)
            EXPECT_EQ(out.get(i), levels[i % 3]) << rig::name(path.level) << ", element " << i;
    }
}

TEST(spec_log_f32, zero_negative_and_nan_give_the_floor)
{
    const float below[] = {0.0F,
                           -0.0F,
                           -1.0F,
                           -HUGE_VALF,
                           FLT_MIN,
                           model::from_bits<float>(1),
                           model::from_bits<float>(0x007FFFFF),
                           model::from_bits<float>(0x7FC00001),
                           model::from_bits<float>(0xFFC12345),
                           model::from_bits<float>(0x7F800001),
                           model::from_bits<float>(0xFF812345)};
    for (const Path& path : paths)
        for (const float power : below) {
            EXPECT_EQ(level_of(path.level, path.n, power, 0.0F), -379.29779F)
                << rig::name(path.level) << ", n " << path.n << ", of " << rig::show(power);
            EXPECT_EQ(level_of(path.level, path.n, power, 20.5F), -379.29779F - 20.5F);
        }
}

/// One step above the clamp is no longer clamped.
TEST(spec_log_f32, smallest_normal_is_the_floor)
{
    for (const Path& path : paths) {
        const float next = level_of(path.level, path.n, model::from_bits<float>(0x01000000), 0.0F);
        EXPECT_NEAR(static_cast<double>(next), -379.29779 + 3.0103, 1e-4);
    }
}

TEST(spec_log_f32, infinity)
{
    for (const Path& path : paths) {
        const float want = path.blocks ? 385.31836F : HUGE_VALF;
        EXPECT_EQ(level_of(path.level, path.n, HUGE_VALF, 0.0F), want)
            << rig::name(path.level) << ", n " << path.n;
        EXPECT_EQ(level_of(path.level, path.n, HUGE_VALF, -1.5F), want + 1.5F);
    }
}

TEST(spec_log_f32, one_gives_minus_offset)
{
    for (const Path& path : paths)
        for (const float offset : {1.0F, -3.3F, 1e-30F, 1e30F})
            EXPECT_TRUE(rig::same_bits(-offset, level_of(path.level, path.n, 1.0F, offset)))
                << rig::name(path.level) << ", n " << path.n << ", offset " << offset;
}

/// Of a NaN logarithm and a NaN offset the logarithm's survives; a NaN offset alone passes.
TEST(spec_log_f32, nan_offset)
{
    const auto offset = model::from_bits<float>(0x7F80BEEF);
    for (const Path& path : paths)
        EXPECT_EQ(rig::bits_of(level_of(path.level, path.n, 2.0F, offset)), 0x7FC0BEEFU)
            << rig::name(path.level) << ", n " << path.n;
}

// --- spec_log_f64 ----------------------------------------------------------------------------

TEST(spec_log_f64, same_variant_at_every_level)
{
    for (const Level level : rig::all_levels) {
        SpecLog<double> check(level);
        for (std::size_t n = 0; n <= 40; ++n)
            ASSERT_TRUE(check(n, 8, 16, Edge::end, Kind::mixed, 2.5));
    }
}

TEST(spec_log_f64, zero_negative_and_nan_give_the_floor)
{
    const double below[] = {0.0,
                            -0.0,
                            -1.0,
                            -HUGE_VAL,
                            DBL_MIN,
                            model::from_bits<double>(1),
                            model::from_bits<double>(0x000FFFFFFFFFFFFF),
                            model::from_bits<double>(0x7FF8000000000001),
                            model::from_bits<double>(0xFFF0000000012345)};
    constexpr std::size_t n = std::size(below);
    rig::Buffer<double> in(n);
    rig::Buffer<double> out(n);
    in.place(n, 8, Edge::end);
    out.place(n, 8, Edge::end);
    for (std::size_t i = 0; i < n; ++i)
        in.set(i, below[i]);
    ASSERT_TRUE(armed(Level::base,
                      [&] { kernel_at<double>(Level::base)(in.data(), n, out.data(), 100.0); }));
    for (std::size_t i = 0; i < n; ++i)
        EXPECT_NEAR(out.get(i), -3176.5266, 5e-5) << "element " << i;
}

TEST(spec_log_f64, infinity_one_and_hundred)
{
    rig::Buffer<double> in(3);
    rig::Buffer<double> out(3);
    in.place(3, 0, Edge::end);
    out.place(3, 0, Edge::end);
    const double powers[] = {HUGE_VAL, 1.0, 100.0};
    const double levels[] = {HUGE_VAL, -3.0, 17.0};
    for (std::size_t i = 0; i < 3; ++i)
        in.set(i, powers[i]);
    ASSERT_TRUE(
        armed(Level::base, [&] { kernel_at<double>(Level::base)(in.data(), 3, out.data(), 3.0); }));
    EXPECT_TRUE(rig::same_bits(levels, out.data(), 3));
}

/// Whatever the system's logarithm makes of the upper halves: it finds them clear, and so does the
/// caller afterwards.
TEST(spec_log_f32, avx2_clears_before_and_after_the_systems_logarithm)
{
    float values[31] = {1.0F};
    rig::Library& library = rig::at(Level::avx2);
    library.intercept("log10f", reinterpret_cast<void*>(&rig::Dirtying::call));
    for (const std::size_t n : {0U, 1U, 31U}) {
        rig::Dirtying::found_dirty = false;
        EXPECT_TRUE(
            armed(Level::avx2, [&] { kernel_at<float>(Level::avx2)(values, n, values, 1.0F); }));
        EXPECT_FALSE(rig::Dirtying::found_dirty && n == 1) << n;
    }
    library.release();
}

} // namespace
