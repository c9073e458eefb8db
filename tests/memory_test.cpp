// fill_f32, memcpy_fast and swap_words_u32 against their models.
#include "models/memory.h"
#include "rig/buffer.h"
#include "rig/call.h"
#include "rig/data.h"
#include "rig/library.h"
#include "rig/trace.h"

#include <gtest/gtest.h>
#include <vector>

namespace {

using namespace memory;
using rig::armed;
using rig::Buffer;
using rig::Edge;
using rig::Kind;
using rig::Level;
using rig::Random;

// --- fill_f32 -----------------------------------------------------------------------------------

void fill_bits(Level level)
{
    rig::Library& library = rig::at(level);
    ASSERT_EQ(library.variant("fill_f32"), std::string("fill_f32_") + rig::name(level));
    Random random(1);
    Buffer<float> dst(200);
    for (std::size_t n = 0; n <= 140; ++n)
        for (std::size_t offset = 0; offset < 64; ++offset)
            for (const Edge edge : rig::both_edges) {
                const float value = rig::make_f32(random, Kind::mixed);
                const std::vector<float> want(n, value);
                dst.place(n, offset, edge);
                dst.fill_bytes(0x11);
                SCOPED_TRACE(testing::Message() << "n " << n << " offset " << offset);
                ASSERT_TRUE(armed(level, [&] { KERNEL(library, fill_f32)(dst.data(), n, value); }));
                ASSERT_TRUE(rig::same_bits(want.data(), dst.data(), n));
                ASSERT_TRUE(dst.intact());
            }
}

// --- memcpy_fast --------------------------------------------------------------------------------

struct Handed {
    void* dst;
    const void* src;
    std::size_t n;
};
std::vector<Handed> handed;

void* counting_memcpy(void* dst, const void* src, std::size_t n)
{
    handed.push_back({dst, src, n});
    return std::memcpy(dst, src, n);
}

void copy_bits(Level level)
{
    rig::Library& library = rig::at(level);
    ASSERT_EQ(library.variant("memcpy_fast"), std::string("memcpy_fast_") + rig::name(level));
    const std::size_t block = block_bytes(level);
    Random random(2);
    Buffer<std::uint8_t> src(4096);
    Buffer<std::uint8_t> dst(4096);
    std::vector<std::uint8_t> want;
    library.intercept("memcpy", reinterpret_cast<void*>(counting_memcpy));
    for (const std::size_t n : rig::around({8, 16, 32, 48, 64, 96, 128, 160, 192, 256, 1000}))
        for (std::size_t from = 0; from < 64; ++from)
            for (std::size_t to = 0; to < 64; ++to) {
                const Edge edge = ((n + from + to) & 1) != 0 ? Edge::start : Edge::end;
                src.place(n, from, edge);
                dst.place(n, to, edge);
                rig::fill(src.data(), n, random, Kind::ordinary);
                want.assign(src.data(), src.data() + n);
                dst.fill_bytes(0x22);
                handed.clear();
                SCOPED_TRACE(testing::Message() << "n " << n << " src " << from << " dst " << to);
                ASSERT_TRUE(armed(level, [&] {
                    KERNEL(library, memcpy_fast)(dst.data(), src.data(), n);
                }));
                ASSERT_TRUE(rig::same_bits(want.data(), dst.data(), n));
                ASSERT_TRUE(rig::same_bits(want.data(), src.data(), n));
                ASSERT_TRUE(dst.intact());
                // The baseline hands every call on, the others those whose offsets differ.
                if (level == Level::base || from % block != to % block) {
                    ASSERT_EQ(handed.size(), 1U);
                    ASSERT_EQ(handed[0].dst, dst.data());
                    ASSERT_EQ(handed[0].src, src.data());
                    ASSERT_EQ(handed[0].n, n);
                } else {
                    ASSERT_TRUE(handed.empty());
                }
            }
    library.release();
}

/// 64-byte steps that a copy of n bytes takes past the caches.
void copy_streams(Level level)
{
    rig::Library& library = rig::at(level);
    const std::size_t block = block_bytes(level);
    const std::size_t per_step = 64 / block;
    Buffer<std::uint8_t> src(4096);
    Buffer<std::uint8_t> dst(4096);
    for (const std::size_t n : {0UL, 1UL, 63UL, 64UL, 65UL, 127UL, 128UL, 191UL, 192UL, 640UL})
        for (std::size_t offset = 0; offset < 64; offset += 7) {
            src.place(n, offset, Edge::end);
            dst.place(n, offset, Edge::end);
            const std::size_t head = std::min((block - offset % block) % block, n);
            const std::size_t steps = (n - head) / 64;
            const auto copy = [&] { KERNEL(library, memcpy_fast)(dst.data(), src.data(), n); };
            EXPECT_EQ(rig::executed(copy, rig::is_streaming_load), steps * per_step)
                << n << " bytes at " << offset;
            EXPECT_EQ(rig::executed(copy, rig::is_streaming_store), steps * per_step)
                << n << " bytes at " << offset;
        }
}

// --- swap_words_u32 -----------------------------------------------------------------------------

void swap_bits(Level level)
{
    rig::Library& library = rig::at(level);
    ASSERT_EQ(library.variant("swap_words_u32"), std::string("swap_words_u32_") + rig::name(level));
    Random random(3);
    Buffer<std::uint32_t> src(300);
    Buffer<std::uint32_t> dst(300);
    const std::size_t block = level == Level::base ? 4 : level == Level::avx2 ? 32 : 16;
    const std::size_t room = level == Level::avx2 ? 6 : 0;
    for (std::size_t n = 0; n <= 120; ++n)
        for (std::size_t from = 0; from < 64; from += 4)
            for (std::size_t to = 0; to < 64; to += 4) {
                if (n > 15 && from % block != to % block)
                    continue;
                for (const Edge edge : rig::both_edges) {
                    src.place(n, from, edge);
                    dst.place(n + room, to, edge);
                    std::vector<std::uint32_t> in(n);
                    for (std::size_t i = 0; i < n; ++i)
                        src.set(i, in[i] = static_cast<std::uint32_t>(random.bits()));
                    for (std::size_t i = 0; i < n + room; ++i)
                        dst.set(i, untouched);
                    const auto want = swap_model(level, in, from, room);
                    SCOPED_TRACE(testing::Message()
                                 << "n " << n << " src " << from << " dst " << to);
                    ASSERT_TRUE(armed(level, [&] {
                        KERNEL(library, swap_words_u32)(src.data(), n, dst.data());
                    }));
                    ASSERT_TRUE(rig::same_bits(want.data(), dst.data(), n + room));
                    ASSERT_TRUE(rig::same_bits(in.data(), src.data(), n));
                    ASSERT_TRUE(dst.intact());
                }
            }
}

void swap_in_place(Level level)
{
    rig::Library& library = rig::at(level);
    Random random(4);
    Buffer<std::uint32_t> words(300);
    for (std::size_t n = 0; n <= 80; ++n)
        for (std::size_t at = 0; at < 64; at += 4) {
            words.place(n, at, Edge::end);
            rig::fill(words.data(), n, random, Kind::ordinary);
            std::vector<std::uint32_t> want(words.data(), words.data() + n);
            for (std::uint32_t& word : want)
                word = swapped(word);
            ASSERT_TRUE(armed(level, [&] {
                KERNEL(library, swap_words_u32)(words.data(), n, words.data());
            }));
            ASSERT_TRUE(rig::same_bits(want.data(), words.data(), n)) << n << " at " << at;
        }
}

/// Block stores are aligned ones: a destination that lies otherwise in its block than the source
/// faults.
void swap_faults(Level level)
{
    rig::Library& library = rig::at(level);
    const std::size_t block = block_bytes(level);
    Buffer<std::uint32_t> src(100);
    Buffer<std::uint32_t> dst(100);
    for (std::size_t from = 0; from < 64; from += 4)
        for (std::size_t to = 0; to < 64; to += 4) {
            src.place(32, from, Edge::end);
            dst.place(64, to, Edge::end);
            EXPECT_EQ(rig::faults([&] {
                          KERNEL(library, swap_words_u32)(src.data(), 32, dst.data());
                      }),
                      from % block != to % block)
                << "src " << from << " dst " << to;
            EXPECT_FALSE(rig::faults([&] {
                KERNEL(library, swap_words_u32)(src.data(), 15, dst.data());
            }));
        }
}

/// A source off its 4 bytes never reaches a block: the head, which has no end test, runs into the
/// guard.
void swap_runs_past(Level level)
{
    rig::Library& library = rig::at(level);
    Buffer<std::uint32_t> src(100);
    Buffer<std::uint32_t> dst(100);
    src.place(16, 2, Edge::end);
    dst.place(16, 2, Edge::end);
    EXPECT_TRUE(rig::faults([&] { KERNEL(library, swap_words_u32)(src.data(), 16, dst.data()); }));
    EXPECT_FALSE(rig::faults([&] { KERNEL(library, swap_words_u32)(src.data(), 15, dst.data()); }));
}

} // namespace

