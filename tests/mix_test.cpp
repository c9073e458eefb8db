// tests/mix_test.cpp: mix_f64, each variant bit for bit, and the AVX variant's fault.
#include "models/mix.h"
#include "rig/buffer.h"
#include "rig/call.h"
#include "rig/data.h"
#include "rig/model.h"

#include <algorithm>
#include <cstdint>
#include <initializer_list>
#include <vector>

namespace {

using namespace mix;
using Sizes = std::initializer_list<std::size_t>;

constexpr Level levels[] = {Level::base, Level::sse2, Level::avx};

// --- The tests -------------------------------------------------------------------------------

class Mix {
public:
    explicit Mix(Level level) : level_(level), kernel_(KERNEL(rig::at(level), mix_f64)) {}

    testing::AssertionResult operator()(std::size_t n, Place at)
    {
        const auto result = run(n, at);
        if (result)
            return result;
        return testing::AssertionFailure() << rig::name(level_) << ", n " << n << ", re/im/out at "
                                           << at.re << "/" << at.im << "/" << at.out << ", edge "
                                           << static_cast<int>(at.edge) << ": " << result.message();
    }

    unsigned fault_count = 0;

private:
    /// Any bits at all, every other element a signalling NaN.
    void fill(rig::Buffer<double>& buffer, std::vector<double>& copy)
    {
        using F = model::Format<double>;
        copy.resize(buffer.size());
        for (std::size_t i = 0; i < buffer.size(); ++i) {
            std::uint64_t bits = random_.bits();
            if (random_.below(2) != 0)
                bits = (bits | F::exponent | 1) & ~F::quiet;
            copy[i] = model::from_bits<double>(bits);
            buffer.set(i, copy[i]);
        }
    }

    testing::AssertionResult run(std::size_t n, Place at)
    {
        double* const re = re_.place(n, at.re, at.edge);
        double* const im = im_.place(n, at.im, at.edge);
        double* const out = out_.place(2 * n, at.out, at.edge);
        fill(re_, re_before_);
        fill(im_, im_before_);
        fill(out_, want_);
        const bool fault = faulty(level_, at, n);
        const std::size_t written = fault ? single_pairs(at.re % 32, n) : n;
        for (std::size_t i = 0; i < written; ++i) {
            want_[2 * i] = re_before_[i];
            want_[2 * i + 1] = im_before_[i];
        }
        if (fault) {
            ++fault_count;
            if (!rig::faults([&] { kernel_(re, im, n, out); }))
                return testing::AssertionFailure() << "the aligned stores do not fault";
        } else if (const auto call = armed(level_, [&] { kernel_(re, im, n, out); }); !call) {
            return call;
        }
        if (const auto bits = rig::same_bits(want_.data(), out, 2 * n); !bits)
            return bits;
        if (!rig::same_bits(re_before_.data(), re, n) || !rig::same_bits(im_before_.data(), im, n))
            return testing::AssertionFailure() << "an input was written";
        for (const rig::Buffer<double>* buffer : {&re_, &im_, &out_})
            if (const auto still = buffer->intact(); !still)
                return still;
        return testing::AssertionSuccess();
    }

