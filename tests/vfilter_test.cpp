// tests/vfilter_test.cpp: vfilter_f32 and vfilter_f64, bit for bit at every level.
#include "models/vfilter.h"
#include "rig/buffer.h"
#include "rig/call.h"
#include "rig/data.h"

#include <limits>
#include <string>
#include <vector>

using namespace rig;
using namespace vfilter;

namespace {

struct f32 {
    using Element = float;
    using Fn = vfilter_f32_fn;
    static constexpr const char* name = "vfilter_f32";
};
struct f64 {
    using Element = double;
    using Fn = vfilter_f64_fn;
    static constexpr const char* name = "vfilter_f64";
};

template <class K>
testing::AssertionResult installed(Level level)
{
    const std::string want = std::string(K::name) + "_" + name(level);
    const std::string got = at(level).variant(K::name);
    return got == want ? testing::AssertionSuccess()
                       : testing::AssertionFailure() << "want " << want << ", got " << got;
}

template <class K>
class Row {
public:
    using T = typename K::Element;
    static constexpr std::size_t most = 192, most_taps = 64;
    std::vector<T> x_data = std::vector<T>(most), want = x_data;
    std::vector<T> taps_data = std::vector<T>(most_taps);

    void make(Random& random, Kind kind) // taps are not symmetric: it shows which are read
    {
        fill(x_data.data(), most, random, kind);
        fill(taps_data.data(), most_taps, random, kind);
    }

    struct Places {
        std::size_t x, taps, y;
        Edge edge;
        std::size_t taps_there = 0; // 0: all 2 * half + 1
        std::size_t elements = 0;   // of x and y; 0: n
    };

    testing::AssertionResult call(Level level, std::int32_t n, std::int32_t len, Places at)
    {
        typename K::Fn* const kernel = *rig::at(level).template entry<typename K::Fn>(K::name);
        const std::int32_t half = len > 1 ? len >> 1 : 0;
        const std::size_t elements = at.elements != 0 ? at.elements : static_cast<std::size_t>(n);
        x.place(elements, at.x, at.edge);
        taps.place(at.taps_there != 0 ? at.taps_there : static_cast<std::size_t>(2 * half + 1),
                   at.taps, at.edge);
        y.place(elements, at.y, at.edge);
        std::memcpy(x.data(), x_data.data(), x.bytes());
        std::memcpy(taps.data(), taps_data.data(), taps.bytes());
        y.fill_bytes(0xa5);
        if (auto ok = armed(level, [&] { kernel(x.data(), n, taps.data(), len, y.data()); }); !ok)
            return ok;
        for (const auto& ok :
             {x.intact(), taps.intact(), y.intact(), same_bits(x_data.data(), x.data(), elements),
              same_bits(taps_data.data(), taps.data(), taps.size())})
            if (!ok)
                return ok;
        return testing::AssertionSuccess();
    }

    testing::AssertionResult compare(Level level, std::int32_t n, std::int32_t len, Places at)
    {
        if (auto ok = call(level, n, len, at); !ok)
            return ok;
        std::memset(static_cast<void*>(want.data()), 0xa5, most * sizeof(T));
        expect(x_data.data(), n, taps_data.data(), len, want.data(), model::fir_lanes<T>(level),
               x.data(), taps.data());
        return same_bits(want.data(), y.data(), y.size());
    }

