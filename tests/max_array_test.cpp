// tests/max_array_test.cpp: the running peak. Each variant against a plain model, bit for bit.
#include "models/max_array.h"
#include "rig/call.h"
#include "stats_patterns.h"

#include <gtest/gtest.h>
#include <sys/mman.h>

namespace {

using namespace rig;
using namespace max_array;
using patterns::Pattern;

// --- The comparison ----------------------------------------------------------------------------

std::size_t calls;

struct Counted {
    ~Counted() { testing::Test::RecordProperty("calls", std::to_string(calls)); }
    Counted() { calls = 0; }
};

template <class T>
struct Kernel {
    Level level;
    const char* entry;
    void (*function)(T*, const T*, std::size_t);
    std::size_t threshold, width; // width 0: the baseline

    bool installed() const
    {
        return rig::at(level).variant(entry) == std::string(entry) + "_" + rig::name(level);
    }
    std::size_t most() const { return threshold + 3 * width / sizeof(T) + 2; }
    Blocks blocks(std::size_t n, std::size_t to, std::size_t from) const
    {
        return width == 0 ? Blocks() : Blocks(n, to, from, sizeof(T), width, threshold);
    }

    testing::AssertionResult agrees(Buffer<T>& dst, const Buffer<T>& src, std::vector<T> d,
                                    const std::vector<T>& s) const
    {
        const std::size_t to = reinterpret_cast<std::uintptr_t>(dst.data()) % 64;
        const std::size_t from = reinterpret_cast<std::uintptr_t>(src.data()) % 64;
        peak(d.data(), s.data(), s.size(), blocks(s.size(), to, from));
        ++calls;
        auto result = armed(level, [&] { function(dst.data(), src.data(), s.size()); });
        if (result)
            result = patterns::untouched(dst, d);
        if (result)
            if (!(result = patterns::untouched(src, s)))
                result << " in src";
        if (!result)
            result << ", " << entry << " " << rig::name(level) << " n " << s.size() << " dst " << to
                   << " src " << from;
        return result;
    }
};

// Every count with every pair of alignments; edges and kinds of data in turn.
template <class T>
void bits(const Kernel<T>& k)
{
    const Counted counted;
    ASSERT_TRUE(k.installed());
    Buffer<T> dst(k.most());
    Buffer<T> src(k.most());
    Random random(31);
    std::size_t turn = 0;
    for (std::size_t to = 0; to < 64; to += sizeof(T))
        for (std::size_t from = 0; from < 64; from += sizeof(T))
            for (std::size_t n = 0; n <= k.most(); ++n)
                for (int round = 0; round < (to == from ? 11 : 3); ++round) {
                    const Pattern pattern =
                        patterns::for_floats[turn++ % std::size(patterns::for_floats)];
                    dst.place(n, to, both_edges[random.below(2)]);
                    src.place(n, from, both_edges[random.below(2)]);
                    const std::vector<T> d = patterns::fill(dst, random, pattern);
                    const std::vector<T> s = patterns::fill(src, random, pattern);
                    ASSERT_TRUE(k.agrees(dst, src, d, s)) << patterns::name(pattern);
                }
}

// What a place in head, block or tail makes of a NaN or a zero on either side, place by place.
template <class T>
void positions(const Kernel<T>& k)
{
    const Counted counted;
    ASSERT_TRUE(k.installed());
    Buffer<T> dst(k.most());
    Buffer<T> src(k.most());
    Random random(32);
    const T a = patterns::own_nan<T>(random);
    const T b = patterns::own_nan<T>(random);
    const T cases[][2] = {{T(5), a},         {a, T(-5)},   {a, b},      {T(0.0), T(-0.0)},
                          {T(-0.0), T(0.0)}, {T(5), T(6)}, {T(5), T(4)}};
    std::size_t turn = 0;
    for (std::size_t to = 0; to < 32; to += sizeof(T))
        for (const std::size_t from : {to, std::size_t{0}, (to + sizeof(T)) % 32, (to + 16) % 32})
            for (std::size_t n = 1; n <= k.most(); n += n < k.threshold ? 4 : 1) {
                dst.place(n, to, Edge::end);
                src.place(n, from, Edge::end);
                std::vector<T> d(n);
                std::vector<T> s(n);
                for (std::size_t i = 0; i < n; ++i) {
                    std::fill(d.begin(), d.end(), T(2));
                    std::fill(s.begin(), s.end(), T(1));
                    const T* const at_i = cases[turn++ % std::size(cases)];
                    d[i] = at_i[0];
                    s[i] = at_i[1];
                    patterns::put(dst, d);
                    patterns::put(src, s);
                    ASSERT_TRUE(k.agrees(dst, src, d, s)) << "position " << i;
                }
            }
}

template <class T>
void long_arrays(const Kernel<T>& k)
{
    const Counted counted;
    Buffer<T> dst(4000);
    Buffer<T> src(4000);
    Random random(33);
    for (const Pattern pattern : patterns::for_floats)
        for (int round = 0; round < 8; ++round) {
            const std::size_t n = 500 + random.below(3500);
            const std::size_t to = random.below(64 / sizeof(T)) * sizeof(T);
            dst.place(n, to, Edge::end);
            src.place(n, round % 2 != 0 ? to : random.below(64 / sizeof(T)) * sizeof(T), Edge::end);
            const std::vector<T> d = patterns::fill(dst, random, pattern);
            const std::vector<T> s = patterns::fill(src, random, pattern);
            ASSERT_TRUE(k.agrees(dst, src, d, s)) << patterns::name(pattern);
        }
}

// An array against itself stays as it is, to the bit.
template <class T>
void in_place(const Kernel<T>& k)
{
    const Counted counted;
    Buffer<T> both(k.most());
    Random random(34);
    for (const Pattern pattern : patterns::for_floats)
        for (std::size_t offset = 0; offset < 64; offset += sizeof(T))
            for (std::size_t n = 0; n <= k.most(); ++n) {
                both.place(n, offset, Edge::end);
                const std::vector<T> before = patterns::fill(both, random, pattern);
                ++calls;
                ASSERT_TRUE(armed(k.level, [&] { k.function(both.data(), both.data(), n); }));
                ASSERT_TRUE(patterns::untouched(both, before)) << n << " " << offset;
            }
}

template <class T>
void count_0(const Kernel<T>& k)
{
    T dst = T(1);
    const T src = T(2);
    ASSERT_TRUE(armed(k.level, [&] { k.function(&dst, &src, 0); }));
    EXPECT_TRUE(same_bits(T(1), dst));
    ASSERT_TRUE(armed(k.level, [&] { k.function(nullptr, nullptr, 0); }));
}

// Block after block into the same dst leaves the peak of every place.
template <class T>
void peak_of_many(const Kernel<T>& k)
{
    const std::size_t n = 77;
    std::vector<T> dst(n, -std::numeric_limits<T>::infinity());
    std::vector<T> want = dst;
    Random random(35);
    for (int block = 0; block < 20; ++block) {
        std::vector<T> src(n);
        for (std::size_t i = 0; i < n; ++i) {
            src[i] = patterns::make<T>(random, Pattern::ordinary);
            want[i] = src[i] > want[i] ? src[i] : want[i];
        }
        ASSERT_TRUE(armed(k.level, [&] { k.function(dst.data(), src.data(), n); }));
    }
    EXPECT_TRUE(same_bits(want.data(), dst.data(), n));
}

/// A page that is read-only while the kernel has it as dst.
class ReadOnly {
public:
    ReadOnly() : map_(mmap(nullptr, 4096, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0)) {}
    ~ReadOnly() { munmap(map_, 4096); }
    ReadOnly(const ReadOnly&) = delete;
    ReadOnly& operator=(const ReadOnly&) = delete;

