// tests/cpp/places.h: libsimd.hpp at every level, on arrays of every length at every offset, between
// forbidden pages.
//
// The library's objects are linked into the program and its own probe fills the entries for a scripted
// processor (levels.cpp), so that simd:: and simd::raw:: both lead to the variants of that level.
#pragma once

#include "libsimd.hpp"
#include "rig/buffer.h"
#include "rig/data.h"
#include "rig/model.h"
#include "rig/processor.h"

#include <array>
#include <cstddef>
#include <gtest/gtest.h>
#include <string>
#include <tuple>
#include <vector>

namespace cpp {

using rig::Edge;
using rig::Kind;
using rig::Level;

/// Fills the entries as on a processor that reports exactly these levels (bit i: rig::all_levels[i]).
void install(unsigned levels);
/// All levels up to this one.
void install(Level level);

inline constexpr std::size_t longest = 300;

/// An array of T between forbidden pages, its elements and where it starts modulo 32.
template <class T>
class Place {
public:
    Place() : buffer_(2 * longest + 64) {}

    std::span<T> at(std::size_t n, std::size_t offset, Edge edge)
    {
        return now_ = {buffer_.place(n, offset, edge), n};
    }
    std::span<T> now() const { return now_; }
    testing::AssertionResult intact() const { return buffer_.intact(); }
    std::vector<T> copy() const { return {now_.begin(), now_.end()}; }

private:
    rig::Buffer<T> buffer_;
    std::span<T> now_;
};

/// "sse2, 17 elements, at 4, 8".
template <class... Size>
std::string where(Level level, std::size_t n, Size... at)
{
    std::string text = std::string(rig::name(level)) + ", " + std::to_string(n) + " elements, at";
    ((text += " " + std::to_string(at)), ...);
    return text;
}

/// A fixed row of values of a kind, long enough for every array; arrays take them from the front.
template <class T>
const std::vector<T>& values(Kind kind, std::uint64_t stream = 1)
{
    static std::vector<std::tuple<Kind, std::uint64_t, std::vector<T>>> rows;
    for (const auto& [k, s, row] : rows)
        if (k == kind && s == stream)
            return row;
    std::vector<T> row(2 * longest + 64);
    rig::Random random(stream);
    rig::fill(row.data(), row.size(), random, kind);
    rows.reserve(100);
    rows.emplace_back(kind, stream, row);
    return std::get<2>(rows.back());
}

template <class T>
void take(std::span<T> to, const std::vector<T>& from)
{
    std::copy_n(from.begin(), to.size(), to.begin());
}

template <class T>
std::uintptr_t address(const T* p)
{
    return reinterpret_cast<std::uintptr_t>(p);
}

template <class T>
testing::AssertionResult same(const std::vector<T>& want, std::span<const T> got)
{
    return rig::same_bits(want.data(), got.data(), want.size());
}

/// Whether the counts run through every one (this program) or a part (under the sanitizers).
#if defined __SANITIZE_ADDRESS__
inline constexpr std::size_t stride = 7;
#elif defined __has_feature
#if __has_feature(address_sanitizer)
inline constexpr std::size_t stride = 7;
#else
inline constexpr std::size_t stride = 1;
#endif
#else
inline constexpr std::size_t stride = 1;
#endif

/// body(level, n, edge, offset of each array) over the levels, every count to `most`, both edges, and every
/// offset of arrays of T... within 32 bytes.
template <class... T, class Body>
void everywhere(std::initializer_list<Level> levels, Body body, std::size_t most = longest)
{
    constexpr std::size_t arrays = sizeof...(T);
    constexpr std::size_t step[] = {sizeof(T)...};
    for (const Level level : levels) {
        install(level);
        for (std::size_t n = 0; n <= most; ++n) {
            // the sanitized program takes every count where heads, blocks and thresholds meet
            if (stride != 1 && n > 70 && n % stride != 0)
                continue;
            std::size_t at[arrays] = {};
            for (std::size_t done = 0; done < arrays;) {
                for (const Edge edge : rig::both_edges) {
                    // three arrays and more: one edge each, in turn
                    std::size_t sum = n;
                    for (std::size_t a = 0; a < arrays; ++a)
                        sum += at[a] / step[a];
                    if (arrays > 2 && (sum % 2 == 0) != (edge == Edge::start))
                        continue;
                    std::apply([&](auto... offset) { body(level, n, edge, offset...); },
                               std::to_array(at));
                    if (testing::Test::HasFailure())
                        return;
                }
                for (done = 0; done < arrays && (at[done] += step[done]) == 32; ++done)
                    at[done] = 0;
            }
        }
    }
}

} // namespace cpp
