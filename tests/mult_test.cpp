// tests/mult_test.cpp: mult_f32, mult_f64 and mult_add_f32, each variant bit for bit.
#include "models/mult.h"
#include "rig/buffer.h"
#include "rig/call.h"
#include "rig/data.h"

#include <cmath>
#include <cstdint>
#include <type_traits>
#include <vector>

namespace {

using namespace mult;
using rig::Edge;
using rig::Kind;

// --- mult_f32, mult_f64 ----------------------------------------------------------------------

enum class Data { ordinary, special, mixed, constant, ties, two_nans };
constexpr Data all_data[] = {Data::ordinary, Data::special, Data::mixed,
                             Data::constant, Data::ties,    Data::two_nans};

/// A NaN unlike any other: quiet or signalling, of either sign.
template <class T>
T some_nan(rig::Random& random)
{
    using F = model::Format<T>;
    const auto payload = static_cast<typename F::Bits>(random.bits());
    return model::from_bits<T>(F::exponent | (payload & (F::sign | F::mantissa)) | 1);
}

template <class T>
void fill(T* at, std::size_t n, rig::Random& random, Data data)
{
    if (data != Data::two_nans)
        return rig::fill(at, n, random, static_cast<Kind>(data));
    for (std::size_t i = 0; i < n; ++i) {
        const T value = some_nan<T>(random);
        std::memcpy(reinterpret_cast<char*>(at) + i * sizeof value, &value, sizeof value);
    }
}

/// Which of the three arrays are one.
enum class Same { none, dst_a, dst_b, a_b, all };

struct Place {
    std::size_t dst, a, b; // modulo 64
    Edge edge;
};

template <class T>
class Mult {
public:
    explicit Mult(Level level) : level_(level)
    {
        if constexpr (std::is_same_v<T, float>)
            kernel_ = KERNEL(rig::at(level), mult_f32);
        else
            kernel_ = KERNEL(rig::at(level), mult_f64);
    }

    std::size_t lanes() const { return width(level_) == 0 ? 1 : width(level_) / sizeof(T); }

    testing::AssertionResult operator()(std::size_t n, Place at, Data data, Same same = Same::none)
    {
        const auto result = run(n, at, data, same);
        if (result)
            return result;
        return testing::AssertionFailure()
               << rig::name(level_) << ", n " << n << ", dst/a/b at " << at.dst << "/" << at.a
               << "/" << at.b << ", edge " << static_cast<int>(at.edge) << ", data "
               << static_cast<int>(data) << ", same " << static_cast<int>(same) << ": "
               << result.message();
    }

private:
    testing::AssertionResult run(std::size_t n, Place at, Data data, Same same)
    {
        T* const dst = dst_.place(n, at.dst, at.edge);
        dst_.fill_bytes(0xA5);
        const bool a_is_dst = same == Same::dst_a || same == Same::all;
        const bool b_is_dst = same == Same::dst_b || same == Same::all;
        T* const a = a_is_dst ? dst : a_.place(n, at.a, at.edge);
        T* const b = b_is_dst ? dst : same == Same::a_b ? a : b_.place(n, at.b, at.edge);
        fill(a, n, random_, data);
        if (b != a)
            fill(b, n, random_, data);

        const rig::Buffer<T>& from_a = a_is_dst ? dst_ : a_;
        const rig::Buffer<T>& from_b = b_is_dst ? dst_ : same == Same::a_b ? a_ : b_;
        const Blocks blocks = mult_blocks(width(level_), dst, a, b, n);
        a_before_.resize(n);
        b_before_.resize(n);
        want_.resize(n);
        for (std::size_t i = 0; i < n; ++i) {
            a_before_[i] = from_a.get(i);
            b_before_[i] = from_b.get(i);
            want_[i] = mult_model(blocks.hold(i), a_before_[i], b_before_[i]);
        }

        if (const auto call = armed(level_, [&] { kernel_(dst, a, b, n); }); !call)
            return call;
        if (const auto bits = rig::same_bits(want_.data(), dst, n); !bits)
            return bits;
        if (!a_is_dst && !rig::same_bits(a_before_.data(), a, n))
            return testing::AssertionFailure() << "a was written";
        if (!b_is_dst && !rig::same_bits(b_before_.data(), b, n))
            return testing::AssertionFailure() << "b was written";
        if (const auto still = dst_.intact(); !still)
            return still;
        if (!a_is_dst && !a_.intact())
            return testing::AssertionFailure() << "written beside a";
        if (!b_is_dst && same != Same::a_b && !b_.intact())
            return testing::AssertionFailure() << "written beside b";
        return testing::AssertionSuccess();
    }

