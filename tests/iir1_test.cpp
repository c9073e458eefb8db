// tests/iir1_test.cpp: iir1_f32 and iir1_f64, bit for bit at every level.
#include "models/iir1.h"
#include "rig/buffer.h"
#include "rig/call.h"
#include "rig/data.h"

#include <string>
#include <vector>

using namespace rig;
using namespace iir1;

namespace {

template <class K>
testing::AssertionResult installed(Level level)
{
    const std::string want = std::string(K::name) + "_" + name(level);
    const std::string got = at(level).variant(K::name);
    return got == want ? testing::AssertionSuccess()
                       : testing::AssertionFailure() << "want " << want << ", got " << got;
}

template <class K>
class Frame {
public:
    using T = typename K::Element;
    static constexpr std::size_t most = 96;
    std::vector<T> x_data = std::vector<T>(most), y_data = x_data, want = x_data;

    void make(Random& random, Kind kind)
    {
        fill(x_data.data(), most, random, kind);
        fill(y_data.data(), most, random, kind);
    }

    testing::AssertionResult compare(Level level, std::size_t n, std::size_t x_offset,
                                     std::size_t y_offset, Edge edge, T a)
    {
        typename K::Fn* const kernel = *at(level).entry<typename K::Fn>(K::name);
        x.place(n, x_offset, edge);
        y.place(n, y_offset, edge);
        std::memcpy(x.data(), x_data.data(), x.bytes());
        std::memcpy(y.data(), y_data.data(), y.bytes());
        if (auto ok = armed(level, [&] { kernel(x.data(), n, y.data(), a); }); !ok)
            return ok;
        const std::size_t head = bare<K>(level, n, x_offset, y_offset);
        for (std::size_t i = 0; i < n; ++i)
            want[i] = i < head ? model::mul(model::sub(x_data[i], y_data[i]), a)
                               : full(x_data[i], y_data[i], a);
        for (const auto& ok : {x.intact(), y.intact(), same_bits(x_data.data(), x.data(), n),
                               same_bits(want.data(), y.data(), n)})
            if (!ok)
                return ok;
        return testing::AssertionSuccess();
    }

