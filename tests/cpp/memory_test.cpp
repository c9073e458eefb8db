// tests/cpp/memory_test.cpp: fill, memcpy_fast and swap_words of libsimd.hpp.
#include "cpp/places.h"

#include <algorithm>

namespace {

using namespace cpp;
using enum Level;

TEST(Cpp, fill)
{
    Place<float> dst;
    everywhere<float>({base, sse, avx}, [&](Level level, std::size_t n, Edge edge, std::size_t at) {
        const auto d = dst.at(n, at, edge);
        take(d, values<float>(Kind::ordinary));
        simd::fill(d, -2.5F);
        const std::vector<float> want(n, -2.5F);
        ASSERT_TRUE(same<float>(want, d) && dst.intact()) << where(level, n, at);
    });
}

TEST(Cpp, memcpy_fast)
{
    Place<std::uint16_t> dst, src;
    everywhere<std::uint16_t, std::uint16_t>(
        {base, sse2, avx2},
        [&](Level level, std::size_t n, Edge edge, std::size_t to, std::size_t from) {
            const auto d = dst.at(n, to, edge);
            const auto s = src.at(n, from, edge);
            take(s, values<std::uint16_t>(Kind::ordinary));
            std::fill(d.begin(), d.end(), std::uint16_t{0});
            simd::memcpy_fast(d, s);
            ASSERT_TRUE(same<std::uint16_t>(src.copy(), d) && dst.intact() && src.intact())
                << where(level, n, to, from);
        });
}

std::vector<std::uint32_t> halves_exchanged(std::vector<std::uint32_t> words)
{
    for (std::uint32_t& word : words)
        word = word << 16 | word >> 16;
    return words;
}

TEST(Cpp, swap_words)
{
    Place<std::uint32_t> src, dst;
    everywhere<std::uint32_t, std::uint32_t>(
        {base, sse2, ssse3, avx2},
        [&](Level level, std::size_t n, Edge edge, std::size_t from, std::size_t to) {
            const auto s = src.at(n, from, edge);
            const auto d = dst.at(n, to, edge);
            take(s, values<std::uint32_t>(Kind::ordinary));
            std::fill(d.begin(), d.end(), 0U);
            const auto want = halves_exchanged(src.copy());
            simd::swap_words(s, d);
            ASSERT_TRUE(same<std::uint32_t>(want, d) && src.intact() && dst.intact())
                << where(level, n, from, to);
            simd::swap_words(s, s);
            ASSERT_TRUE(same<std::uint32_t>(want, s) && src.intact())
                << "in place, " << where(level, n, from);
        });
}

} // namespace
