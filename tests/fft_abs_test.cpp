// tests/fft_abs_test.cpp: fft_abs_f32 and fft_abs_f64, each variant bit for bit, with counts that
// are not whole blocks.
#include "models/fft_abs.h"
#include "rig/buffer.h"
#include "rig/call.h"
#include "rig/data.h"

#include <algorithm>
#include <cstdint>
#include <initializer_list>
#include <type_traits>
#include <vector>

namespace {

using namespace fft_abs;
using rig::Edge;
using rig::Kind;
using Sizes = std::initializer_list<std::size_t>;

// --- One call --------------------------------------------------------------------------------

template <class T>
using Kernel = void (*)(const T*, std::size_t, T*);

template <class T>
Kernel<T> kernel_at(Level level)
{
    if constexpr (std::is_same_v<T, float>)
        return KERNEL(rig::at(level), fft_abs_f32);
    else
        return KERNEL(rig::at(level), fft_abs_f64);
}

template <class T>
class FftAbs {
public:
    explicit FftAbs(const Shape& shape) : shape_(shape), kernel_(kernel_at<T>(shape.level)) {}

    /// in and out hold exactly what the variant reads and writes for this count.
    testing::AssertionResult operator()(std::size_t n, std::size_t in_at, std::size_t out_at,
                                        Edge edge, Kind kind)
    {
        const auto result = run(n, in_at, out_at, edge, kind);
        if (result)
            return result;
        return testing::AssertionFailure()
               << rig::name(shape_.level) << ", n " << n << ", in/out at " << in_at << "/" << out_at
               << ", edge " << static_cast<int>(edge) << ", kind " << static_cast<int>(kind) << ": "
               << result.message();
    }

    unsigned fault_count = 0;

private:
    testing::AssertionResult run(std::size_t n, std::size_t in_at, std::size_t out_at, Edge edge,
                                 Kind kind)
    {
        const bool base = shape_.bytes == 0;
        const std::size_t half = n / 2;
        const std::size_t bins = base ? 2 * half : extent(shape_, n).read;
        const std::size_t room = base ? n : std::max(n, extent(shape_, n).written);
        T* const in = in_.place(2 * bins, in_at, edge);
        T* const out = out_.place(room, out_at, edge);
        rig::fill(in, 2 * bins, random_, kind);
        rig::fill(out, room, random_, Kind::special);
        in_before_.resize(2 * bins);
        want_.resize(room);
        for (std::size_t i = 0; i < 2 * bins; ++i)
            in_before_[i] = in_.get(i);
        for (std::size_t i = 0; i < room; ++i)
            want_[i] = out_.get(i);

        // The aligned path is taken for both or neither; it cannot store at out[half] if that is
        // off the boundary.
        const bool fault = !base && n != 0 && in_at % shape_.bytes == 0 &&
                           out_at % shape_.bytes == 0 && half % shape_.lanes != 0;
        if (fault) {
            ++fault_count;
            if (!rig::faults([&] { kernel_(in, n, out); }))
                return testing::AssertionFailure() << "the aligned stores do not fault";
        } else {
            if (base)
                baseline_model(in_before_.data(), n, want_.data());
            else
                vector_model(shape_, in_before_.data(), n, want_.data());
            if (const auto call = armed(shape_.level, [&] { kernel_(in, n, out); }); !call)
                return call;
        }
        if (const auto bits = rig::same_bits(want_.data(), out, room); !bits)
            return bits;
        if (!rig::same_bits(in_before_.data(), in, 2 * bins))
            return testing::AssertionFailure() << "in was written";
        if (const auto still = in_.intact(); !still)
            return still;
        return out_.intact();
    }

