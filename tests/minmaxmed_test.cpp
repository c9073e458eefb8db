// tests/minmaxmed_test.cpp: minimum, maximum and mean in one pass. Each variant against a plain
// model, bit for bit.
#include "models/minmaxmed.h"
#include "rig/call.h"
#include "stats_patterns.h"

#include <gtest/gtest.h>
#include <sys/mman.h>

namespace {

using namespace rig;
using namespace minmaxmed;
using patterns::Pattern;

// --- The comparison ----------------------------------------------------------------------------

std::size_t calls;

struct Counted {
    ~Counted() { testing::Test::RecordProperty("calls", std::to_string(calls)); }
    Counted() { calls = 0; }
};

/// Which outputs share a cell.
enum class Cells { three, min_max, min_mean, max_mean, one };

template <class T>
struct Kernel {
    using Function = void (*)(const T*, std::size_t, T*, T*, T*);
    using Model = void (*)(const T*, std::size_t, std::size_t, T&, T&, T&);

    Level level;
    const char* entry;
    Function function;
    Model model;
    std::size_t threshold, lanes;

    bool installed() const
    {
        return rig::at(level).variant(entry) == std::string(entry) + "_" + rig::name(level);
    }
    std::size_t most() const { return threshold + 3 * lanes + 2; }
};

template <class T>
class Outputs {
public:
    explicit Outputs(Cells cells = Cells::three)
    {
        const bool shared_max = cells == Cells::min_max || cells == Cells::one;
        const bool with_min = cells == Cells::min_mean || cells == Cells::one;
        cell_[1] = shared_max ? 0 : 1;
        cell_[2] = with_min ? 0 : cells == Cells::max_mean ? 1 : 2;
    }

    testing::AssertionResult agree(const Kernel<T>& k, const Buffer<T>& in, const std::vector<T>& x)
    {
        const std::size_t offset = reinterpret_cast<std::uintptr_t>(in.data()) % 64;
        T want[3] = {T(-77), T(-78), T(-79)};
        // Where the outputs lie must not matter: between canaries, at changing alignments.
        for (std::size_t i = 0; i < 3; ++i) {
            out_[i].place(1, turn_++ % (64 / sizeof(T)) * sizeof(T), Edge::end);
            out_[i].set(0, want[i]);
        }
        if (!x.empty())
            k.model(x.data(), x.size(), offset, want[cell_[0]], want[cell_[1]], want[cell_[2]]);
        ++calls;
        auto result = armed(k.level, [&] {
            k.function(in.data(), x.size(), out_[cell_[0]].data(), out_[cell_[1]].data(),
                       out_[cell_[2]].data());
        });
        static const char* const names[] = {"minimum", "maximum", "mean"};
        for (std::size_t i = 0; i < 3 && result; ++i)
            if (!(result = same_bits(want[i], out_[i].get(0))))
                result << " in the cell of the " << names[i];
        for (std::size_t i = 0; i < 3 && result; ++i)
            result = out_[i].intact();
        if (result)
            result = patterns::untouched(in, x);
        if (!result)
            result << ", " << k.entry << " " << rig::name(k.level) << " n " << x.size()
                   << " offset " << offset;
        return result;
    }

private:
    std::size_t cell_[3] = {0, 1, 2}; // of minimum, maximum and mean
    std::size_t turn_ = 0;
    Buffer<T> out_[3] = {Buffer<T>(1), Buffer<T>(1), Buffer<T>(1)};
};

template <class T>
void bits(const Kernel<T>& k, Cells cells)
{
    const Counted counted;
    ASSERT_TRUE(k.installed());
    Buffer<T> in(k.most());
    Outputs<T> out(cells);
    Random random(21);
    for (const Pattern pattern : patterns::list<T>())
        for (const Edge edge : both_edges)
            for (std::size_t offset = 0; offset < 64; offset += sizeof(T))
                for (std::size_t n = 0; n <= k.most(); ++n) {
                    in.place(n, offset, edge);
                    const std::vector<T> x = patterns::fill(in, random, pattern);
                    ASSERT_TRUE(out.agree(k, in, x)) << patterns::name(pattern);
                }
}

template <class T>
void positions(const Kernel<T>& k)
{
    const Counted counted;
    ASSERT_TRUE(k.installed());
    Buffer<T> in(k.most());
    Outputs<T> out;
    for (std::size_t offset = 0; offset < 64; offset += sizeof(T))
        for (std::size_t n = 1; n <= k.most(); ++n) {
            in.place(n, offset, Edge::end);
            std::vector<T> x(n, T(7));
            for (std::size_t i = 0; i < n; ++i) {
                x[i] = (i + n) % 2 != 0 ? T(6) : T(8);
                patterns::put(in, x);
                ASSERT_TRUE(out.agree(k, in, x)) << "position " << i;
                x[i] = T(7);
            }
        }
}

// Two NaNs of their own, or the two zeros, at every pair of positions.
template <class T>
void pairs(const Kernel<T>& k)
{
    const Counted counted;
    ASSERT_TRUE(k.installed());
    Buffer<T> in(k.most());
    Outputs<T> out;
    Random random(22);
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
                    ASSERT_TRUE(out.agree(k, in, x)) << "positions " << i << " and " << j;
                }
        }
}