    Level level_;
    void (*kernel_)(T*, const T*, const T*, std::size_t) = nullptr;
    rig::Random random_{1};
    rig::Buffer<T> dst_{160}, a_{160}, b_{160};
    std::vector<T> want_, a_before_, b_before_;
};

template <class T>
void mult_counts(Level level)
{
    Mult<T> check(level);
    constexpr std::size_t t = sizeof(T);
    const Place places[] = {{0, 0, 0, Edge::end},       {0, 0, 0, Edge::start},
                            {t, t, t, Edge::end},       {64 - t, 64 - t, 64 - t, Edge::start},
                            {0, 16, 32, Edge::end},     {t, 0, 0, Edge::end},
                            {0, t, 0, Edge::start},     {0, 0, t, Edge::end},
                            {2 * t, t, 0, Edge::start}, {32, 32, 0, Edge::end}};
    for (std::size_t n = 0; n <= 5 * check.lanes() + 40; ++n)
        for (const Place& at : places)
            for (const Data data : all_data)
                ASSERT_TRUE(check(n, at, data));
}

template <class T>
void mult_alignments(Level level)
{
    Mult<T> check(level);
    const std::size_t w = check.lanes();
    const std::size_t counts[] = {1, w - 1, w, w + 1, 2 * w + 3, 4 * w + 1};
    for (std::size_t dst = 0; dst < 64; dst += sizeof(T))
        for (std::size_t a = 0; a < 64; a += sizeof(T))
            for (std::size_t b = 0; b < 64; b += sizeof(T))
                for (const std::size_t n : counts)
                    for (const Edge edge : rig::both_edges)
                        ASSERT_TRUE(check(n, {dst, a, b, edge},
                                          edge == Edge::end ? Data::two_nans : Data::mixed));
}

/// Addresses that are no multiple of the element: together never aligned, so taken singly; apart
/// taken in blocks.
template <class T>
void mult_odd_addresses(Level level)
{
    Mult<T> check(level);
    for (std::size_t n = 0; n <= 3 * check.lanes() + 2; ++n)
        for (std::size_t at = 0; at < 64; ++at)
            for (const Data data : {Data::two_nans, Data::mixed}) {
                ASSERT_TRUE(check(n, {at, at, at, Edge::end}, data));
                ASSERT_TRUE(check(n, {at, (at + 32) % 64, at, Edge::start}, data));
                ASSERT_TRUE(check(n, {at, (at + 1) % 64, (at + 7) % 64, Edge::start}, data));
                ASSERT_TRUE(check(n, {0, at, 0, Edge::end}, data));
                ASSERT_TRUE(check(n, {at, 0, 0, Edge::end}, data));
                ASSERT_TRUE(check(n, {0, 0, at, Edge::end}, data));
            }
}

template <class T>
void mult_in_place(Level level)
{
    Mult<T> check(level);
    for (std::size_t n = 0; n <= 5 * check.lanes() + 3; ++n)
        for (std::size_t at = 0; at < 64; at += sizeof(T))
            for (const std::size_t other : {std::size_t{0}, at, (at + sizeof(T)) % 64})
                for (const Same same : {Same::dst_a, Same::dst_b, Same::a_b, Same::all})
                    for (const Data data : {Data::mixed, Data::two_nans})
                        ASSERT_TRUE(check(n, {at, other, other, Edge::end}, data, same));
}

/// Two NaN factors at one position, numbers elsewhere; the survivor is stated here by hand for the
/// two paths: [head, head + whole blocks) keeps b's.
template <class T>
void mult_two_nans(Level level)
{
    using F = model::Format<T>;
    void (*kernel)(T*, const T*, const T*, std::size_t);
    if constexpr (std::is_same_v<T, float>)
        kernel = KERNEL(rig::at(level), mult_f32);
    else
        kernel = KERNEL(rig::at(level), mult_f64);
    const T nan_a = model::from_bits<T>(F::exponent | F::quiet | 0xA1);
    const T nan_b = model::from_bits<T>(F::sign | F::exponent | 0xB2); // signalling
    const T kept_b = model::from_bits<T>(F::sign | F::exponent | F::quiet | 0xB2);
    const std::size_t lanes = width(level) == 0 ? 1 : width(level) / sizeof(T);
    const std::size_t n = 3 * lanes - 1;

    rig::Buffer<T> dst(64);
    rig::Buffer<T> a(64);
    rig::Buffer<T> b(64);
    for (const bool together : {true, false})
        for (std::size_t position = 0; position < n; ++position) {
            // Together: one element before a boundary, so a head of one. Apart: no head.
            dst.place(n, 64 - sizeof(T), Edge::end);
            a.place(n, 64 - sizeof(T), Edge::end);
            b.place(n, together ? 64 - sizeof(T) : 0, Edge::end);
            const std::size_t head = together ? 1 : 0;
            const std::size_t last = head + (n - head) / lanes * lanes;
            const bool block = level != Level::base && position >= head && position < last;
            for (std::size_t i = 0; i < n; ++i) {
                a.set(i, i == position ? nan_a : T(3));
                b.set(i, i == position ? nan_b : T(0.5));
            }
            ASSERT_TRUE(armed(level, [&] { kernel(dst.data(), a.data(), b.data(), n); }));
            for (std::size_t i = 0; i < n; ++i)
                ASSERT_TRUE(rig::same_bits(i != position ? T(1.5)
                                           : block       ? kept_b
                                                         : nan_a,
                                           dst.get(i)))
                    << rig::name(level) << (together ? " together" : " apart") << ", element " << i
                    << ", NaNs at " << position;
        }
}

template <class T>
void mult_zero(Level level)
{
    void (*kernel)(T*, const T*, const T*, std::size_t);
    if constexpr (std::is_same_v<T, float>)
        kernel = KERNEL(rig::at(level), mult_f32);
    else
        kernel = KERNEL(rig::at(level), mult_f64);
    EXPECT_TRUE(armed(level, [&] { kernel(nullptr, nullptr, nullptr, 0); }));
    auto* const off = reinterpret_cast<T*>(sizeof(T));
    EXPECT_TRUE(armed(level, [&] { kernel(off, off, off, 0); }));
    EXPECT_TRUE(armed(level, [&] { kernel(off, nullptr, off, 0); }));
}

#define MULT_TESTS(entry, T, level)                                                                \
    TEST(entry, level##_variant)                                                                   \
    {                                                                                              \
        EXPECT_EQ(rig::at(Level::level).variant(#entry), #entry "_" #level);                       \
    }                                                                                              \
    TEST(entry, level##_counts) { mult_counts<T>(Level::level); }                                  \
    TEST(entry, level##_alignments) { mult_alignments<T>(Level::level); }                          \
    TEST(entry, level##_odd_addresses) { mult_odd_addresses<T>(Level::level); }                    \
    TEST(entry, level##_in_place) { mult_in_place<T>(Level::level); }                              \
    TEST(entry, level##_two_nans_at_every_position) { mult_two_nans<T>(Level::level); }            \
    TEST(entry, level##_zero_count_touches_nothing) { mult_zero<T>(Level::level); }

MULT_TESTS(mult_f32, float, base)
MULT_TESTS(mult_f32, float, sse)
MULT_TESTS(mult_f32, float, avx)
MULT_TESTS(mult_f64, double, base)
MULT_TESTS(mult_f64, double, sse2)
MULT_TESTS(mult_f64, double, avx)

/// n = 5 from a 16-byte boundary: one block of four and one single element, told apart by the NaN
/// that survives. At AVX five are less than a block, so all are single.
TEST(mult_f32, five_aligned_are_a_block_and_a_single)
{
    const auto nan_a = model::from_bits<float>(0x7FC000AA);
    const auto nan_b = model::from_bits<float>(0x7FC000BB);
    rig::Buffer<float> dst(8);
    rig::Buffer<float> a(8);
    rig::Buffer<float> b(8);
    for (const Level level : {Level::base, Level::sse, Level::avx}) {
        dst.place(5, 16, Edge::end);
        a.place(5, 48, Edge::end);
        b.place(5, 0, Edge::end);
        for (std::size_t i = 0; i < 5; ++i) {
            a.set(i, nan_a);
            b.set(i, nan_b);
        }
        ASSERT_TRUE(armed(level, [&] {
            KERNEL(rig::at(level), mult_f32)(dst.data(), a.data(), b.data(), 5);
        }));
        for (std::size_t i = 0; i < 5; ++i)
            EXPECT_TRUE(rig::same_bits(level == Level::sse && i < 4 ? nan_b : nan_a, dst.get(i)))
                << rig::name(level) << ", element " << i;
        EXPECT_TRUE(dst.intact());
    }
}

/// Subnormal and overflowing products: one rounding, in the element type.
TEST(mult_f64, product_is_rounded_once_in_double)
{
    rig::Buffer<double> dst(8);
    rig::Buffer<double> a(8);
    rig::Buffer<double> b(8);
    for (const Level level : {Level::base, Level::sse2, Level::avx}) {
        const double factor_a[] = {0x1.0000000000001p0, 0x1p-1060, 0x1p1000, 0x1.8p-600, 3.0};
        const double factor_b[] = {0x1.0000000000001p0, 0x1.8p-14, -0x1p24, 0x1p-474, -0.0};
        const double product[] = {0x1.0000000000002p0, 0x0.0000000000002p-1022, -HUGE_VAL,
                                  0x0.0000000000002p-1022, -0.0};
        dst.place(5, 0, Edge::end);
        a.place(5, 0, Edge::end);
        b.place(5, 0, Edge::end);
        for (std::size_t i = 0; i < 5; ++i) {
            a.set(i, factor_a[i]);
            b.set(i, factor_b[i]);
        }
        ASSERT_TRUE(armed(level, [&] {
            KERNEL(rig::at(level), mult_f64)(dst.data(), a.data(), b.data(), 5);
        }));
        EXPECT_TRUE(rig::same_bits(product, dst.data(), 5)) << rig::name(level);
    }
}

// --- mult_add_f32 ----------------------------------------------------------------------------

class MultAdd {
public:
    explicit MultAdd(Level level) : level_(level), kernel_(KERNEL(rig::at(level), mult_add_f32)) {}

    /// Fills by `kind`, or keeps what `given` holds.
    testing::AssertionResult operator()(std::size_t n, std::size_t at, Edge edge, Kind kind,
                                        float scale, float offset,
                                        const std::vector<float>* given = nullptr)
    {
        float* const x = x_.place(n, at, edge);
        if (given == nullptr)
            rig::fill(x, n, random_, kind);
        want_.resize(n);
        for (std::size_t i = 0; i < n; ++i) {
            if (given != nullptr)
                x_.set(i, (*given)[i]);
            want_[i] = mult_add_model(x_.get(i), scale, offset);
        }
        auto result = armed(level_, [&] { kernel_(x, n, scale, offset); });
        if (result)
            result = rig::same_bits(want_.data(), x, n);
        if (result)
            result = x_.intact();
        if (result)
            return result;
        return testing::AssertionFailure()
               << rig::name(level_) << ", n " << n << ", x at " << at << ", edge "
               << static_cast<int>(edge) << ", kind " << static_cast<int>(kind) << ", scale "
               << rig::show(scale) << ", offset " << rig::show(offset) << ": " << result.message();
    }

    rig::Random random{3};

private:
    Level level_;
    mult_add_f32_fn* kernel_;
    rig::Random random_{2};
    rig::Buffer<float> x_{160};
    std::vector<float> want_;
};

void mult_add_counts(Level level)
{
    MultAdd check(level);
    for (std::size_t n = 0; n <= 72; ++n)
        for (std::size_t at = 0; at < 64; at += 4)
            for (const Edge edge : rig::both_edges)
                for (const Kind kind : rig::all_kinds)
                    ASSERT_TRUE(check(n, at, edge, kind, rig::make_f32(check.random, kind),
                                      rig::make_f32(check.random, kind)));
}

void mult_add_odd_addresses(Level level)
{
    MultAdd check(level);
    for (std::size_t n = 0; n <= 40; ++n)
        for (std::size_t at = 0; at < 64; ++at)
            ASSERT_TRUE(check(n, at, Edge::end, Kind::mixed, 1.25F, -0.5F));
}

/// NaNs in every combination of x, scale and offset: of two, the one that stands first in
/// x * scale + offset; an invalid product is a NaN of its own and stands before the offset.
void mult_add_nans(Level level)
{
    const auto x_nan = model::from_bits<float>(0x7F800A01);
    const auto scale_nan = model::from_bits<float>(0xFFC00B02);
    const auto offset_nan = model::from_bits<float>(0x7F900C03);
    const float infinity = HUGE_VALF;
    struct Row {
        float x, scale, offset;
        std::uint32_t want;
    };
    const Row rows[] = {
        {x_nan, 2, 1, 0x7FC00A01},
        {x_nan, scale_nan, 1, 0x7FC00A01},
        {x_nan, 2, offset_nan, 0x7FC00A01},
        {x_nan, scale_nan, offset_nan, 0x7FC00A01},
        {3, scale_nan, 1, 0xFFC00B02},
        {3, scale_nan, offset_nan, 0xFFC00B02},
        {3, 2, offset_nan, 0x7FD00C03},
        {0, infinity, 1, 0xFFC00000},
        {infinity, -0.0F, offset_nan, 0xFFC00000},
        {infinity, 2, -infinity, 0xFFC00000},
        {-0.0F, 2, -0.0F, 0x80000000},
        {-0.0F, 2, 0.0F, 0x00000000},
    };
    MultAdd check(level);
    rig::Buffer<float> x(64);
    for (const Row& row : rows)
        for (std::size_t at = 0; at < 64; at += 4) {
            constexpr std::size_t n = 27;
            x.place(n, at, Edge::end);
            for (std::size_t i = 0; i < n; ++i)
                x.set(i, row.x);
            ASSERT_TRUE(armed(level, [&] {
                KERNEL(rig::at(level), mult_add_f32)(x.data(), n, row.scale, row.offset);
            }));
            for (std::size_t i = 0; i < n; ++i)
                ASSERT_EQ(rig::bits_of(x.get(i)), row.want)
                    << rig::name(level) << ", x at " << at << ", element " << i << ": "
                    << rig::show(row.x) << " * " << rig::show(row.scale) << " + "
                    << rig::show(row.offset);
        }
}

/// The offset cancels the rounded product almost wholly, so that a fused sum would show the
/// product's rounding error; and it does, in most of the data.
void mult_add_two_roundings(Level level)
{
    MultAdd check(level);
    std::vector<float> x(40);
    std::size_t told_apart = 0;
    std::size_t elements = 0;
    for (int round = 0; round < 60; ++round) {
        const auto scale = static_cast<float>(1.0 + check.random.unit());
        const auto centre = static_cast<float>(1.0 + check.random.unit());
        const float offset = -(centre * scale);
        for (std::size_t i = 0; i < x.size(); ++i) {
            x[i] = centre + static_cast<float>(i) * 0x1p-22F;
            told_apart += std::fma(x[i], scale, offset) != mult_add_model(x[i], scale, offset);
            ++elements;
        }
        ASSERT_TRUE(check(x.size(), 4 * static_cast<std::size_t>(round % 16), Edge::end,
                          Kind::ordinary, scale, offset, &x));
    }
    EXPECT_GT(told_apart, elements / 2) << "the data would not show a fused sum";
}

void mult_add_zero(Level level)
{
    auto* const kernel = KERNEL(rig::at(level), mult_add_f32);
    EXPECT_TRUE(armed(level, [&] { kernel(nullptr, 0, 2, 1); }));
    EXPECT_TRUE(armed(level, [&] { kernel(reinterpret_cast<float*>(4), 0, 2, 1); }));
}

#define MULT_ADD_TESTS(level)                                                                      \
    TEST(mult_add_f32, level##_variant)                                                            \
    {                                                                                              \
        EXPECT_EQ(rig::at(Level::level).variant("mult_add_f32"), "mult_add_f32_" #level);          \
    }                                                                                              \
    TEST(mult_add_f32, level##_counts_alignments) { mult_add_counts(Level::level); }               \
    TEST(mult_add_f32, level##_odd_addresses) { mult_add_odd_addresses(Level::level); }            \
    TEST(mult_add_f32, level##_nans_in_x_scale_offset) { mult_add_nans(Level::level); }            \
    TEST(mult_add_f32, level##_two_roundings) { mult_add_two_roundings(Level::level); }            \
    TEST(mult_add_f32, level##_zero_count_touches_nothing) { mult_add_zero(Level::level); }

MULT_ADD_TESTS(base)
MULT_ADD_TESTS(sse)
MULT_ADD_TESTS(avx)

TEST(mult_add_f32, three_times_two_plus_one_is_seven)
{
    for (const Level level : {Level::base, Level::sse, Level::avx})
        for (std::size_t n = 1; n <= 20; ++n) {
            rig::Buffer<float> x(32);
            x.place(n, 4, Edge::start);
            for (std::size_t i = 0; i < n; ++i)
                x.set(i, 3.0F);
            ASSERT_TRUE(armed(level, [&] {
                KERNEL(rig::at(level), mult_add_f32)(x.data(), n, 2, 1);
            }));
            for (std::size_t i = 0; i < n; ++i)
                ASSERT_EQ(x.get(i), 7.0F) << rig::name(level) << ", n " << n;
        }
}

/// (1 + 2^-12)^2 is 1 + 2^-11 + 2^-24, a tie that rounds to 1 + 2^-11; the fused sum would be
/// 2^-24.
TEST(mult_add_f32, product_is_rounded_before_the_sum)
{
    for (const Level level : {Level::base, Level::sse, Level::avx}) {
        rig::Buffer<float> x(32);
        x.place(19, 4, Edge::end);
        for (std::size_t i = 0; i < 19; ++i)
            x.set(i, 0x1.001p0F);
        ASSERT_TRUE(armed(level, [&] {
            KERNEL(rig::at(level), mult_add_f32)(x.data(), 19, 0x1.001p0F, -0x1.002p0F);
        }));
        for (std::size_t i = 0; i < 19; ++i)
            ASSERT_TRUE(rig::same_bits(0.0F, x.get(i))) << rig::name(level) << ", element " << i;
    }
}

} // namespace
