// tests/models/unpack_channels.h: where unpack_alt_s16_f64 and unpack_cmb_s16_f64 take single pairs,
// and which calls fault.
#pragma once

#include "rig/library.h"
#include "rig/model.h"

#include <cstddef>
#include <cstdint>

namespace unpack_channels {

using rig::Level;

inline double converted(std::int16_t s, double scale, double offset)
{
    return model::add(model::mul(static_cast<double>(s), scale), offset);
}

/// How many pairs come before the blocks, and whether the first block then faults.
struct Plan {
    std::size_t singles;
    bool faults;
};

struct AltRow {
    std::size_t width;   // bytes that both destinations are aligned to; 0: baseline
    std::size_t walk_if; // src a multiple of this then: more singles
    std::size_t walk_to; // until src is a multiple of this
};

inline AltRow alt_row(Level level)
{
    switch (level) {
    case Level::base:
        return {0, 0, 0};
    case Level::sse2:
    case Level::ssse3:
        return {16, 4, 16};
    case Level::avx:
        return {32, 8, 32};
    default:
        throw "no such variant";
    }
}

inline Plan alt_plan(Level level, std::uintptr_t src, std::uintptr_t dst0, std::uintptr_t dst1,
                     std::size_t n)
{
    const AltRow row = alt_row(level);
    if (row.width == 0)
        return {n, false};
    std::size_t i = 0;
    while (i < n && ((dst0 + 8 * i) % row.width != 0 || (dst1 + 8 * i) % row.width != 0))
        ++i;
    if ((src + 4 * i) % row.walk_if == 0)
        while (i < n && (src + 4 * i) % row.walk_to != 0)
            ++i;
    return {i, n - i >= 4 && (dst0 + 8 * i) % row.width != 0};
}

inline std::size_t cmb_width(Level level)
{
    switch (level) {
    case Level::base:
        return 0;
    case Level::sse2:
        return 16;
    case Level::avx:
        return 32;
    default:
        throw "no such variant";
    }
}

inline Plan cmb_plan(Level level, std::uintptr_t src0, std::uintptr_t src1, std::uintptr_t dst,
                     std::size_t n)
{
    const std::size_t width = cmb_width(level);
    if (width == 0)
        return {n, false};
    std::size_t i = 0;
    if (src0 % width == src1 % width)
        while (i < n && (src0 + 2 * i) % width != 0)
            ++i;
    const bool aligned_stores = dst % width == 0; // looked at once, at entry
    return {i, aligned_stores && n - i >= 8 && (dst + 16 * i) % width != 0};
}

} // namespace unpack_channels