TEST(fill_f32, base_bits) { fill_bits(Level::base); }
TEST(fill_f32, sse_bits) { fill_bits(Level::sse); }
TEST(fill_f32, avx_bits) { fill_bits(Level::avx); }

TEST(memcpy_fast, base_bits) { copy_bits(Level::base); }
TEST(memcpy_fast, sse2_bits) { copy_bits(Level::sse2); }
TEST(memcpy_fast, avx2_bits) { copy_bits(Level::avx2); }
TEST(memcpy_fast, sse2_streams_64_bytes_a_step) { copy_streams(Level::sse2); }
TEST(memcpy_fast, avx2_streams_64_bytes_a_step) { copy_streams(Level::avx2); }

TEST(swap_words_u32, base_bits) { swap_bits(Level::base); }
TEST(swap_words_u32, sse2_bits) { swap_bits(Level::sse2); }
TEST(swap_words_u32, ssse3_bits) { swap_bits(Level::ssse3); }
TEST(swap_words_u32, avx2_bits) { swap_bits(Level::avx2); }
TEST(swap_words_u32, base_in_place) { swap_in_place(Level::base); }
TEST(swap_words_u32, sse2_in_place) { swap_in_place(Level::sse2); }
TEST(swap_words_u32, ssse3_in_place) { swap_in_place(Level::ssse3); }
TEST(swap_words_u32, sse2_faults) { swap_faults(Level::sse2); }
TEST(swap_words_u32, ssse3_faults) { swap_faults(Level::ssse3); }
TEST(swap_words_u32, avx2_faults) { swap_faults(Level::avx2); }
TEST(swap_words_u32, sse2_head_has_no_end_test) { swap_runs_past(Level::sse2); }
TEST(swap_words_u32, ssse3_head_has_no_end_test) { swap_runs_past(Level::ssse3); }
TEST(swap_words_u32, avx2_head_has_no_end_test) { swap_runs_past(Level::avx2); }