    Level level_;
    mix_f64_fn* kernel_;
    rig::Random random_{1};
    rig::Buffer<double> re_{64}, im_{64}, out_{128};
    std::vector<double> re_before_, im_before_, want_;
};

void mix_counts(Level level)
{
    Mix check(level);
    for (std::size_t n = 0; n <= 40; ++n)
        for (const Edge edge : rig::both_edges) {
            for (std::size_t re = 0; re < 64; re += 8)
                for (std::size_t out = 0; out < 64; out += 8) {
                    ASSERT_TRUE(check(n, {re, re, out, edge}));
                    ASSERT_TRUE(check(n, {re, (re + 8) % 64, out, edge}));
                }
            ASSERT_TRUE(check(n, {16, 48, 0, edge}));
            ASSERT_TRUE(check(n, {0, 32, 32, edge}));
        }
}

void mix_alignments(Level level)
{
    Mix check(level);
    for (std::size_t re = 0; re < 64; re += 8)
        for (std::size_t im = 0; im < 64; im += 8)
            for (std::size_t out = 0; out < 64; out += 8)
                for (const std::size_t n : Sizes{1, 2, 3, 4, 5, 6, 7, 8, 9, 11, 14, 18})
                    for (const Edge edge : rig::both_edges)
                        ASSERT_TRUE(check(n, {re, im, out, edge}));
    // The crossed sweep held the faults too: 3 offsets, each twice within 64 for each pointer, both
    // edges, and of the counts those with 4 pairs left after the 3, 2 or 1 single ones.
    EXPECT_EQ(check.fault_count, level == Level::avx ? 8U * 2U * (6 + 7 + 8) : 0U);
}

void mix_odd_addresses(Level level)
{
    Mix check(level);
    for (const std::size_t n : Sizes{0, 1, 2, 3, 4, 5, 7, 8, 9, 12, 17})
        for (std::size_t at = 0; at < 64; ++at) {
            ASSERT_TRUE(check(n, {at, at, at, Edge::end}));
            ASSERT_TRUE(check(n, {at, (at + 32) % 64, at, Edge::start}));
            ASSERT_TRUE(check(n, {at, (at + 1) % 64, (at + 2) % 64, Edge::end}));
            ASSERT_TRUE(check(n, {0, at, 0, Edge::end}));
            ASSERT_TRUE(check(n, {at, 0, 0, Edge::start}));
            ASSERT_TRUE(check(n, {0, 0, at, Edge::end}));
        }
}

#define MIX_TESTS(level)                                                                           \
    TEST(mix_f64, level##_variant)                                                                 \
    {                                                                                              \
        EXPECT_EQ(rig::at(Level::level).variant("mix_f64"), "mix_f64_" #level);                    \
    }                                                                                              \
    TEST(mix_f64, level##_counts) { mix_counts(Level::level); }                                    \
    TEST(mix_f64, level##_alignments) { mix_alignments(Level::level); }                            \
    TEST(mix_f64, level##_odd_addresses) { mix_odd_addresses(Level::level); }

MIX_TESTS(base)
MIX_TESTS(sse2)
MIX_TESTS(avx)

TEST(mix_f64, zero_count_touches_nothing)
{
    for (const Level level : levels) {
        auto* const kernel = KERNEL(rig::at(level), mix_f64);
        auto* const off = reinterpret_cast<double*>(8);
        EXPECT_TRUE(armed(level, [&] { kernel(nullptr, nullptr, 0, nullptr); }));
        EXPECT_TRUE(armed(level, [&] { kernel(off, off, 0, off); }));
        EXPECT_TRUE(armed(level, [&] { kernel(nullptr, off, 0, nullptr); }));
    }
}

TEST(mix_f64, one_pair_writes_exactly_two)
{
    const auto re = model::from_bits<double>(0x7FF0000000000A01); // signalling
    const auto im = model::from_bits<double>(0xFFF0000000000B02);
    for (const Level level : levels)
        for (std::size_t at = 0; at < 64; at += 8)
            for (const Edge edge : rig::both_edges) {
                rig::Buffer<double> a(1);
                rig::Buffer<double> b(1);
                rig::Buffer<double> out(2);
                a.place(1, at, edge);
                b.place(1, at, edge);
                out.place(2, at, edge);
                a.set(0, re);
                b.set(0, im);
                ASSERT_TRUE(armed(level, [&] {
                    KERNEL(rig::at(level), mix_f64)(a.data(), b.data(), 1, out.data());
                }));
                EXPECT_TRUE(rig::same_bits(re, out.get(0))) << rig::name(level);
                EXPECT_TRUE(rig::same_bits(im, out.get(1))) << rig::name(level);
                EXPECT_TRUE(out.intact()) << rig::name(level);
            }
}

TEST(mix_f64, avx_block_order)
{
    const double re[] = {1, 3, 5, 7};
    const double im[] = {2, 4, 6, 8};
    for (const std::size_t at : Sizes{0, 40}) {
        rig::Buffer<double> a(4);
        rig::Buffer<double> b(4);
        rig::Buffer<double> out(8);
        a.place(4, 0, Edge::end);
        b.place(4, 0, Edge::end);
        out.place(8, at, Edge::end);
        for (std::size_t i = 0; i < 4; ++i) {
            a.set(i, re[i]);
            b.set(i, im[i]);
        }
        ASSERT_TRUE(armed(Level::avx, [&] {
            KERNEL(rig::at(Level::avx), mix_f64)(a.data(), b.data(), 4, out.data());
        }));
        for (std::size_t i = 0; i < 8; ++i)
            EXPECT_EQ(out.get(i), static_cast<double>(i + 1)) << "out at " << at;
    }
}

/// A shared offset of 8, 16 or 24 and a block left after the single pairs: fault. One pair less,
/// a shared offset off the 8 bytes, no offset, or one pointer elsewhere: no fault.
TEST(mix_f64, avx_shared_offset_faults)
{
    constexpr std::size_t most = 24;
    rig::Buffer<double> re(most);
    rig::Buffer<double> im(most);
    rig::Buffer<double> out(2 * most);
    auto* const kernel = KERNEL(rig::at(Level::avx), mix_f64);
    const auto place = [&](std::size_t n, std::size_t r, std::size_t i, std::size_t o) {
        re.place(n, r, Edge::end);
        im.place(n, i, Edge::end);
        out.place(2 * n, o, Edge::end);
        re.fill_bytes(0x11);
        im.fill_bytes(0x22);
        out.fill_bytes(0x33);
    };
    const auto call = [&](std::size_t n) { kernel(re.data(), im.data(), n, out.data()); };
    for (const std::size_t shared : Sizes{8, 16, 24}) {
        const std::size_t singles = (32 - shared) / 8;
        for (std::size_t n = 0; n <= most; ++n) {
            place(n, shared, shared, shared);
            EXPECT_EQ(rig::faults([&] { call(n); }), n >= singles + 4) << shared << ", n " << n;
            place(n, shared + 32, shared, shared + 32);
            EXPECT_EQ(rig::faults([&] { call(n); }), n >= singles + 4) << shared << ", n " << n;
            place(n, shared + 1, shared + 1, shared + 1);
            EXPECT_FALSE(rig::faults([&] { call(n); })) << shared << " + 1, n " << n;
            place(n, shared + 4, shared + 4, shared + 4);
            EXPECT_FALSE(rig::faults([&] { call(n); })) << shared << " + 4, n " << n;
            place(n, 0, 0, 0);
            EXPECT_FALSE(rig::faults([&] { call(n); })) << "aligned, n " << n;
            place(n, shared, shared, shared - 8);
            EXPECT_FALSE(rig::faults([&] { call(n); })) << shared << ", out apart, n " << n;
            place(n, shared, shared + 8, shared);
            EXPECT_FALSE(rig::faults([&] { call(n); })) << shared << ", im apart, n " << n;
            place(n, shared - 8, shared, shared);
            EXPECT_FALSE(rig::faults([&] { call(n); })) << shared << ", re apart, n " << n;
        }
    }
}

/// The levels below have no such fault: the same calls copy.
TEST(mix_f64, sse2_and_baseline_never_fault)
{
    for (const Level level : {Level::base, Level::sse2}) {
        Mix check(level);
        for (std::size_t at = 0; at < 64; ++at)
            for (std::size_t n = 0; n <= 12; ++n)
                ASSERT_TRUE(check(n, {at, at, at, Edge::end}));
        EXPECT_EQ(check.fault_count, 0U);
    }
}

} // namespace