    Buffer<T> x{most}, y{most};
};

std::string where(Level level, std::size_t n, std::size_t x, std::size_t y, Kind kind)
{
    return std::string(name(level)) + " n " + std::to_string(n) + " x " + std::to_string(x) +
           " y " + std::to_string(y) + " kind " + std::to_string(static_cast<int>(kind));
}

/// Every count to beyond the threshold, a head, three blocks and a tail; x and y at every pair of
/// offsets modulo 64.
template <class K>
void bits(Level level)
{
    ASSERT_TRUE(installed<K>(level));
    using T = typename K::Element;
    Frame<K> frame;
    Random random(81);
    const std::size_t beyond = 31 + 4 * 32 / sizeof(T);
    for (std::size_t n = 0; n <= beyond; ++n)
        for (const Kind kind : {Kind::ordinary, Kind::mixed}) {
            frame.make(random, kind);
            const T a = make<T>(random, kind);
            for (std::size_t x = 0; x < 64; x += sizeof(T))
                for (std::size_t y = 0; y < 64; y += sizeof(T)) {
                    const Edge edge = (x ^ y ^ n) % 2 == 0 ? Edge::start : Edge::end;
                    ASSERT_TRUE(frame.compare(level, n, x, y, edge, a))
                        << where(level, n, x, y, kind);
                }
        }
}

/// All kinds of data and coefficient, both edges, every count, alignments alike and unlike.
template <class K>
void kinds(Level level)
{
    ASSERT_TRUE(installed<K>(level));
    using T = typename K::Element;
    Frame<K> frame;
    Random random(82);
    for (std::size_t n = 0; n <= 64; ++n)
        for (const Kind kind : all_kinds)
            for (const Kind a_kind : {Kind::ordinary, Kind::special, Kind::ties}) {
                frame.make(random, kind);
                for (std::size_t y = 0; y < 64; y += sizeof(T))
                    for (const std::size_t apart : {std::size_t{0}, std::size_t{16}, sizeof(T)})
                        for (const Edge edge : both_edges) {
                            const T a = make<T>(random, a_kind);
                            ASSERT_TRUE(frame.compare(level, n, (y + apart) % 64, y, edge, a))
                                << where(level, n, (y + apart) % 64, y, kind) << " a " << show(a);
                        }
            }
}

/// NaNs in x, y and a, in each place: which of two or three survives, and in its element only.
template <class K>
void nan_operands(Level level)
{
    using T = typename K::Element;
    using F = model::Format<T>;
    Frame<K> frame;
    const T nan_x = model::from_bits<T>(F::exponent | 0x11);
    const T nan_y = model::from_bits<T>(F::sign | F::exponent | F::quiet | 0x22);
    const T nan_a = model::from_bits<T>(F::exponent | F::quiet | 0x33);
    constexpr std::size_t n = 45;
    for (const std::size_t y : {std::size_t{0}, 64 - sizeof(T), std::size_t{16}})
        for (const std::size_t apart : {std::size_t{0}, sizeof(T)})
            for (std::size_t i = 0; i < n; ++i)
                for (unsigned set = 1; set < 8; ++set) {
                    for (std::size_t k = 0; k < n; ++k) {
                        frame.x_data[k] = T(3);
                        frame.y_data[k] = T(1);
                    }
                    if ((set & 1) != 0)
                        frame.x_data[i] = nan_x;
                    if ((set & 2) != 0)
                        frame.y_data[i] = nan_y;
                    const T a = (set & 4) != 0 ? nan_a : T(0.5);
                    ASSERT_TRUE(frame.compare(level, n, (y + apart) % 64, y, Edge::end, a))
                        << name(level) << " NaN set " << set << " at " << i;
                    const T first = (set & 1) != 0 ? nan_x : (set & 2) != 0 ? nan_y : nan_a;
                    ASSERT_TRUE(same_bits(model::quieted(first), frame.y.get(i)))
                        << name(level) << " NaN set " << set << " at " << i;
                    for (std::size_t k = 0; k < n && (set & 4) == 0; ++k)
                        ASSERT_TRUE(k == i || !model::is_nan(frame.y.get(k)));
                }
}

/// n = 0 touches nothing.
template <class K>
void no_elements(Level level)
{
    using T = typename K::Element;
    typename K::Fn* const kernel = *at(level).entry<typename K::Fn>(K::name);
    ASSERT_TRUE(armed(level, [&] { kernel(nullptr, 0, nullptr, T(1)); }));
    auto* const forbidden = reinterpret_cast<T*>(sizeof(T));
    ASSERT_TRUE(armed(level, [&] { kernel(forbidden, 0, forbidden, T(1)); }));
}

/// a = 0 keeps every fully updated element; a head without add-back becomes zero with the sign of
/// x - y.
template <class K>
void coefficient_0(Level level)
{
    using T = typename K::Element;
    Frame<K> frame;
    Random random(83);
    frame.make(random, Kind::ordinary);
    constexpr std::size_t n = 50;
    int kept = 0;
    int zeros[2] = {0, 0};
    for (std::size_t y = 0; y < 64; y += sizeof(T))
        for (const std::size_t apart : {std::size_t{0}, sizeof(T)}) {
            const std::size_t x = (y + apart) % 64;
            ASSERT_TRUE(frame.compare(level, n, x, y, Edge::start, T(0)));
            const std::size_t head = bare<K>(level, n, x, y);
            for (std::size_t i = 0; i < n; ++i)
                if (i >= head) {
                    ASSERT_TRUE(same_bits(frame.y_data[i], frame.y.get(i))) << i;
                    ++kept;
                } else {
                    const bool below = frame.x_data[i] < frame.y_data[i];
                    ASSERT_TRUE(same_bits(below ? T(-0.0) : T(0.0), frame.y.get(i))) << i;
                    ++zeros[below ? 1 : 0];
                }
            for (std::size_t i = 0; i < head; ++i) // the other sign next time
                std::swap(frame.x_data[i], frame.y_data[i]);
        }
    EXPECT_GT(kept, 0);
    if (level == K::first_vector) {
        EXPECT_GT(zeros[0], 0);
        EXPECT_GT(zeros[1], 0);
    }
}

/// a = 1 is (x - y) + y, which misses x by its last bits.
template <class K>
void coefficient_1(Level level)
{
    using T = typename K::Element;
    Frame<K> frame;
    constexpr std::size_t n = 40;
    for (std::size_t i = 0; i < n; ++i) {
        frame.x_data[i] = T(1) / 3 + static_cast<T>(i);
        frame.y_data[i] = T(1e6);
    }
    for (const std::size_t apart : {std::size_t{0}, sizeof(T)}) {
        ASSERT_TRUE(frame.compare(level, n, apart, 0, Edge::end, T(1)));
        for (std::size_t i = 0; i < n; ++i) {
            const T difference = model::sub(frame.x_data[i], frame.y_data[i]);
            ASSERT_TRUE(same_bits(model::add(difference, frame.y_data[i]), frame.y.get(i)));
            ASSERT_NE(frame.x_data[i], frame.y.get(i));
        }
    }
}

/// Difference, product and sum are each rounded: fused they would leave u^2.
template <class K>
void each_rounded(Level level)
{
    using T = typename K::Element;
    const T u = std::numeric_limits<T>::epsilon();
    Frame<K> frame;
    constexpr std::size_t n = 53;
    for (std::size_t i = 0; i < n; ++i) {
        frame.y_data[i] = -(1 + 2 * u);
        frame.x_data[i] = model::add(T(1 + u), frame.y_data[i]);
    }
    // x - y is 1 + u exactly; (1 + u) * (1 + u) rounds to 1 + 2u.
    for (std::size_t y = 0; y < 64; y += sizeof(T)) {
        ASSERT_TRUE(frame.compare(level, n, y, y, Edge::end, 1 + u));
        ASSERT_TRUE(same_bits(T(0), frame.y.get(n - 1)));
        ASSERT_TRUE(same_bits(T(0), frame.y.get(20)));
    }
}

/// At and below the threshold the baseline's bits, at every alignment: no head formula there.
template <class K>
void to_threshold_as_baseline(Level level)
{
    using T = typename K::Element;
    const std::size_t threshold = level == Level::avx ? K::avx_threshold : 15;
    Frame<K> frame;
    Random random(84);
    for (std::size_t n = 0; n <= threshold; ++n)
        for (std::size_t y = 0; y < 64; y += sizeof(T)) {
            frame.make(random, Kind::mixed);
            const T a = make<T>(random, Kind::ordinary);
            ASSERT_TRUE(frame.compare(Level::base, n, y, y, Edge::end, a));
            std::vector<T> plain(n);
            std::memcpy(plain.data(), frame.y.data(), n * sizeof(T));
            ASSERT_TRUE(frame.compare(level, n, y, y, Edge::end, a));
            ASSERT_TRUE(same_bits(plain.data(), frame.y.data(), n)) << name(level) << " n " << n;
        }
}

/// The head does not test for the end. With a state off its element alignment (and the frame
/// alike) it never gets to the blocks and runs past the arrays: from the threshold on, not below.
template <class K>
void head_without_end_test(Level level)
{
    using T = typename K::Element;
    typename K::Fn* const kernel = *at(level).entry<typename K::Fn>(K::name);
    const std::size_t threshold = level == Level::avx ? K::avx_threshold : 15;
    Frame<K> frame;
    Random random(85);
    frame.make(random, Kind::ordinary);
    const std::size_t o = sizeof(T) / 2;
    for (std::size_t n = 1; n <= threshold; ++n) {
        ASSERT_TRUE(frame.compare(level, n, o, o, Edge::end, T(0.5))) << name(level) << " n " << n;
    }
    for (std::size_t n = threshold + 1; n <= threshold + 3; ++n) {
        frame.x.place(n, o, Edge::end);
        frame.y.place(n, o, Edge::end);
        EXPECT_TRUE(faults([&] { kernel(frame.x.data(), n, frame.y.data(), T(0.5)); }))
            << name(level) << " n " << n;
        // Unlike addresses have no head: any alignment will do.
        ASSERT_TRUE(frame.compare(level, n, o, o + sizeof(T), Edge::end, T(0.5))) << n;
    }
}

} // namespace