TEST(swap_words_u32, every_level_turns_12345678_into_56781234)
{
    for (const Level level : rig::table().at("swap_words_u32"))
        for (const std::size_t n : {1UL, 16UL}) {
            alignas(32) std::uint32_t src[16];
            alignas(32) std::uint32_t dst[16] = {};
            std::fill_n(src, 16, 0x12345678U);
            KERNEL(rig::at(level), swap_words_u32)(src, n, dst);
            EXPECT_EQ(dst[0], 0x56781234U);
            EXPECT_EQ(dst[n - 1], 0x56781234U);
        }
}

TEST(swap_words_u32, avx2_17_elements_have_no_gap)
{
    alignas(32) std::uint32_t src[17];
    alignas(32) std::uint32_t dst[18];
    for (std::uint32_t i = 0; i < 17; ++i)
        src[i] = i;
    std::fill_n(dst, 18, untouched);
    KERNEL(rig::at(Level::avx2), swap_words_u32)(src, 17, dst);
    for (std::uint32_t i = 0; i < 17; ++i)
        EXPECT_EQ(dst[i], i << 16);
    EXPECT_EQ(dst[17], untouched);
}

TEST(swap_words_u32, avx2_18_elements_put_the_last_one_past_the_end)
{
    alignas(32) std::uint32_t src[18];
    alignas(32) std::uint32_t dst[20];
    for (std::uint32_t i = 0; i < 18; ++i)
        src[i] = i;
    std::fill_n(dst, 20, untouched);
    KERNEL(rig::at(Level::avx2), swap_words_u32)(src, 18, dst);
    EXPECT_EQ(dst[16], 16U << 16);
    EXPECT_EQ(dst[17], untouched);
    EXPECT_EQ(dst[18], 17U << 16);
    EXPECT_EQ(dst[19], untouched);
}