template <class T>
void long_arrays(const Kernel<T>& k)
{
    const Counted counted;
    ASSERT_TRUE(k.installed());
    Buffer<T> in(5000);
    Outputs<T> out;
    Random random(23);
    for (const Pattern pattern : patterns::list<T>())
        for (int round = 0; round < 6; ++round) {
            in.place(1000 + random.below(4000), random.below(64 / sizeof(T)) * sizeof(T),
                     Edge::end);
            const std::vector<T> x = patterns::fill(in, random, pattern);
            ASSERT_TRUE(out.agree(k, in, x)) << patterns::name(pattern);
        }
}

// Nothing is written, to the outputs that are there neither; the input is not read.
template <class T>
void null_outputs(const Kernel<T>& k)
{
    ASSERT_TRUE(k.installed());
    std::vector<T> x(200, T(2));
    for (const std::size_t n : {std::size_t{0}, std::size_t{1}, std::size_t{2}, k.threshold,
                                k.threshold + 1, std::size_t{200}})
        for (const T* const p : {static_cast<const T*>(x.data()), static_cast<const T*>(nullptr)})
            for (unsigned given = 0; given < 7; ++given) { // bit i: output i is there
                T out[3] = {T(5), T(6), T(7)};
                const auto at = [&](unsigned i) {
                    return (given >> i & 1) != 0 ? &out[i] : nullptr;
                };
                ASSERT_TRUE(armed(k.level, [&] { k.function(p, n, at(0), at(1), at(2)); }))
                    << n << " " << given;
                const T want[3] = {T(5), T(6), T(7)};
                ASSERT_TRUE(same_bits(want, out, 3)) << n << " " << given;
            }
}

template <class T>
void count_0(const Kernel<T>& k)
{
    T out[3] = {T(5), T(6), T(7)};
    ASSERT_TRUE(armed(k.level, [&] { k.function(nullptr, 0, &out[0], &out[1], &out[2]); }));
    const T want[3] = {T(5), T(6), T(7)};
    EXPECT_TRUE(same_bits(want, out, 3));
}

// Off its element alignment the array never meets a block boundary, and the head has no end test.
template <class T>
void off_alignment(const Kernel<T>& k)
{
    Buffer<T> in(k.threshold + 1);
    T out[3];
    for (std::size_t off = 1; off < sizeof(T); ++off)
        for (const std::size_t n : {k.threshold, k.threshold + 1}) {
            in.place(n, 64 - n * sizeof(T) % 64 - off, Edge::end);
            in.fill_bytes(0);
            const auto call = [&] { k.function(in.data(), n, &out[0], &out[1], &out[2]); };
            if (n > k.threshold)
                EXPECT_TRUE(faults(call)) << off;
            else
                EXPECT_TRUE(armed(k.level, call)) << off;
        }
}