#define EVERY(entry, K, level)                                                                     \
    TEST(entry, level##_bits) { bits<K>(Level::level); }                                           \
    TEST(entry, level##_kinds) { kinds<K>(Level::level); }                                         \
    TEST(entry, level##_nan_operands_and_elements) { nan_operands<K>(Level::level); }              \
    TEST(entry, level##_no_elements) { no_elements<K>(Level::level); }                             \
    TEST(entry, level##_coefficient_0) { coefficient_0<K>(Level::level); }                         \
    TEST(entry, level##_coefficient_1_is_no_copy) { coefficient_1<K>(Level::level); }              \
    TEST(entry, level##_each_operation_rounded) { each_rounded<K>(Level::level); }

#define VECTOR(entry, K, level)                                                                    \
    TEST(entry, level##_to_threshold_as_baseline) { to_threshold_as_baseline<K>(Level::level); }   \
    TEST(entry, level##_head_without_end_test) { head_without_end_test<K>(Level::level); }

EVERY(iir1_f32, f32, base)
EVERY(iir1_f32, f32, sse)
EVERY(iir1_f32, f32, avx)
VECTOR(iir1_f32, f32, sse)
VECTOR(iir1_f32, f32, avx)

EVERY(iir1_f64, f64, base)
EVERY(iir1_f64, f64, sse2)
EVERY(iir1_f64, f64, avx)
VECTOR(iir1_f64, f64, sse2)
VECTOR(iir1_f64, f64, avx)

/// 16 floats, both 4 bytes past a multiple of 16: elements 0 to 2 without add-back, the rest full.
TEST(iir1_f32, sse_head_without_add_back)
{
    Frame<f32> frame;
    for (std::size_t i = 0; i < 16; ++i) {
        frame.x_data[i] = static_cast<float>(i + 8);
        frame.y_data[i] = 4;
    }
    ASSERT_TRUE(frame.compare(Level::sse, 16, 4, 4, Edge::start, 0.5F));
    for (std::size_t i = 0; i < 16; ++i) {
        const float change = static_cast<float>(i + 4) / 2;
        EXPECT_EQ(frame.y.get(i), i < 3 ? change : change + 4) << i;
    }
    ASSERT_TRUE(frame.compare(Level::sse, 16, 20, 4, Edge::start, 0.5F)); // alike modulo 16
    EXPECT_EQ(frame.y.get(0), 2);
    EXPECT_EQ(frame.y.get(2), 3);
    EXPECT_EQ(frame.y.get(3), 3.5F + 4);
    ASSERT_TRUE(frame.compare(Level::sse, 15, 4, 4, Edge::start, 0.5F)); // one less: the baseline
    EXPECT_EQ(frame.y.get(0), 2 + 4);
    ASSERT_TRUE(frame.compare(Level::sse, 16, 8, 4, Edge::start, 0.5F)); // unlike: no head
    EXPECT_EQ(frame.y.get(0), 2 + 4);
    ASSERT_TRUE(frame.compare(Level::sse, 16, 16, 16, Edge::start, 0.5F)); // aligned: no head
    EXPECT_EQ(frame.y.get(0), 2 + 4);
}

TEST(iir1_f64, sse2_head_without_add_back)
{
    Frame<f64> frame;
    for (std::size_t i = 0; i < 16; ++i) {
        frame.x_data[i] = static_cast<double>(i + 8);
        frame.y_data[i] = 4;
    }
    ASSERT_TRUE(frame.compare(Level::sse2, 16, 8, 8, Edge::start, 0.5));
    EXPECT_EQ(frame.y.get(0), 2);
    EXPECT_EQ(frame.y.get(1), 2.5 + 4);
    EXPECT_EQ(frame.y.get(15), 9.5 + 4);
    ASSERT_TRUE(frame.compare(Level::sse2, 15, 8, 8, Edge::start, 0.5));
    EXPECT_EQ(frame.y.get(0), 2 + 4);
}

/// AVX heads are complete, in both types.
TEST(iir1_f32, avx_head_with_add_back)
{
    Frame<f32> frame;
    for (std::size_t i = 0; i < 40; ++i) {
        frame.x_data[i] = 8;
        frame.y_data[i] = 4;
    }
    for (std::size_t o = 0; o < 32; o += 4) {
        ASSERT_TRUE(frame.compare(Level::avx, 40, o, o, Edge::start, 0.5F));
        for (std::size_t i = 0; i < 40; ++i)
            ASSERT_EQ(frame.y.get(i), 6) << i;
    }
}

TEST(iir1_f64, avx_head_with_add_back)
{
    Frame<f64> frame;
    for (std::size_t i = 0; i < 20; ++i) {
        frame.x_data[i] = 8;
        frame.y_data[i] = 4;
    }
    for (std::size_t o = 0; o < 32; o += 8) {
        ASSERT_TRUE(frame.compare(Level::avx, 20, o, o, Edge::start, 0.5));
        for (std::size_t i = 0; i < 20; ++i)
            ASSERT_EQ(frame.y.get(i), 6) << i;
    }
}