    Buffer<T> x{most}, taps{most_taps}, y{most};
};

template <class P>
std::string where(Level level, std::int32_t n, std::int32_t len, P at, Kind kind)
{
    return std::string(name(level)) + " n " + std::to_string(n) + " len " + std::to_string(len) +
           " x " + std::to_string(at.x) + " taps " + std::to_string(at.taps) + " y " +
           std::to_string(at.y) + " kind " + std::to_string(static_cast<int>(kind));
}

// ---- Bits ---------------------------------------------------------------------------------------

/// Every length to 33, every n from 2 * half on to beyond two blocks and a block's rest.
template <class K>
void lengths(Level level)
{
    ASSERT_TRUE(installed<K>(level));
    using T = typename K::Element;
    Row<K> row;
    Random random(91);
    std::size_t turn = 0;
    for (std::int32_t len = -2; len <= 33; ++len) {
        const std::int32_t half = len > 1 ? len >> 1 : 0;
        const auto beyond = static_cast<std::int32_t>(5 * 32 / sizeof(T) + 3);
        for (std::int32_t n = 2 * half; n <= 2 * half + beyond; ++n)
            for (const Kind kind : {Kind::ordinary, Kind::mixed}) {
                row.make(random, kind);
                const std::size_t o = turn * sizeof(T) % 64;
                const std::size_t p = turn / 5 * sizeof(T) % 64;
                const typename Row<K>::Places list[] = {
                    {o, o, p, Edge::start}, {o, p, o, Edge::end}, {p, p, p, Edge::end}};
                ++turn;
                for (const auto& at : list)
                    ASSERT_TRUE(row.compare(level, n, len, at)) << where(level, n, len, at, kind);
            }
    }
}

/// x and taps at every pair of offsets modulo 64: the step's path changes within a block.
template <class K>
void alignments(Level level)
{
    ASSERT_TRUE(installed<K>(level));
    using T = typename K::Element;
    const auto w = static_cast<std::int32_t>(model::fir_lanes<T>(level));
    Row<K> row;
    Random random(92);
    for (const std::int32_t len : {2, 3, 8, 9, 17, 20})
        for (const std::int32_t over : {0, 2 * w, 4 * w + 1}) {
            row.make(random, Kind::ordinary);
            const std::int32_t n = 2 * (len >> 1) + over;
            for (std::size_t x = 0; x < 64; x += sizeof(T))
                for (std::size_t taps = 0; taps < 64; taps += sizeof(T)) {
                    const typename Row<K>::Places at{x, taps, (x + taps) % 64,
                                                     (x ^ taps) % (2 * sizeof(T)) == 0 ? Edge::start
                                                                                       : Edge::end};
                    ASSERT_TRUE(row.compare(level, n, len, at))
                        << where(level, n, len, at, Kind::ordinary);
                }
        }
}

/// All kinds of data; every y offset; both edges.
template <class K>
void kinds(Level level)
{
    using T = typename K::Element;
    const auto w = static_cast<std::int32_t>(model::fir_lanes<T>(level));
    Row<K> row;
    Random random(93);
    for (const Kind kind : all_kinds)
        for (const std::int32_t len : {1, 2, 3, 5, 10})
            for (const std::int32_t over : {0, 1, 2 * w - 1, 2 * w, 2 * w + 1, 6 * w + 3})
                for (std::size_t y = 0; y < 64; y += sizeof(T))
                    for (const Edge edge : both_edges) {
                        row.make(random, kind);
                        const std::int32_t n = 2 * (len >> 1) + over;
                        const typename Row<K>::Places at{y, 0, y, edge};
                        ASSERT_TRUE(row.compare(level, n, len, at))
                            << where(level, n, len, at, kind);
                    }
}

/// NaNs in two places of x, or in x and the taps: which one reaches each output.
template <class K>
void nan_pairs(Level level)
{
    using T = typename K::Element;
    using F = model::Format<T>;
    const auto w = static_cast<std::int32_t>(model::fir_lanes<T>(level));
    Row<K> row;
    Random random(94);
    row.make(random, Kind::ordinary);
    const auto x = row.x_data;
    const auto taps = row.taps_data;
    constexpr std::int32_t len = 7;
    const std::int32_t n = 2 * 3 + 2 * w + 2;
    for (const std::size_t o : {std::size_t{0}, 64 - sizeof(T)})
        for (std::size_t i = 0; i < static_cast<std::size_t>(n); ++i) {
            row.x_data = x;
            row.x_data[i] = model::from_bits<T>(F::exponent | 0x11);
            for (std::size_t j = 0; j < static_cast<std::size_t>(n); ++j) {
                const T kept = row.x_data[j];
                if (j != i)
                    row.x_data[j] = model::from_bits<T>(F::sign | F::exponent | F::quiet | 0x22);
                ASSERT_TRUE(row.compare(level, n, len, {o, o, 0, Edge::end}))
                    << name(level) << " NaNs at " << i << ", " << j;
                row.x_data[j] = kept;
            }
            for (std::size_t k = 0; k < static_cast<std::size_t>(len); ++k) {
                row.taps_data = taps;
                row.taps_data[k] = model::from_bits<T>(F::sign | F::exponent | 0x33);
                ASSERT_TRUE(row.compare(level, n, len, {o, o, 0, Edge::end}))
                    << name(level) << " NaNs at " << i << ", tap " << k;
            }
            row.taps_data = taps;
        }
}

// ---- The copy -----------------------------------------------------------------------------------

struct Copy {
    void* dst;
    const void* src;
    std::size_t bytes;
};
std::vector<Copy> copies;
int steps = 0;

/// Leaves the upper halves in use: vfilter must clear them behind it.
void log_copy(void* dst, const void* src, std::size_t bytes)
{
    copies.push_back({dst, src, bytes});
    if (upper_halves_visible())
        asm volatile("vcmptrueps %%ymm0, %%ymm0, %%ymm6" ::: "xmm6");
}

template <class T>
void log_step(const T*, const T*, const T*, std::size_t, T* out_re, T* out_im)
{
    ++steps;
    *out_re = *out_im = T(1e9);
}

template <class Fn>
class Replaced {
public:
    Replaced(Level level, const char* entry, Fn* by)
        : entry_(at(level).entry<Fn>(entry)), kept_(*entry_)
    {
        *entry_ = by;
    }
    ~Replaced() { *entry_ = kept_; }
    Replaced(const Replaced&) = delete;
    Replaced& operator=(const Replaced&) = delete;

private:
    Fn** entry_;
    Fn* kept_;
};

/// len <= 1: the memcpy_fast entry, called once with y, x and the bytes; taps may be null.
template <class K>
void copies_by_the_entry(Level level)
{
    using T = typename K::Element;
    typename K::Fn* const kernel = *at(level).entry<typename K::Fn>(K::name);
    const Replaced<memcpy_fast_fn> replaced(level, "memcpy_fast", log_copy);
    T x[2] = {T(1), T(2)};
    T y[2] = {T(8), T(9)};
    const std::int32_t least = std::numeric_limits<std::int32_t>::min();
    const std::int32_t greatest = std::numeric_limits<std::int32_t>::max();
    for (const std::int32_t len : {1, 0, -1, -2, -77, least + 1, least})
        for (const std::int32_t n : {0, 1, 2, 1 << 28, 1 << 30, greatest}) {
            copies.clear();
            ASSERT_TRUE(armed(level, [&] { kernel(x, n, nullptr, len, y); }));
            ASSERT_EQ(copies.size(), 1U) << name(level) << " len " << len << " n " << n;
            EXPECT_EQ(copies[0].dst, y);
            EXPECT_EQ(copies[0].src, x);
            EXPECT_EQ(copies[0].bytes, static_cast<std::size_t>(n) * sizeof(T));
            EXPECT_EQ(y[0], 8);
            EXPECT_EQ(y[1], 9);
        }
    // The entry is read at each call.
    copies.clear();
    {
        const Replaced<memcpy_fast_fn> back(
            level, "memcpy_fast",
            reinterpret_cast<memcpy_fast_fn*>(at(level).internal("memcpy_fast_base")));
        ASSERT_TRUE(armed(level, [&] { kernel(x, 2, nullptr, 1, y); }));
    }
    EXPECT_TRUE(copies.empty());
    EXPECT_EQ(y[0], 1);
    EXPECT_EQ(y[1], 2);
    // And only then: with two or three taps nothing is copied.
    const T taps[3] = {T(1), T(1), T(1)};
    for (const std::int32_t len : {2, 3})
        ASSERT_TRUE(armed(level, [&] { kernel(x, 2, taps, len, y); }));
    EXPECT_TRUE(copies.empty());
}

/// len of 0 or 1: a byte-exact copy, signalling NaNs and all, whatever taps holds.
template <class K>
void copy_is_exact(Level level)
{
    using T = typename K::Element;
    Row<K> row;
    Random random(95);
    for (const std::int32_t len : {0, 1})
        for (std::int32_t n = 0; n < 80; ++n)
            for (const std::size_t apart : {std::size_t{0}, sizeof(T)}) {
                row.make(random, Kind::special);
                row.taps_data[0] = T(5);
                ASSERT_TRUE(row.call(level, n, len, {16, 0, 16 + apart, Edge::end}));
                ASSERT_TRUE(
                    same_bits(row.x_data.data(), row.y.data(), static_cast<std::size_t>(n)));
            }
}

// ---- What is read and called --------------------------------------------------------------------

/// Blocks go to the step of the own level directly: the entries may hold anything.
template <class K>
void step_not_by_the_entry(Level level)
{
    using T = typename K::Element;
    const Replaced<fir_step_c32_fn> c32(level, "fir_step_c32", log_step<float>);
    const Replaced<fir_step_c64_fn> c64(level, "fir_step_c64", log_step<double>);
    steps = 0;
    Row<K> row;
    Random random(96);
    row.make(random, Kind::ordinary);
    const auto w = static_cast<std::int32_t>(model::fir_lanes<T>(level));
    for (const std::int32_t over : {0, 2 * w - 1, 2 * w, 5 * w})
        ASSERT_TRUE(row.compare(level, 8 + over, 9, {0, 0, 0, Edge::end}));
    EXPECT_EQ(steps, 0);
}

/// Offset that puts `n` elements right before the forbidden page.
template <class T>
std::size_t against_the_end(std::size_t n)
{
    return (64 - n * sizeof(T) % 64) % 64;
}

/// The baseline reads taps[0] to taps[half] only, with a forbidden page right behind them.
template <class K>
void half_the_taps(Level level)
{
    using T = typename K::Element;
    Row<K> row;
    Random random(97);
    for (std::int32_t len = 2; len <= 33; ++len)
        for (const std::int32_t over : {0, 1, 5, 40}) {
            row.make(random, Kind::ordinary);
            const auto half = static_cast<std::size_t>(len >> 1);
            ASSERT_TRUE(row.compare(level, 2 * (len >> 1) + over, len,
                                    {0, against_the_end<T>(half + 1), 0, Edge::end, half + 1}))
                << "len " << len;
        }
}

/// Vector blocks read all 2 * half + 1 taps and not one more: fewer fault, a page right behind the
/// last one does not.
template <class K>
void all_the_taps(Level level)
{
    using T = typename K::Element;
    Row<K> row;
    Random random(98);
    const auto w = static_cast<std::int32_t>(model::fir_lanes<T>(level));
    for (std::int32_t len = 2; len <= 33; ++len)
        for (const std::int32_t over : {2 * w, 5 * w}) {
            row.make(random, Kind::ordinary);
            const std::int32_t n = 2 * (len >> 1) + over;
            const auto all = static_cast<std::size_t>(2 * (len >> 1) + 1);
            ASSERT_TRUE(row.compare(level, n, len, {0, against_the_end<T>(all), 0, Edge::end, all}))
                << name(level) << " len " << len;
            const T* const cut = row.taps.place(all - 1, against_the_end<T>(all - 1), Edge::end);
            std::memcpy(row.taps.data(), row.taps_data.data(), row.taps.bytes());
            EXPECT_TRUE(faults([&] {
                (*at(level).entry<typename K::Fn>(K::name))(row.x.data(), n, cut, len,
                                                            row.y.data());
            })) << name(level)
                << " len " << len;
        }
}

// ---- Edge cases ---------------------------------------------------------------------------------

/// len = 2 is three taps: the baseline takes taps[0] for both neighbours and never reads taps[2].
template <class K>
void len_2(Level level)
{
    using T = typename K::Element;
    using namespace model;
    Row<K> row;
    Random random(99);
    for (std::int32_t n = 2; n < 60; ++n) {
        row.make(random, Kind::ordinary);
        const bool vector = level != Level::base;
        const std::size_t there = vector ? 3 : 2;
        ASSERT_TRUE(row.compare(level, n, 2, {0, against_the_end<T>(there), 0, Edge::end, there}));
        const T* const x = row.x_data.data();
        const T* const t = row.taps_data.data();
        const auto last = static_cast<std::size_t>(n - 1);
        ASSERT_TRUE(same_bits(add(mul(x[0], t[1]), mul(add(x[1], x[0]), t[0])), row.y.get(0)));
        ASSERT_TRUE(same_bits(add(mul(x[last], t[1]), mul(add(x[last], x[last - 1]), t[0])),
                              row.y.get(last)));
        if (!vector && n > 2) {
            ASSERT_TRUE(same_bits(add(mul(x[1], t[1]), mul(add(x[2], x[0]), t[0])), row.y.get(1)));
        }
    }
}

/// An even len gives the outputs of the next odd one.
template <class K>
void even_len(Level level)
{
    using T = typename K::Element;
    Row<K> row;
    Random random(100);
    for (std::int32_t len = 2; len <= 32; len += 2)
        for (const std::int32_t over : {0, 7, 35}) {
            row.make(random, Kind::ordinary);
            ASSERT_TRUE(row.compare(level, len + over, len, {0, 0, 0, Edge::end}));
            std::vector<T> even(row.y.size());
            std::memcpy(even.data(), row.y.data(), row.y.bytes());
            ASSERT_TRUE(row.compare(level, len + over, len + 1, {0, 0, 0, Edge::end}));
            ASSERT_TRUE(same_bits(even.data(), row.y.data(), even.size())) << "len " << len;
        }
}

/// len = 3, n = 2: both phases, each with its one replaced neighbour.
template <class K>
void len_3_n_2(Level level)
{
    using T = typename K::Element;
    Row<K> row;
    row.x_data[0] = T(2);
    row.x_data[1] = T(5);
    row.taps_data[0] = T(0.25);
    row.taps_data[1] = T(0.5);
    row.taps_data[2] = T(100); // not read
    ASSERT_TRUE(row.compare(level, 2, 3, {0, 0, 0, Edge::end}));
    EXPECT_EQ(row.y.get(0), T(2 * 0.5 + (5 + 2) * 0.25));
    EXPECT_EQ(row.y.get(1), T(5 * 0.5 + (2 + 5) * 0.25));
}

/// A constant input and taps that sum to 1 give the constant, to the ends.
template <class K>
void constant_input(Level level)
{
    using T = typename K::Element;
    Row<K> row;
    for (auto& x : row.x_data)
        x = T(1.7);
    for (const std::int32_t len : {3, 5, 9, 17, 31}) {
        for (std::int32_t k = 0; k < len; ++k)
            row.taps_data[static_cast<std::size_t>(k)] = T(1) / static_cast<T>(len);
        for (const std::int32_t over : {0, 1, 20, 50}) {
            const std::int32_t n = 2 * (len >> 1) + over;
            ASSERT_TRUE(row.compare(level, n, len, {0, 0, 0, Edge::end}));
            for (std::size_t i = 0; i < static_cast<std::size_t>(n); ++i)
                ASSERT_NEAR(static_cast<double>(row.y.get(i)), 1.7,
                            20 * static_cast<double>(std::numeric_limits<T>::epsilon()))
                    << i;
        }
    }
}

/// Just below 2W inner outputs there is no block and every output is the baseline's; at 2W there
/// is one, and its outputs are not.
template <class K>
void around_a_block(Level level)
{
    using T = typename K::Element;
    const auto w = static_cast<std::int32_t>(model::fir_lanes<T>(level));
    Row<K> row;
    Random random(101);
    for (std::int32_t len = 2; len <= 20; ++len)
        for (std::int32_t over = 0; over <= 4 * w + 1; ++over) {
            for (auto& x : row.x_data)
                x = static_cast<T>(1 + random.unit());
            for (std::size_t k = 0; k < row.most_taps; ++k) // each right tap above its left one
                row.taps_data[k] = static_cast<T>(k + 1);
            const std::int32_t n = 2 * (len >> 1) + over;
            ASSERT_TRUE(row.compare(Level::base, n, len, {0, 0, 0, Edge::end}));
            std::vector<T> plain(row.y.size());
            std::memcpy(plain.data(), row.y.data(), row.y.bytes());
            ASSERT_TRUE(row.compare(level, n, len, {0, 0, 0, Edge::end}));
            const auto first = static_cast<std::size_t>(len >> 1);
            const auto end = first + static_cast<std::size_t>(over / (2 * w) * 2 * w);
            for (std::size_t i = 0; i < plain.size(); ++i)
                if (i < first || i >= end) {
                    ASSERT_TRUE(same_bits(plain[i], row.y.get(i)))
                        << name(level) << " n " << n << " len " << len << " output " << i;
                } else {
                    ASSERT_NE(bits_of(plain[i]), bits_of(row.y.get(i)))
                        << name(level) << " n " << n << " len " << len << " output " << i;
                }
        }
}

/// With symmetric taps, as hosts use it, blocks differ from the baseline in last bits only.
template <class K>
void symmetric_taps(Level level)
{
    using T = typename K::Element;
    Row<K> row;
    Random random(102);
    for (std::int32_t len = 3; len <= 33; len += 2) {
        row.make(random, Kind::ordinary);
        for (auto& x : row.x_data)
            x = static_cast<T>(random.unit());
        for (std::size_t k = 0; k < static_cast<std::size_t>(len); ++k) {
            const auto mirror = static_cast<std::size_t>(len) - 1 - k;
            row.taps_data[k] = k <= mirror ? static_cast<T>(random.unit()) : row.taps_data[mirror];
        }
        ASSERT_TRUE(row.compare(Level::base, 120, len, {0, 0, 0, Edge::end}));
        std::vector<T> plain(row.y.size());
        std::memcpy(plain.data(), row.y.data(), row.y.bytes());
        ASSERT_TRUE(row.compare(level, 120, len, {0, 0, 0, Edge::end}));
        for (std::size_t i = 0; i < plain.size(); ++i)
            ASSERT_NEAR(static_cast<double>(plain[i]), static_cast<double>(row.y.get(i)),
                        100 * static_cast<double>(std::numeric_limits<T>::epsilon()))
                << name(level) << " len " << len << " output " << i;
    }
}

/// The first phase makes half outputs whatever n is, with right indices as they stand: below
/// n = 2 * half it reads past x, below half it writes past y.
template <class K>
void first_phase_is_whole(Level level)
{
    using T = typename K::Element;
    Row<K> row;
    Random random(103);
    for (std::int32_t len = 2; len <= 33; ++len)
        for (std::int32_t n = 0; n < 2 * (len >> 1); ++n) {
            row.make(random, Kind::ordinary);
            const auto elements = static_cast<std::size_t>(2 * (len >> 1));
            ASSERT_TRUE(row.compare(level, n, len, {0, 0, 0, Edge::end, 0, elements}))
                << name(level) << " n " << n << " len " << len;
        }
    // half is 2 and n is 1: with no room for a second output the write faults.
    typename K::Fn* const kernel = *at(level).entry<typename K::Fn>(K::name);
    row.x.place(8, 0, Edge::end);
    row.taps.place(5, 0, Edge::end);
    row.y.place(1, against_the_end<T>(1), Edge::end);
    EXPECT_TRUE(faults([&] { kernel(row.x.data(), 1, row.taps.data(), 5, row.y.data()); }));
}

/// Where every product is -0 a folded output is -0, and one of a block is +0: its sum starts there.
template <class K>
void minus_zeros(Level level)
{
    using T = typename K::Element;
    const auto w = static_cast<std::size_t>(model::fir_lanes<T>(level));
    Row<K> row;
    for (auto& x : row.x_data)
        x = T(-0.0);
    for (auto& t : row.taps_data)
        t = T(1);
    for (std::int32_t len = 2; len <= 12; ++len) {
        const auto half = static_cast<std::size_t>(len >> 1);
        const std::size_t n = 2 * half + 2 * w + 1;
        ASSERT_TRUE(row.compare(level, static_cast<std::int32_t>(n), len, {0, 0, 0, Edge::end}));
        for (std::size_t i = 0; i < n; ++i) {
            const bool block = w > 1 && i >= half && i < half + 2 * w;
            ASSERT_TRUE(same_bits(block ? T(0.0) : T(-0.0), row.y.get(i)))
                << name(level) << " len " << len << " output " << i;
        }
    }
}

} // namespace

