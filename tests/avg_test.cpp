// tests/avg_test.cpp: means, floor estimates, mean absolute values. Each variant against a plain
// model, bit for bit.
#include "models/avg.h"
#include "rig/call.h"
#include "stats_patterns.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <xmmintrin.h>

namespace {

using namespace rig;
using namespace avg;
using patterns::Pattern;

// --- All kernels alike -------------------------------------------------------------------------

std::size_t calls;

struct Counted {
    ~Counted() { testing::Test::RecordProperty("calls", std::to_string(calls)); }
    Counted() { calls = 0; }
};

testing::AssertionResult installed(Level level, const std::string& entry)
{
    const std::string held = rig::at(level).variant(entry.c_str());
    if (held == entry + "_" + rig::name(level))
        return testing::AssertionSuccess();
    return testing::AssertionFailure() << entry << " at " << rig::name(level) << " is " << held;
}

template <class T, class R>
testing::AssertionResult agrees(Level level, const Buffer<T>& in, const std::vector<T>& x, R want,
                                const std::function<R()>& call)
{
    R got{};
    ++calls;
    auto result = armed(level, [&] { got = call(); });
    if (result)
        result = same_bits(want, got);
    if (result)
        result = patterns::untouched(in, x);
    if (!result)
        result << ", " << rig::name(level) << " n " << x.size() << " offset "
               << reinterpret_cast<std::uintptr_t>(in.data()) % 64;
    return result;
}

/// Calls `each(in, x, pattern, random)` with every count up to `most` and every alignment in steps
/// of `bytes`, against both edges, with every kind of data; then with longer arrays.
template <class T, class Each>
void sweep(std::size_t most, std::size_t bytes, const Each& each)
{
    const Counted counted;
    Buffer<T> in(most);
    Random random(11);
    for (const Pattern pattern : patterns::list<T>())
        for (const Edge edge : both_edges)
            for (std::size_t offset = 0; offset < 64; offset += bytes)
                for (std::size_t n = 0; n <= most; ++n) {
                    in.place(n, offset, edge);
                    const std::vector<T> x = patterns::fill(in, random, pattern);
                    ASSERT_TRUE(each(in, x, random)) << patterns::name(pattern);
                }
    Buffer<T> more(3000);
    for (const Pattern pattern : patterns::list<T>())
        for (int round = 0; round < 8; ++round) {
            const std::size_t n = 100 + random.below(2900);
            more.place(n, random.below(64 / bytes) * bytes, Edge::end);
            const std::vector<T> x = patterns::fill(more, random, pattern);
            ASSERT_TRUE(each(more, x, random)) << patterns::name(pattern);
        }
}

std::size_t offset_of(const void* p) { return reinterpret_cast<std::uintptr_t>(p) % 64; }

#define AVG(entry, level, T, expected, most)                                                       \
    TEST(entry, level##_bits)                                                                      \
    {                                                                                              \
        ASSERT_TRUE(installed(Level::level, #entry));                                              \
        const auto kernel = KERNEL(rig::at(Level::level), entry);                                  \
        sweep<T>(most, 1, [&](const Buffer<T>& in, const std::vector<T>& x, Random&) {             \
            return agrees<T, T>(Level::level, in, x,                                               \
                                expected(x.data(), x.size(), offset_of(in.data())),                \
                                [&] { return kernel(in.data(), x.size()); });                      \
        });                                                                                        \
    }                                                                                              \
    TEST(entry, level##_of_nothing_is_nan)                                                         \
    {                                                                                              \
        T got = 1;                                                                                 \
        ASSERT_TRUE(                                                                               \
            armed(Level::level, [&] { got = KERNEL(rig::at(Level::level), entry)(nullptr, 0); })); \
        EXPECT_TRUE(same_bits(model::indefinite<T>(), got));                                       \
    }                                                                                              \
    TEST(entry, level##_of_1_2_3_4)                                                                \
    {                                                                                              \
        Buffer<T> in(4);                                                                           \
        for (std::size_t offset = 0; offset < 64; ++offset) {                                      \
            in.place(4, offset, Edge::end);                                                        \
            const std::vector<T> x = patterns::put(in, {T(1), T(2), T(3), T(4)});                  \
            ASSERT_TRUE((agrees<T, T>(Level::level, in, x, T(2.5), [&] {                           \
                return KERNEL(rig::at(Level::level), entry)(in.data(), 4);                         \
            })));                                                                                  \
        }                                                                                          \
    }

AVG(avg_f32, base, float, avg_base<float>, 20)
AVG(avg_f32, sse, float, (avg_lanes<float, 4, 4>), 30)
AVG(avg_f32, avx, float, (avg_lanes<float, 8, 8>), 40)
AVG(avg_f64, base, double, avg_base<double>, 20)
AVG(avg_f64, sse2, double, (avg_lanes<double, 2, 4>), 30)
AVG(avg_f64, avx, double, (avg_lanes<double, 4, 8>), 40)

// A level that some elements exceed: one of them, a number around, or one that no element, or no
// number at all, can exceed.
template <class T>
T some_level(const std::vector<T>& x, Random& random)
{
    const T inf = std::numeric_limits<T>::infinity();
    switch (random.below(12)) {
    case 0:
        return patterns::own_nan<T>(random);
    case 1:
        return inf;
    case 2:
        return -inf;
    case 3:
        return T(0.0);
    case 4:
        return T(-0.0);
    case 5:
        return T(1.7);
    case 6:
    case 7:
        return patterns::make<T>(random, Pattern::wide);
    default:
        return x.empty() ? T(1) : x[random.below(x.size())];
    }
}

template <class T>
using Model = T(const T*, std::size_t, std::size_t, T);

/// What exceeds the level adds nothing, not even +0: a sum that is -0, or a subnormal that the host's
/// control word makes a zero, keeps its bits. Under each rounding, with and without FTZ and DAZ.
template <class T>
void sums_near_zero(Level level, const std::function<T(const T*, std::size_t, T)>& kernel,
                    Model<T>* model)
{
    Model<T>* volatile const expected = model; // called under the control word, not computed before
    const T least = std::numeric_limits<T>::min();
    const T some[] = {T(-1.5) * least, T(1.5) * least, -least, least, T(-0.0), T(0.0), 5, 5};
    const unsigned before = _mm_getcsr();
    Buffer<T> in(24);
    Random random(13);
    int minus_zeros = 0;
    for (unsigned word = 0; word < 16; ++word)
        for (std::size_t n = 0; n <= 24; ++n)
            for (std::size_t offset = 0; offset < 64; offset += sizeof(T)) {
                const unsigned mxcsr =
                    0x1F80 | (word & 3) << 13 | (word & 4) << 13 | (word & 8) << 3;
                in.place(n, offset, Edge::end);
                std::vector<T> x(n);
                for (T& element : x)
                    element = some[random.below(std::size(some))];
                if (n == 3 && offset % 2 == 0) // the shortest that tells
                    x = {some[0], some[3], 5};
                patterns::put(in, x);
                _mm_setcsr(mxcsr);
                const T want = expected(in.data(), n, offset_of(in.data()), 1);
                _mm_setcsr(before);
                minus_zeros += same_bits(T(-0.0), want) ? 1 : 0;
                ASSERT_TRUE((agrees<T, T>(level, in, x, want,
                                          [&] {
                                              _mm_setcsr(mxcsr);
                                              const T got = kernel(in.data(), n, 1);
                                              _mm_setcsr(before);
                                              return got;
                                          })))
                    << "control word " << std::hex << mxcsr;
            }
    EXPECT_GT(minus_zeros, 50);
}

#define AVG_LVL(entry, level, T, expected, most)                                                   \
    TEST(entry, level##_sums_near_zero)                                                            \
    {                                                                                              \
        sums_near_zero<T>(Level::level, KERNEL(rig::at(Level::level), entry), expected);           \
    }                                                                                              \
    TEST(entry, level##_bits)                                                                      \
    {                                                                                              \
        ASSERT_TRUE(installed(Level::level, #entry));                                              \
        const auto kernel = KERNEL(rig::at(Level::level), entry);                                  \
        sweep<T>(most, 1, [&](const Buffer<T>& in, const std::vector<T>& x, Random& random) {      \
            const T floor = some_level(x, random);                                                 \
            return agrees<T, T>(Level::level, in, x,                                               \
                                expected(x.data(), x.size(), offset_of(in.data()), floor),         \
                                [&] { return kernel(in.data(), x.size(), floor); })                \
                   << " level " << show(floor);                                                    \
        });                                                                                        \
    }                                                                                              \
    TEST(entry, level##_named)                                                                     \
    {                                                                                              \
        Buffer<T> in(48);                                                                          \
        const T nan = model::indefinite<T>();                                                      \
        const T inf = std::numeric_limits<T>::infinity();                                          \
        const auto gives = [&](const std::vector<T>& x, T floor, T want) {                         \
            for (std::size_t offset = 0; offset < 64; ++offset) {                                  \
                in.place(x.size(), offset, Edge::end);                                             \
                patterns::put(in, x);                                                              \
                EXPECT_TRUE((agrees<T, T>(Level::level, in, x, want, [&] {                         \
                    return KERNEL(rig::at(Level::level), entry)(in.data(), x.size(), floor);       \
                })));                                                                              \
            }                                                                                      \
        };                                                                                         \
        gives({1, 5, 2}, 2, T(1.5));                                                               \
        gives({1, 5, 2}, 0, T(0.0));                                                               \
        gives({}, 2, T(0.0));                                                                      \
        gives({1, nan, 2, nan}, 2, T(1.5)); /* a NaN element never counts */                       \
        gives({nan, nan, nan}, inf, T(0.0));                                                       \
        gives({1, 5, 2}, nan, T(0.0)); /* nor does any with a NaN level */                         \
        gives(std::vector<T>(48, T(1)), nan, T(0.0));                                              \
        gives(std::vector<T>(48, nan), inf, T(0.0));                                               \
        gives(std::vector<T>(48, T(0.0)), T(-0.0), T(0.0)); /* +0 does not exceed -0 */            \
        gives(std::vector<T>(48, T(-0.0)), T(0.0), T(0.0));                                        \
        gives(std::vector<T>(48, T(3)), 3, T(3)); /* nor an element itself */                      \
        gives(std::vector<T>(48, -inf), -inf, -inf);                                               \
        std::vector<T> one(48, T(9));                                                              \
        for (std::size_t i = 0; i < one.size(); ++i) {                                             \
            one[i] = T(-7);                                                                        \
            gives(one, T(8), T(-7)); /* wherever the one is */                                     \
            one[i] = T(9);                                                                         \
        }                                                                                          \
    }                                                                                              \
    TEST(entry, level##_nothing_at_null)                                                           \
    {                                                                                              \
        T got = 1;                                                                                 \
        ASSERT_TRUE(armed(Level::level,                                                            \
                          [&] { got = KERNEL(rig::at(Level::level), entry)(nullptr, 0, 1); }));    \
        EXPECT_TRUE(same_bits(T(0.0), got));                                                       \
    }

AVG_LVL(avg_lvl_f32, base, float, avg_lvl_base<float>, 20)
AVG_LVL(avg_lvl_f32, sse2, float, (avg_lvl_lanes<float, 4, 4>), 30)
AVG_LVL(avg_lvl_f32, avx, float, (avg_lvl_lanes<float, 8, 8>), 40)
AVG_LVL(avg_lvl_f32, avx2, float, (avg_lvl_lanes<float, 8, 8>), 40)
AVG_LVL(avg_lvl_f64, base, double, avg_lvl_base<double>, 20)
AVG_LVL(avg_lvl_f64, sse2, double, (avg_lvl_lanes<double, 2, 2>), 24)
AVG_LVL(avg_lvl_f64, avx, double, (avg_lvl_lanes<double, 4, 8>), 40)
AVG_LVL(avg_lvl_f64, avx2, double, (avg_lvl_lanes<double, 4, 4>), 32)

#define AVG_ABS(level, expected)                                                                   \
    TEST(avg_abs_s16, level##_bits)                                                                \
    {                                                                                              \
        ASSERT_TRUE(installed(Level::level, "avg_abs_s16"));                                       \
        const auto kernel = KERNEL(rig::at(Level::level), avg_abs_s16);                            \
        using T = std::int16_t;                                                                    \
        sweep<T>(100, 2, [&](const Buffer<T>& in, const std::vector<T>& x, Random&) {              \
            return agrees<T, std::uint64_t>(Level::level, in, x,                                   \
                                            expected(x.data(), x.size(), offset_of(in.data())),    \
                                            [&] { return kernel(in.data(), x.size()); });          \
        });                                                                                        \
    }                                                                                              \
    TEST(avg_abs_s16, level##_positions) { abs_positions(Level::level); }                          \
    TEST(avg_abs_s16, level##_named)                                                               \
    {                                                                                              \
        const auto kernel = KERNEL(rig::at(Level::level), avg_abs_s16);                            \
        const std::int16_t x[] = {-3, 4, -32768, 1, 2};                                            \
        std::uint64_t got[5] = {9, 9, 9, 9, 9};                                                    \
        ASSERT_TRUE(armed(Level::level, [&] {                                                      \
            got[0] = kernel(x, 2);                                                                 \
            got[1] = kernel(x + 2, 1);                                                             \
            got[2] = kernel(x + 3, 2);                                                             \
            got[3] = kernel(x, 0);                                                                 \
        }));                                                                                       \
        EXPECT_EQ(3U, got[0]);                                                                     \
        EXPECT_EQ(32768U, got[1]);                                                                 \
        EXPECT_EQ(1U, got[2]);                                                                     \
        EXPECT_EQ(0U, got[3]);                                                                     \
        ASSERT_TRUE(armed(Level::level, [&] { got[4] = kernel(nullptr, 0); }));                    \
        EXPECT_EQ(0U, got[4]);                                                                     \
    }

// Each element counts once, whichever it is: 32768 in one place of n raises the mean by 32768 / n.
void abs_positions(Level level)
{
    const Counted counted;
    const auto kernel = KERNEL(rig::at(level), avg_abs_s16);
    Buffer<std::int16_t> in(80);
    for (std::size_t offset = 0; offset < 64; offset += 2)
        for (std::size_t n = 1; n <= 80; n += n % 3 + 1) {
            in.place(n, offset, Edge::end);
            std::vector<std::int16_t> x(n, 0);
            for (std::size_t i = 0; i < n; ++i) {
                x[i] = -32768;
                patterns::put(in, x);
                ASSERT_TRUE((agrees<std::int16_t, std::uint64_t>(
                    level, in, x, 32768 / n, [&] { return kernel(in.data(), n); })))
                    << "position " << i;
                x[i] = 0;
            }
        }
}

AVG_ABS(base, avg_abs_base)
AVG_ABS(ssse3, avg_abs_lanes<8>)
AVG_ABS(avx2, avg_abs_lanes<16>)

TEST(avg_abs_s16, every_level_alike_at_16)
{
    alignas(64) std::int16_t x[17];
    for (int i = 0; i < 17; ++i)
        x[i] = static_cast<std::int16_t>((i % 2 != 0 ? -1 : 1) * (1000 + 37 * i));
    for (const std::size_t offset : {0U, 1U})
        for (const Level level : {Level::base, Level::ssse3, Level::avx2}) {
            std::uint64_t got = 0;
            ASSERT_TRUE(
                armed(level, [&] { got = KERNEL(rig::at(level), avg_abs_s16)(x + offset, 16); }));
            EXPECT_EQ(offset == 0 ? 1277U : 1314U, got) << rig::name(level);
        }
}

// --- 32-bit lanes ------------------------------------------------------------------------------

constexpr std::size_t wrapping = 1048576; // elements of magnitude 32768 that fill the lanes

TEST(avg_abs_s16, lanes_wrap_at_1048576_and_not_before)
{
    Buffer<std::int16_t> in(wrapping + 64);
    struct Row {
        std::size_t offset, n;
        std::uint64_t base, ssse3, avx2;
    };
    const Row rows[] = {
        {0, wrapping - 16, 32768, 32768, 32768},
        {0, wrapping - 1, 32768, 32768, 32768}, // the rest is tail
        {0, wrapping, 32768, 0, 0},
        {0, wrapping + 7, 32768, 0, 0}, // 7 * 32768 / n is 0
        {48, wrapping + 8, 32768, 0, 0},
        {62, wrapping, 32768, 32768, 32768}, // one is head
        {62, wrapping + 1, 32768, 0, 0},
    };
    for (const Row& row : rows) {
        in.place(row.n, row.offset, Edge::end);
        for (std::size_t i = 0; i < row.n; ++i)
            in.set(i, -32768);
        const auto mean = [&](Level level) {
            std::uint64_t got = 1;
            EXPECT_TRUE(
                armed(level, [&] { got = KERNEL(rig::at(level), avg_abs_s16)(in.data(), row.n); }));
            return got;
        };
        EXPECT_EQ(row.base, mean(Level::base)) << row.n << " at " << row.offset;
        EXPECT_EQ(row.ssse3, mean(Level::ssse3)) << row.n << " at " << row.offset;
        EXPECT_EQ(row.avx2, mean(Level::avx2)) << row.n << " at " << row.offset;
    }
}

// One lane alone, beside lanes that hold something else; and all lanes at 0.7 of the limit, so that
// only joined in 32 bits (AVX2), or twice as full (SSSE3), they wrap.
TEST(avg_abs_s16, single_lanes_wrap)
{
    const std::size_t n = 16 * 131072 + 40;
    Buffer<std::int16_t> in(n);
    std::vector<std::int16_t> x(n);
    Random random(12);
    for (int round = 0; round < 3; ++round) {
        const std::size_t full = random.below(16);
        for (std::size_t i = 0; i < n; ++i)
            x[i] = round == 2 ? static_cast<std::int16_t>(random.below(2) != 0 ? -32768 : 13107)
                   : i % 16 == full     ? std::int16_t{-32768}
                   : i % 16 == full / 2 ? std::int16_t{-3}
                                        : std::int16_t{0};
        in.place(n, round == 1 ? 2 * (random.below(32)) : 0, Edge::end);
        patterns::put(in, x);
        const std::size_t offset = offset_of(in.data());
        const auto mean = [&](Level level, std::uint64_t want) {
            return agrees<std::int16_t, std::uint64_t>(level, in, x, want, [&] {
                return KERNEL(rig::at(level), avg_abs_s16)(in.data(), n);
            });
        };
        const std::uint64_t base = avg_abs_base(x.data(), n, offset);
        const std::uint64_t ssse3 = avg_abs_lanes<8>(x.data(), n, offset);
        const std::uint64_t avx2 = avg_abs_lanes<16>(x.data(), n, offset);
        EXPECT_NE(base, ssse3);
        EXPECT_NE(base, avx2);
        EXPECT_TRUE(mean(Level::base, base));
        EXPECT_TRUE(mean(Level::ssse3, ssse3));
        EXPECT_TRUE(mean(Level::avx2, avx2));
    }
}

// The head walk has no end test: with an odd array it reads on to the end of the memory. Up to the
// threshold the baseline takes any address.
void odd_array(Level level, std::size_t threshold)
{
    const auto kernel = KERNEL(rig::at(level), avg_abs_s16);
    Buffer<std::int16_t> in(threshold + 1);
    in.place(threshold + 1, 63, Edge::end);
    in.fill_bytes(1);
    EXPECT_TRUE(faults([&] { kernel(in.data(), threshold + 1); }));
    in.place(threshold, 1, Edge::end);
    in.fill_bytes(1);
    std::uint64_t got = 0;
    ASSERT_TRUE(armed(level, [&] { got = kernel(in.data(), threshold); }));
    EXPECT_EQ(0x0101U, got);
}

TEST(avg_abs_s16, ssse3_odd_array_runs_past_the_end) { odd_array(Level::ssse3, 15); }
TEST(avg_abs_s16, avx2_odd_array_runs_past_the_end) { odd_array(Level::avx2, 31); }

// --- Counts beyond what a float holds ----------------------------------------------------------

/// n zeros that take no memory until written.
class Zeros {
public:
    Zeros(std::size_t n, std::size_t element)
        : bytes_(n * element), map_(mmap(nullptr, bytes_, PROT_READ | PROT_WRITE,
                                         MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0))
    {
        if (there())
            madvise(map_, bytes_, MADV_HUGEPAGE);
    }
    ~Zeros()
    {
        if (there())
            munmap(map_, bytes_);
    }
    Zeros(const Zeros&) = delete;
    Zeros& operator=(const Zeros&) = delete;

    bool there() const { return map_ != MAP_FAILED; }
    template <class T>
    T* as() const
    {
        return static_cast<T*>(map_);
    }

private:
    std::size_t bytes_;
    void* map_;
};

// All 20,000,000 elements qualify. The baseline's count stops at 16,777,216.
TEST(avg_lvl_f32, base_count_stops_at_16777216)
{
    const Zeros zeros(20000000, sizeof(float));
    ASSERT_TRUE(zeros.there());
    auto* const x = zeros.as<float>();
    x[0] = -8388608.0F;
    const auto kernel = KERNEL(rig::at(Level::base), avg_lvl_f32);
    float got = 1;
    ASSERT_TRUE(armed(Level::base, [&] { got = kernel(x, 20000000, 0); }));
    EXPECT_TRUE(same_bits(-0.5F, got));
    ASSERT_TRUE(armed(Level::base, [&] { got = kernel(x, 16777216, 0); }));
    EXPECT_TRUE(same_bits(-0.5F, got));
    ASSERT_TRUE(armed(Level::base, [&] { got = kernel(x, 16777214, 0); }));
    EXPECT_TRUE(same_bits(-8388608.0F / 16777214.0F, got)); // not yet
}

// The vector variants count the blocks exactly, round once, and only then count the tail in float.
// At 20,000,000 a float's neighbours are 2 apart.
void exact_count(Level level, std::size_t lanes)
{
    const Zeros zeros(20000100, sizeof(float));
    ASSERT_TRUE(zeros.there());
    auto* const map = zeros.as<float>();
    const auto kernel = KERNEL(rig::at(level), avg_lvl_f32);
    for (const std::size_t start : {std::size_t{0}, lanes - 1})
        for (const std::size_t n :
             {std::size_t{20000000}, 20000002 + lanes, 20000000 + lanes - 1 + start}) {
            float* const x = map + start;
            x[0] = -8388608.0F;
            float got = 1;
            ASSERT_TRUE(armed(level, [&] { got = kernel(x, n, 0); }));
            const std::size_t head = start == 0 ? 0 : 1;
            const std::size_t blocks = (n - head) / lanes * lanes;
            float count = static_cast<float>(head) + as_element<float>(blocks);
            for (std::size_t i = head + blocks; i < n; ++i)
                count += 1.0F;
            EXPECT_TRUE(same_bits(-8388608.0F / count, got)) << "n " << n << " start " << start;
            x[0] = 0.0F;
        }
}

TEST(avg_lvl_f32, sse2_count_of_20000000_is_exact) { exact_count(Level::sse2, 4); }
TEST(avg_lvl_f32, avx_count_of_20000000_is_exact) { exact_count(Level::avx, 8); }
TEST(avg_lvl_f32, avx2_count_of_20000000_is_exact) { exact_count(Level::avx2, 8); }

// Sums that go on growing, of elements not all of which qualify.
TEST(avg_lvl_f32, every_level_long_sums)
{
    const std::size_t n = 18000011;
    Buffer<float> in(n);
    static constexpr float values[] = {1, -3, 0.375F, 2, -0.0078125F, 5, 7};
    for (const std::size_t offset : {std::size_t{0}, std::size_t{12}}) {
        in.place(n, offset, Edge::end);
        std::vector<float> x(n);
        for (std::size_t i = 0; i < n; ++i)
            x[i] = i % 29 == 0 ? 9.0F : values[i * i % 7];
        patterns::put(in, x);
        const auto gives = [&](Level level, float want) {
            return agrees<float, float>(level, in, x, want, [&] {
                return KERNEL(rig::at(level), avg_lvl_f32)(in.data(), n, 8);
            });
        };
        EXPECT_TRUE(gives(Level::base, avg_lvl_base(x.data(), n, offset, 8.0F)));
        EXPECT_TRUE(gives(Level::sse2, avg_lvl_lanes<float, 4, 4>(x.data(), n, offset, 8.0F)));
        const float wide = avg_lvl_lanes<float, 8, 8>(x.data(), n, offset, 8.0F);
        EXPECT_TRUE(gives(Level::avx, wide));
        EXPECT_TRUE(gives(Level::avx2, wide));
    }
}

// 16,777,217 is no float: the divisor rounds to even.
TEST(avg_f32, every_level_count_is_rounded)
{
    const Zeros zeros(16777300, sizeof(float));
    ASSERT_TRUE(zeros.there());
    auto* const x = zeros.as<float>();
    x[0] = 8388608.0F;
    for (const Level level : {Level::base, Level::sse, Level::avx})
        for (const std::size_t n :
             {16777215U, 16777216U, 16777217U, 16777218U, 16777219U, 16777220U}) {
            float got = 0;
            ASSERT_TRUE(armed(level, [&] { got = KERNEL(rig::at(level), avg_f32)(x, n); }));
            EXPECT_TRUE(same_bits(8388608.0F / as_element<float>(n), got))
                << rig::name(level) << " " << n;
        }
}

// Beyond 2^32 a count, or a sum of lane counts, that is kept in 32 bits shows.
constexpr std::size_t beyond = (std::size_t{1} << 32) + 65536;

template <class T, class Call>
void beyond_32_bits(Level level, const Call& call)
{
    const Zeros zeros(beyond, sizeof(T));
    if (!zeros.there())
        GTEST_SKIP() << "no room for " << beyond << " elements of address space";
    auto* const x = zeros.as<T>();
    x[0] = -8388608;
    T got = 0;
    ASSERT_TRUE(armed(level, [&] { got = call(x); }));
    EXPECT_TRUE(same_bits(T(-8388608) / as_element<T>(beyond), got));
}

TEST(avg_f32, sse_count_beyond_32_bits)
{
    beyond_32_bits<float>(
        Level::sse, [](const float* x) { return KERNEL(rig::at(Level::sse), avg_f32)(x, beyond); });
}
TEST(avg_f32, avx_count_beyond_32_bits)
{
    beyond_32_bits<float>(
        Level::avx, [](const float* x) { return KERNEL(rig::at(Level::avx), avg_f32)(x, beyond); });
}
TEST(avg_lvl_f32, sse2_count_beyond_32_bits)
{
    beyond_32_bits<float>(Level::sse2, [](const float* x) {
        return KERNEL(rig::at(Level::sse2), avg_lvl_f32)(x, beyond, 0);
    });
}
TEST(avg_lvl_f32, avx_count_beyond_32_bits)
{
    beyond_32_bits<float>(Level::avx, [](const float* x) {
        return KERNEL(rig::at(Level::avx), avg_lvl_f32)(x, beyond, 0);
    });
}
TEST(avg_lvl_f32, avx2_count_beyond_32_bits)
{
    beyond_32_bits<float>(Level::avx2, [](const float* x) {
        return KERNEL(rig::at(Level::avx2), avg_lvl_f32)(x, beyond, 0);
    });
}

TEST(avg_lvl_f64, sse2_count_beyond_32_bits)
{
    beyond_32_bits<double>(Level::sse2, [](const double* x) {
        return KERNEL(rig::at(Level::sse2), avg_lvl_f64)(x, beyond, 0);
    });
}
TEST(avg_lvl_f64, avx_count_beyond_32_bits)
{
    beyond_32_bits<double>(Level::avx, [](const double* x) {
        return KERNEL(rig::at(Level::avx), avg_lvl_f64)(x, beyond, 0);
    });
}
TEST(avg_lvl_f64, avx2_count_beyond_32_bits)
{
    beyond_32_bits<double>(Level::avx2, [](const double* x) {
        return KERNEL(rig::at(Level::avx2), avg_lvl_f64)(x, beyond, 0);
    });
}

// The quotient of so few magnitudes is 0; by a count of 32 bits it would be 2.
void magnitudes_beyond_32_bits(Level level)
{
    const Zeros zeros(beyond, sizeof(std::int16_t));
    if (!zeros.there())
        GTEST_SKIP() << "no room for " << beyond << " samples of address space";
    auto* const x = zeros.as<std::int16_t>();
    std::fill_n(x, 4, std::int16_t{-32768});
    std::uint64_t got = 1;
    ASSERT_TRUE(armed(level, [&] { got = KERNEL(rig::at(level), avg_abs_s16)(x, beyond); }));
    EXPECT_EQ(got, 0U);
}

TEST(avg_abs_s16, base_count_beyond_32_bits) { magnitudes_beyond_32_bits(Level::base); }
TEST(avg_abs_s16, ssse3_count_beyond_32_bits) { magnitudes_beyond_32_bits(Level::ssse3); }
TEST(avg_abs_s16, avx2_count_beyond_32_bits) { magnitudes_beyond_32_bits(Level::avx2); }

} // namespace