    Shape shape_;
    Kernel<T> kernel_;
    rig::Random random_{1};
    rig::Buffer<T> in_{512}, out_{256};
    std::vector<T> in_before_, want_;
};

/// Every count that the contract allows: for a vector variant whole blocks in both halves.
template <class T>
void whole_blocks(const Shape& shape)
{
    FftAbs<T> check(shape);
    const std::size_t step = shape.bytes == 0 ? 1 : 2 * shape.lanes;
    for (std::size_t n = 0; n <= (step == 1 ? 70 : 6 * step); n += step)
        for (std::size_t in = 0; in < 64; in += sizeof(T))
            for (const std::size_t out : {std::size_t{0}, in, 64 - sizeof(T)})
                for (const Edge edge : rig::both_edges)
                    for (const Kind kind : rig::all_kinds)
                        ASSERT_TRUE(check(n, in, out, edge, kind));
    EXPECT_EQ(check.fault_count, 0U);
}

template <class T>
void alignments(const Shape& shape)
{
    FftAbs<T> check(shape);
    const std::size_t step = shape.bytes == 0 ? 3 : 2 * shape.lanes;
    for (const std::size_t n : {step, 2 * step, 3 * step})
        for (std::size_t in = 0; in < 64; in += sizeof(T))
            for (std::size_t out = 0; out < 64; out += sizeof(T))
                for (const Edge edge : rig::both_edges)
                    ASSERT_TRUE(check(n, in, out, edge, Kind::mixed));
    EXPECT_EQ(check.fault_count, 0U);
}

template <class T>
void odd_addresses(const Shape& shape)
{
    FftAbs<T> check(shape);
    const std::size_t step = shape.bytes == 0 ? 5 : 2 * shape.lanes;
    for (const std::size_t n : {step, 2 * step})
        for (std::size_t in = 0; in < 64; ++in)
            for (const std::size_t out : {std::size_t{0}, in, (in + 1) % 64})
                for (const Edge edge : rig::both_edges)
                    ASSERT_TRUE(check(n, in, out, edge, Kind::mixed));
}

/// NaNs in one part, the other, or both of a bin: the real part's survives.
template <class T>
void nan_parts(const Shape& shape)
{
    using F = model::Format<T>;
    const std::size_t n = shape.bytes == 0 ? 8 : 2 * shape.lanes;
    const T re_nan = model::from_bits<T>(F::exponent | 0xA1);           // signalling
    const T im_nan = model::from_bits<T>(F::sign | F::exponent | 0xB2); // signalling
    for (const std::size_t at : {std::size_t{0}, sizeof(T)})
        for (int parts = 1; parts < 4; ++parts) {
            rig::Buffer<T> in(64);
            rig::Buffer<T> out(32);
            in.place(2 * n, at, Edge::end);
            out.place(n, 0, Edge::end);
            for (std::size_t i = 0; i < n; ++i) {
                in.set(2 * i, (parts & 1) != 0 ? re_nan : T(3));
                in.set(2 * i + 1, (parts & 2) != 0 ? im_nan : T(4));
            }
            ASSERT_TRUE(
                armed(shape.level, [&] { kernel_at<T>(shape.level)(in.data(), n, out.data()); }));
            for (std::size_t i = 0; i < n; ++i)
                ASSERT_TRUE(
                    rig::same_bits(model::quieted((parts & 1) != 0 ? re_nan : im_nan), out.get(i)))
                    << rig::name(shape.level) << ", parts " << parts << ", element " << i;
        }
}

template <class T>
void zero_count(Level level)
{
    const auto kernel = kernel_at<T>(level);
    EXPECT_TRUE(armed(level, [&] { kernel(nullptr, 0, nullptr); }));
    auto* const off = reinterpret_cast<T*>(sizeof(T));
    EXPECT_TRUE(armed(level, [&] { kernel(off, 0, off); }));
}

#define FFT_ABS_TESTS(entry, T, level, ...)                                                        \
    TEST(entry, level##_variant)                                                                   \
    {                                                                                              \
        EXPECT_EQ(rig::at(Level::level).variant(#entry), #entry "_" #level);                       \
    }                                                                                              \
    TEST(entry, level##_whole_blocks) { whole_blocks<T>(__VA_ARGS__); }                            \
    TEST(entry, level##_alignments) { alignments<T>(__VA_ARGS__); }                                \
    TEST(entry, level##_odd_addresses) { odd_addresses<T>(__VA_ARGS__); }                          \
    TEST(entry, level##_zero_count_touches_nothing) { zero_count<T>(Level::level); }

constexpr Shape baseline = {Level::base, 0, 1};

FFT_ABS_TESTS(fft_abs_f32, float, base, baseline)
FFT_ABS_TESTS(fft_abs_f32, float, sse, f32_sse)
FFT_ABS_TESTS(fft_abs_f32, float, avx, f32_avx)
FFT_ABS_TESTS(fft_abs_f64, double, base, baseline)
FFT_ABS_TESTS(fft_abs_f64, double, sse2, f64_sse2)
FFT_ABS_TESTS(fft_abs_f64, double, sse3, f64_sse3)
FFT_ABS_TESTS(fft_abs_f64, double, avx, f64_avx)

TEST(fft_abs_f32, base_nan_parts) { nan_parts<float>(baseline); }
TEST(fft_abs_f32, avx_nan_parts) { nan_parts<float>(f32_avx); }
TEST(fft_abs_f64, base_nan_parts) { nan_parts<double>(baseline); }
TEST(fft_abs_f64, sse2_nan_parts) { nan_parts<double>(f64_sse2); }
TEST(fft_abs_f64, sse3_nan_parts) { nan_parts<double>(f64_sse3); }
TEST(fft_abs_f64, avx_nan_parts) { nan_parts<double>(f64_avx); }

// --- Named cases of the baseline -------------------------------------------------------------

template <class T>
void four_bins(Level level)
{
    const T bins[] = {1, 0, 0, 2, 3, 0, 0, 1};
    rig::Buffer<T> in(8);
    rig::Buffer<T> out(4);
    in.place(8, 0, Edge::end);
    out.place(4, 0, Edge::end);
    for (std::size_t i = 0; i < 8; ++i)
        in.set(i, bins[i]);
    ASSERT_TRUE(armed(level, [&] { kernel_at<T>(level)(in.data(), 4, out.data()); }));
    const T want[] = {9, 1, 1, 4};
    EXPECT_TRUE(rig::same_bits(want, out.data(), 4));
    EXPECT_TRUE(out.intact());
}

TEST(fft_abs_f32, base_four_bins) { four_bins<float>(Level::base); }
TEST(fft_abs_f64, base_four_bins) { four_bins<double>(Level::base); }

/// Only out[0] = p(1) and out[1] = p(0); the third bin lies in the forbidden page, and so does
/// out[2].
template <class T>
void three_bins()
{
    rig::Buffer<T> in(16);
    rig::Buffer<T> out(16);
    in.place(4, 64 - 4 * sizeof(T), Edge::end);
    out.place(2, 64 - 2 * sizeof(T), Edge::end);
    const T bins[] = {1, 2, 3, 4};
    for (std::size_t i = 0; i < 4; ++i)
        in.set(i, bins[i]);
    const auto kernel = kernel_at<T>(Level::base);
    ASSERT_TRUE(armed(Level::base, [&] { kernel(in.data(), 3, out.data()); }));
    EXPECT_EQ(out.get(0), T(25));
    EXPECT_EQ(out.get(1), T(5));
    EXPECT_TRUE(out.intact());
}

TEST(fft_abs_f32, base_three_bins_leave_the_third) { three_bins<float>(); }
TEST(fft_abs_f64, base_three_bins_leave_the_third) { three_bins<double>(); }

/// Every odd count: neither the last bin nor the last output is touched.
template <class T>
void odd_counts()
{
    const auto kernel = kernel_at<T>(Level::base);
    rig::Random random(5);
    for (std::size_t n = 1; n <= 41; n += 2) {
        rig::Buffer<T> in(128);
        rig::Buffer<T> out(64);
        const std::size_t half = n / 2;
        in.place(4 * half, (64 - 4 * half * sizeof(T) % 64) % 64, Edge::end);
        out.place(2 * half, (64 - 2 * half * sizeof(T) % 64) % 64, Edge::end);
        rig::fill(in.data(), 4 * half, random, Kind::ordinary);
        std::vector<T> want(2 * half);
        baseline_model(in.data(), n, want.data());
        ASSERT_TRUE(armed(Level::base, [&] { kernel(in.data(), n, out.data()); })) << "n " << n;
        ASSERT_TRUE(rig::same_bits(want.data(), out.data(), 2 * half)) << "n " << n;
        ASSERT_TRUE(out.intact());
    }
}

TEST(fft_abs_f32, base_odd_count_leaves_the_last) { odd_counts<float>(); }
TEST(fft_abs_f64, base_odd_count_leaves_the_last) { odd_counts<double>(); }

/// One bin writes nothing and reads nothing.
TEST(fft_abs_f32, base_one_bin_touches_nothing)
{
    EXPECT_TRUE(armed(Level::base, [] {
        KERNEL(rig::at(Level::base), fft_abs_f32)(nullptr, 1, nullptr);
    }));
    EXPECT_TRUE(armed(Level::base, [] {
        KERNEL(rig::at(Level::base), fft_abs_f64)(nullptr, 1, nullptr);
    }));
}

// --- Named cases of double precision ---------------------------------------------------------

/// The same bits as the baseline's, whatever the data and the path.
TEST(fft_abs_f64, vector_levels_give_the_baseline_bits)
{
    rig::Random random(7);
    rig::Buffer<double> in(256);
    rig::Buffer<double> out(128);
    rig::Buffer<double> base(128);
    for (const Shape& shape : {f64_sse2, f64_sse3, f64_avx})
        for (const Kind kind : rig::all_kinds)
            for (const std::size_t n : Sizes{16, 64})
                for (std::size_t at = 0; at < 64; at += 8) {
                    in.place(2 * n, at, Edge::end);
                    out.place(n, 0, Edge::end);
                    base.place(n, 0, Edge::end);
                    rig::fill(in.data(), 2 * n, random, kind);
                    ASSERT_TRUE(armed(Level::base, [&] {
                        kernel_at<double>(Level::base)(in.data(), n, base.data());
                    }));
                    ASSERT_TRUE(armed(shape.level, [&] {
                        kernel_at<double>(shape.level)(in.data(), n, out.data());
                    }));
                    ASSERT_TRUE(rig::same_bits(base.data(), out.data(), n))
                        << rig::name(shape.level) << ", n " << n << ", in at " << at;
                }
}

/// A count that is no multiple of two blocks: the end is never met, and the loop that misses it
/// goes on over the outputs behind out[n - 1] until a page stops it. Whatever it wrote there is
/// p of the bins it went on reading.
void runs_off(const Shape& shape)
{
    constexpr std::size_t beyond = 40;
    constexpr std::size_t most = 48;
    const auto kernel = kernel_at<double>(shape.level);
    rig::Random random(11);
    rig::Buffer<double> in(4 * (most + beyond));
    rig::Buffer<double> out(most + beyond);
    for (std::size_t n = 0; n <= most; ++n) {
        const std::size_t bins = 2 * (n + beyond);
        in.place(2 * bins, 8, Edge::start);
        const std::size_t room = n + beyond;
        out.place(room, (64 - room * 8 % 64) % 64, Edge::end); // up to the page
        rig::fill(in.data(), 2 * bins, random, Kind::ordinary);
        std::vector<double> bin(2 * bins);
        for (std::size_t i = 0; i < 2 * bins; ++i)
            bin[i] = in.get(i);
        std::vector<double> want(room, 77.0);
        for (std::size_t i = 0; i < room; ++i)
            out.set(i, 77.0);
        const bool whole = n % (2 * shape.lanes) == 0;
        EXPECT_EQ(rig::faults([&] { kernel(in.data(), n, out.data()); }), !whole)
            << rig::name(shape.level) << ", n " << n;
        const auto walk = [&](std::size_t from, std::size_t to, std::size_t& read) {
            for (std::size_t at = from; at != to; at += shape.lanes, read += shape.lanes) {
                if (at + shape.lanes > room)
                    return false;
                block_model(shape, bin.data() + 2 * read, want.data() + at);
            }
            return true;
        };
        std::size_t read = 0;
        if (walk(n / 2, n, read))
            walk(0, n / 2, read);
        EXPECT_TRUE(rig::same_bits(want.data(), out.data(), room))
            << rig::name(shape.level) << ", n " << n;
    }
}

TEST(fft_abs_f64, sse2_runs_off_if_not_whole) { runs_off(f64_sse2); }
TEST(fft_abs_f64, sse3_runs_off_if_not_whole) { runs_off(f64_sse3); }
TEST(fft_abs_f64, avx_runs_off_if_not_whole) { runs_off(f64_avx); }

/// With both buffers aligned and an odd half, the first store of the first loop already faults:
/// nothing is written. With a buffer off the boundary the same counts run off instead, writing.
void aligned_half_faults(const Shape& shape)
{
    const auto kernel = kernel_at<double>(shape.level);
    rig::Buffer<double> in(512);
    rig::Buffer<double> out(128);
    for (std::size_t n = 2; n <= 40; ++n) {
        const std::size_t half = n / 2;
        if (half % shape.lanes == 0)
            continue;
        for (const std::size_t at : {std::size_t{0}, std::size_t{8}}) {
            in.place(8 * n, at, Edge::start);
            out.place(n + shape.lanes, 0, Edge::end); // the first block fits
            out.fill_bytes(0x5A);
            in.fill_bytes(0);
            EXPECT_TRUE(rig::faults([&] { kernel(in.data(), n, out.data()); })) << "n " << n;
            const double untouched = model::from_bits<double>(0x5A5A5A5A5A5A5A5A);
            EXPECT_TRUE(rig::same_bits(at == 0 ? untouched : 0.0, out.get(half)))
                << rig::name(shape.level) << ", n " << n << ", in at " << at;
        }
    }
}

TEST(fft_abs_f64, sse2_aligned_half_faults_at_once) { aligned_half_faults(f64_sse2); }
TEST(fft_abs_f64, sse3_aligned_half_faults_at_once) { aligned_half_faults(f64_sse3); }
TEST(fft_abs_f64, avx_aligned_half_faults_at_once) { aligned_half_faults(f64_avx); }

// --- Named cases of single precision ---------------------------------------------------------

TEST(fft_abs_f32, sse_lanes_of_eight_bins)
{
    for (const std::size_t at : Sizes{0, 4}) {
        rig::Buffer<float> in(16);
        rig::Buffer<float> out(8);
        in.place(16, at, Edge::end);
        out.place(8, 0, Edge::end);
        const float bins[16] = {1, 2, 3, 4};
        for (std::size_t i = 0; i < 16; ++i)
            in.set(i, bins[i]);
        ASSERT_TRUE(armed(Level::sse, [&] {
            KERNEL(rig::at(Level::sse), fft_abs_f32)(in.data(), 8, out.data());
        }));
        const float want[] = {0, 0, 0, 0, 10, 0, 20, 0};
        EXPECT_TRUE(rig::same_bits(want, out.data(), 8)) << "in at " << at;
    }
}

/// NaN squares in both summands of each SSE lane: the earlier bin's survives.
TEST(fft_abs_f32, sse_nan_lanes)
{
    for (const std::size_t at : Sizes{0, 4}) {
        rig::Buffer<float> in(16);
        rig::Buffer<float> out(8);
        in.place(16, at, Edge::end);
        out.place(8, 0, Edge::end);
        for (std::uint32_t i = 0; i < 16; ++i)
            in.set(i, model::from_bits<float>(0x7FC00100 + i));
        ASSERT_TRUE(armed(Level::sse, [&] {
            KERNEL(rig::at(Level::sse), fft_abs_f32)(in.data(), 8, out.data());
        }));
        const std::uint32_t kept[] = {8, 12, 9, 13, 0, 4, 1, 5}; // re0, re2, im0, im2 of each block
        for (std::size_t i = 0; i < 8; ++i)
            EXPECT_EQ(rig::bits_of(out.get(i)), 0x7FC00100 + kept[i]) << "element " << i;
    }
}

/// p1 and p4 are lost, p2 and p3 appear twice.
TEST(fft_abs_f32, avx_lanes_of_sixteen_bins)
{
    for (const std::size_t at : Sizes{0, 4}) {
        rig::Buffer<float> in(32);
        rig::Buffer<float> out(16);
        in.place(32, at, Edge::end);
        out.place(16, 0, Edge::end);
        for (std::size_t k = 0; k < 16; ++k) {
            in.set(2 * k, static_cast<float>(k));
            in.set(2 * k + 1, 0.0F);
        }
        ASSERT_TRUE(armed(Level::avx, [&] {
            KERNEL(rig::at(Level::avx), fft_abs_f32)(in.data(), 16, out.data());
        }));
        const int roots[] = {8, 11, 10, 13, 10, 11, 14, 15, 0, 3, 2, 5, 2, 3, 6, 7};
        for (std::size_t i = 0; i < 16; ++i)
            EXPECT_EQ(out.get(i), static_cast<float>(roots[i] * roots[i])) << "element " << i;
    }
}

/// Every count: each half rounded up to whole blocks, the second over the start of the first,
/// reading on from where the first stopped; aligned buffers fault unless the half is whole blocks.
void any_count(const Shape& shape)
{
    FftAbs<float> check(shape);
    for (std::size_t n = 0; n <= 5 * shape.lanes + 40; ++n)
        for (const Edge edge : rig::both_edges)
            for (const Kind kind : {Kind::ordinary, Kind::mixed}) {
                for (std::size_t at = 0; at < 64; at += 4) {
                    ASSERT_TRUE(check(n, at, at, edge, kind));
                    ASSERT_TRUE(check(n, at, 0, edge, kind));
                    ASSERT_TRUE(check(n, 0, at, edge, kind));
                }
            }
    EXPECT_GT(check.fault_count, 0U);
}

TEST(fft_abs_f32, sse_any_count_rounds_halves_up) { any_count(f32_sse); }
TEST(fft_abs_f32, avx_any_count_rounds_halves_up) { any_count(f32_avx); }

/// One bin writes one whole block at out[0], on either path.
TEST(fft_abs_f32, one_bin_writes_a_whole_block)
{
    for (const Shape& shape : {f32_sse, f32_avx})
        for (const std::size_t at : Sizes{0, 4}) {
            rig::Buffer<float> in(16);
            rig::Buffer<float> out(12);
            in.place(2 * shape.lanes, at, Edge::end);
            out.place(12, 0, Edge::end);
            std::vector<float> bins(2 * shape.lanes);
            for (std::size_t i = 0; i < bins.size(); ++i)
                in.set(i, bins[i] = static_cast<float>(i + 1));
            for (std::size_t i = 0; i < 12; ++i)
                out.set(i, -1.0F);
            std::vector<float> want(12, -1.0F);
            block_model(shape, bins.data(), want.data());
            ASSERT_TRUE(armed(shape.level, [&] {
                KERNEL(rig::at(shape.level), fft_abs_f32)(in.data(), 1, out.data());
            }));
            EXPECT_TRUE(rig::same_bits(want.data(), out.data(), 12)) << rig::name(shape.level);
        }
}

/// Twelve bins are 1.5 blocks of four a half: aligned buffers fault, either one off the boundary
/// does not; sixteen bins do not fault.
TEST(fft_abs_f32, aligned_half_block_faults)
{
    rig::Buffer<float> in(128);
    rig::Buffer<float> out(64);
    for (const Shape& shape : {f32_sse, f32_avx}) {
        auto* const kernel = KERNEL(rig::at(shape.level), fft_abs_f32);
        const std::size_t n = 3 * shape.lanes;
        const auto call = [&](std::size_t count, std::size_t in_at, std::size_t out_at) {
            in.place(8 * shape.lanes, in_at, Edge::start);
            out.place(4 * shape.lanes, out_at, Edge::start);
            in.fill_bytes(0);
            out.fill_bytes(0x5A);
            return rig::faults([&] { kernel(in.data(), count, out.data()); });
        };
        EXPECT_TRUE(call(n, 0, 0));
        EXPECT_EQ(rig::bits_of(out.get(n / 2)), 0x5A5A5A5AU) << "written before the fault";
        EXPECT_FALSE(call(n, 4, 0));
        EXPECT_FALSE(call(n, 0, 4));
        EXPECT_FALSE(call(n, shape.bytes / 2, 0));
        EXPECT_FALSE(call(n, 0, shape.bytes / 2));
        EXPECT_FALSE(call(4 * shape.lanes, 0, 0));
        EXPECT_FALSE(call(2 * shape.lanes + 1, 0, 0)); // the half is whole, only n is not
    }
}

} // namespace