template <class T>
testing::AssertionResult gives(const Kernel<T>& k, const std::vector<T>& x, std::size_t offset,
                               T min, T max, T mean)
{
    Buffer<T> in(x.size());
    in.place(x.size(), offset, Edge::end);
    patterns::put(in, x);
    T out[3] = {T(98), T(97), T(96)};
    const T want[3] = {min, max, mean};
    if (const auto calm =
            armed(k.level, [&] { k.function(in.data(), x.size(), &out[0], &out[1], &out[2]); });
        !calm)
        return calm;
    return same_bits(want, out, 3) << " (0 minimum, 1 maximum, 2 mean)";
}

template <class T>
void small(const Kernel<T>& k)
{
    for (std::size_t offset = 0; offset < 64; offset += sizeof(T)) {
        EXPECT_TRUE(gives(k, {T(-3)}, offset, T(-3), T(-3), T(-3)));
        EXPECT_TRUE(gives(k, {T(1), T(2), T(3), T(4)}, offset, T(1), T(4), T(2.5)));
    }
}

#define VARIANT(entry, level, T, expected, threshold, lanes)                                       \
    namespace entry##_kernels                                                                      \
    {                                                                                              \
        Kernel<T> level()                                                                          \
        {                                                                                          \
            return {Level::level, #entry,    KERNEL(rig::at(Level::level), entry),                 \
                    expected,     threshold, lanes};                                               \
        }                                                                                          \
    }                                                                                              \
    TEST(entry, level##_bits) { bits(entry##_kernels::level(), Cells::three); }                    \
    TEST(entry, level##_positions) { positions(entry##_kernels::level()); }                        \
    TEST(entry, level##_pairs) { pairs(entry##_kernels::level()); }                                \
    TEST(entry, level##_long) { long_arrays(entry##_kernels::level()); }                           \
    TEST(entry, level##_null_outputs) { null_outputs(entry##_kernels::level()); }                  \
    TEST(entry, level##_count_0_writes_nothing) { count_0(entry##_kernels::level()); }             \
    TEST(entry, level##_one_and_four_elements) { small(entry##_kernels::level()); }                \
    TEST(entry, level##_minimum_is_maximum) { bits(entry##_kernels::level(), Cells::min_max); }    \
    TEST(entry, level##_minimum_is_mean) { bits(entry##_kernels::level(), Cells::min_mean); }      \
    TEST(entry, level##_maximum_is_mean) { bits(entry##_kernels::level(), Cells::max_mean); }      \
    TEST(entry, level##_one_cell_for_all) { bits(entry##_kernels::level(), Cells::one); }

VARIANT(minmaxmed_f32, base, float, ::base, 6, 8)
VARIANT(minmaxmed_f32, sse, float, f32_sse, 15, 4)
VARIANT(minmaxmed_f32, avx, float, f32_avx, 31, 8)
VARIANT(minmaxmed_f64, base, double, ::base, 6, 8)
VARIANT(minmaxmed_f64, sse2, double, f64_sse2, 15, 2)
VARIANT(minmaxmed_f64, avx, double, f64_avx, 15, 4)

TEST(minmaxmed_f32, sse_off_element_alignment_runs_past_the_array)
{
    off_alignment(minmaxmed_f32_kernels::sse());
}
TEST(minmaxmed_f32, avx_off_element_alignment_runs_past_the_array)
{
    off_alignment(minmaxmed_f32_kernels::avx());
}
TEST(minmaxmed_f64, sse2_off_element_alignment_runs_past_the_array)
{
    off_alignment(minmaxmed_f64_kernels::sse2());
}
TEST(minmaxmed_f64, avx_off_element_alignment_runs_past_the_array)
{
    off_alignment(minmaxmed_f64_kernels::avx());
}

// --- Named cases -------------------------------------------------------------------------------

TEST(minmaxmed_f64, sse2_even_count_8_past_leaves_the_last_out_of_all_three)
{
    const auto k = minmaxmed_f64_kernels::sse2;
    std::vector<double> x(16, 1.0);
    x[15] = 17.0;
    EXPECT_TRUE(gives(k(), x, 8, 1.0, 1.0, 15.0 / 16.0));
    EXPECT_TRUE(gives(k(), x, 40, 1.0, 1.0, 15.0 / 16.0));
    EXPECT_TRUE(gives(k(), x, 0, 1.0, 17.0, 2.0)); // aligned: exact
    x[15] = -15.0;
    EXPECT_TRUE(gives(k(), x, 8, 1.0, 1.0, 15.0 / 16.0));
    x.pop_back(); // up to the threshold the baseline takes all
    x[14] = 17.0;
    EXPECT_TRUE(gives(k(), x, 8, 1.0, 17.0, 31.0 / 15.0));
}

TEST(minmaxmed_f64, sse2_odd_count_8_past_adds_the_last_twice)
{
    const auto k = minmaxmed_f64_kernels::sse2;
    std::vector<double> x(17, 1.0);
    x[16] = 18.0;
    EXPECT_TRUE(gives(k(), x, 8, 1.0, 18.0, 52.0 / 17.0));
    EXPECT_TRUE(gives(k(), x, 0, 1.0, 18.0, 2.0)); // aligned: exact
}

TEST(minmaxmed_f32, base_mean_of_any_nan_is_nan)
{
    const float nan = model::from_bits<float>(0x7FC00123U);
    for (std::size_t i = 0; i < 40; ++i) {
        std::vector<float> x(40, 2.0F);
        x[i] = nan;
        const float ends = i == 0 ? nan : 2.0F;
        EXPECT_TRUE(gives(minmaxmed_f32_kernels::base(), x, 4, ends, ends, nan)) << i;
    }
}

// The element is the first operand of each sum.
TEST(minmaxmed_f32, base_of_two_nans_the_later_names_the_mean)
{
    const float a = model::from_bits<float>(0x7FC00001U);
    const float b = model::from_bits<float>(0x7FC00002U);
    EXPECT_TRUE(gives(minmaxmed_f32_kernels::base(), {a, 1.0F, b, 2.0F}, 0, a, a, b));
}

// The tail of a vector variant adds as the baseline does, element first; its blocks sum first.
TEST(minmaxmed_f32, sse_of_two_nans_blocks_keep_the_earlier_and_the_tail_the_later)
{
    const float a = model::from_bits<float>(0x7FC00001U);
    const float b = model::from_bits<float>(0x7FC00002U);
    std::vector<float> x(18, 1.0F);
    x[4] = a;
    x[8] = b;
    EXPECT_TRUE(gives(minmaxmed_f32_kernels::sse(), x, 0, 1.0F, 1.0F, a));
    x[17] = b;
    EXPECT_TRUE(gives(minmaxmed_f32_kernels::sse(), x, 0, 1.0F, 1.0F, b));
}

// 16,777,217 is no float: the divisor rounds to even.
void rounded_count(const Kernel<float>& k)
{
    const std::size_t bytes = 16777300 * sizeof(float);
    void* const map = mmap(nullptr, bytes, PROT_READ | PROT_WRITE,
                           MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    ASSERT_NE(MAP_FAILED, map);
    auto* const x = static_cast<float*>(map);
    x[0] = 8388608.0F;
    for (const std::size_t n : {16777215U, 16777216U, 16777217U, 16777218U, 16777219U, 16777220U}) {
        float out[3] = {9, 9, 9};
        const float want[3] = {0, 8388608.0F, 8388608.0F / as_element<float>(n)};
        EXPECT_TRUE(armed(k.level, [&] { k.function(x, n, &out[0], &out[1], &out[2]); }));
        EXPECT_TRUE(same_bits(want, out, 3)) << n;
    }
    munmap(map, bytes);
}

TEST(minmaxmed_f32, base_count_is_rounded) { rounded_count(minmaxmed_f32_kernels::base()); }
TEST(minmaxmed_f32, sse_count_is_rounded) { rounded_count(minmaxmed_f32_kernels::sse()); }
TEST(minmaxmed_f32, avx_count_is_rounded) { rounded_count(minmaxmed_f32_kernels::avx()); }

} // namespace