#define EVERY(entry, K, level)                                                                     \
    TEST(entry, level##_lengths) { lengths<K>(Level::level); }                                     \
    TEST(entry, level##_alignments) { alignments<K>(Level::level); }                               \
    TEST(entry, level##_kinds) { kinds<K>(Level::level); }                                         \
    TEST(entry, level##_nan_pairs) { nan_pairs<K>(Level::level); }                                 \
    TEST(entry, level##_copies_by_the_entry) { copies_by_the_entry<K>(Level::level); }             \
    TEST(entry, level##_copy_is_exact) { copy_is_exact<K>(Level::level); }                         \
    TEST(entry, level##_step_not_by_the_entry) { step_not_by_the_entry<K>(Level::level); }         \
    TEST(entry, level##_len_2_is_three_taps) { len_2<K>(Level::level); }                           \
    TEST(entry, level##_even_len_as_next_odd) { even_len<K>(Level::level); }                       \
    TEST(entry, level##_len_3_n_2) { len_3_n_2<K>(Level::level); }                                 \
    TEST(entry, level##_constant_input) { constant_input<K>(Level::level); }                       \
    TEST(entry, level##_first_phase_is_whole) { first_phase_is_whole<K>(Level::level); }           \
    TEST(entry, level##_minus_zeros) { minus_zeros<K>(Level::level); }

#define VECTOR(entry, K, level)                                                                    \
    TEST(entry, level##_all_the_taps) { all_the_taps<K>(Level::level); }                           \
    TEST(entry, level##_around_a_block) { around_a_block<K>(Level::level); }                       \
    TEST(entry, level##_symmetric_taps) { symmetric_taps<K>(Level::level); }

EVERY(vfilter_f32, f32, base)
EVERY(vfilter_f32, f32, sse)
EVERY(vfilter_f32, f32, avx)
VECTOR(vfilter_f32, f32, sse)
VECTOR(vfilter_f32, f32, avx)

EVERY(vfilter_f64, f64, base)
EVERY(vfilter_f64, f64, sse2)
EVERY(vfilter_f64, f64, avx)
VECTOR(vfilter_f64, f64, sse2)
VECTOR(vfilter_f64, f64, avx)

TEST(vfilter_f32, base_half_the_taps) { half_the_taps<f32>(Level::base); }
TEST(vfilter_f64, base_half_the_taps) { half_the_taps<f64>(Level::base); }