    template <class T>
    T* zeros() const
    {
        return static_cast<T*>(map_);
    }

private:
    void* map_;
};

// Blocks rewrite every element, changed or not; the baseline writes only what is greater. Seen
// where dst cannot be written at all: src is below it everywhere.
template <class T>
void writes(const Kernel<T>& k)
{
    const ReadOnly page;
    const std::vector<T> src(100, T(-1));
    T* const dst = page.zeros<T>();
    EXPECT_TRUE(armed(k.level, [&] { k.function(dst, src.data(), k.threshold); }));
    if (k.width == 0)
        EXPECT_TRUE(armed(k.level, [&] { k.function(dst, src.data(), 100); }));
    else
        EXPECT_TRUE(faults([&] { k.function(dst, src.data(), k.threshold + 1); }));
    const T above = T(1);
    EXPECT_TRUE(faults([&] { k.function(dst, &above, 1); }));
}

#define VARIANT(entry, level, T, threshold, width)                                                 \
    namespace entry##_kernels                                                                      \
    {                                                                                              \
        Kernel<T> level()                                                                          \
        {                                                                                          \
            return {Level::level, #entry, KERNEL(rig::at(Level::level), entry), threshold, width}; \
        }                                                                                          \
    }                                                                                              \
    TEST(entry, level##_bits) { bits(entry##_kernels::level()); }                                  \
    TEST(entry, level##_positions) { positions(entry##_kernels::level()); }                        \
    TEST(entry, level##_long) { long_arrays(entry##_kernels::level()); }                           \
    TEST(entry, level##_in_place) { in_place(entry##_kernels::level()); }                          \
    TEST(entry, level##_count_0_leaves_dst) { count_0(entry##_kernels::level()); }                 \
    TEST(entry, level##_peak_of_many_blocks) { peak_of_many(entry##_kernels::level()); }           \
    TEST(entry, level##_what_is_written) { writes(entry##_kernels::level()); }

VARIANT(max_array_f32, base, float, 40, 0)
VARIANT(max_array_f32, sse, float, 15, 16)
VARIANT(max_array_f32, avx, float, 31, 32)
VARIANT(max_array_f64, base, double, 40, 0)
VARIANT(max_array_f64, sse2, double, 15, 16)
VARIANT(max_array_f64, avx, double, 15, 32)

// --- Named cases -------------------------------------------------------------------------------

// 16 elements, dst and src 8 past a boundary: 2 head, 12 in blocks, 2 tail.
TEST(max_array_f32, sse_nan_of_src_is_copied_in_blocks_only)
{
    const auto kernel = KERNEL(rig::at(Level::sse), max_array_f32);
    const float nan = model::from_bits<float>(0x7FC00777U);
    for (std::size_t i = 0; i < 16; ++i) {
        alignas(64) float dst[18];
        alignas(64) float src[18];
        std::fill(dst, dst + 18, 4.0F);
        std::fill(src, src + 18, 3.0F);
        src[2 + i] = nan;
        ASSERT_TRUE(armed(Level::sse, [&] { kernel(dst + 2, src + 2, 16); }));
        EXPECT_TRUE(same_bits(i < 2 || i >= 14 ? 4.0F : nan, dst[2 + i])) << i;
        // dst and src apart: blocks from element 0 on, no tail.
        std::fill(dst, dst + 18, 4.0F);
        std::fill(src, src + 18, 3.0F);
        src[1 + i] = nan;
        ASSERT_TRUE(armed(Level::sse, [&] { kernel(dst + 2, src + 1, 16); }));
        EXPECT_TRUE(same_bits(nan, dst[2 + i])) << i;
        // 15 elements are the baseline's.
        std::fill(dst, dst + 18, 4.0F);
        ASSERT_TRUE(armed(Level::sse, [&] { kernel(dst + 2, src + 1, 15); }));
        EXPECT_TRUE(same_bits(4.0F, dst[2 + i])) << i;
    }
}

TEST(max_array_f32, avx_nan_of_dst_is_replaced_in_blocks_only)
{
    const auto kernel = KERNEL(rig::at(Level::avx), max_array_f32);
    const float nan = model::from_bits<float>(0x7FC00777U);
    for (std::size_t i = 0; i < 36; ++i) { // 6 head, 24 in blocks, 6 tail
        alignas(64) float dst[38];
        alignas(64) float src[38];
        std::fill(dst, dst + 38, 4.0F);
        std::fill(src, src + 38, -3.0F);
        dst[2 + i] = nan;
        ASSERT_TRUE(armed(Level::avx, [&] { kernel(dst + 2, src + 2, 36); }));
        EXPECT_TRUE(same_bits(i < 6 || i >= 30 ? nan : -3.0F, dst[2 + i])) << i;
    }
}

} // namespace
