// tests/models/unpack.h: what the unpack kernels do, element by element.
#pragma once

#include "rig/library.h"
#include "rig/model.h"

#include <cstddef>
#include <cstdint>

namespace unpack {

using rig::Level;

struct Row {
    Level level;
    std::size_t width;   // dst is aligned to this by the head; 0: every element singly
    std::size_t block;   // elements
    std::size_t walk_if; // src a multiple of this after the head: more singles; 0: never
    std::size_t walk_to; // until src is a multiple of this
};

struct U8F32 {
    using Fn = unpack_u8_f32_fn;
    using Code = std::uint8_t;
    using Sample = float;
    static constexpr const char* name = "unpack_u8_f32";
    static constexpr Row rows[] = {{Level::base, 0, 1, 0, 0},
                                   {Level::sse2, 16, 16, 2, 16},
                                   {Level::avx, 32, 16, 0, 0},
                                   {Level::avx2, 32, 32, 0, 0}};
};

struct S16F32 {
    using Fn = unpack_s16_f32_fn;
    using Code = std::int16_t;
    using Sample = float;
    static constexpr const char* name = "unpack_s16_f32";
    static constexpr Row rows[] = {
        {Level::sse2, 16, 8, 0, 0}, {Level::avx, 32, 8, 0, 0}, {Level::avx2, 32, 16, 0, 0}};
};

struct U8F64 {
    using Fn = unpack_u8_f64_fn;
    using Code = std::uint8_t;
    using Sample = double;
    static constexpr const char* name = "unpack_u8_f64";
    static constexpr Row rows[] = {
        {Level::base, 0, 1, 0, 0}, {Level::sse2, 16, 16, 2, 16}, {Level::avx, 32, 16, 0, 0}};
};

struct S16F64 {
    using Fn = unpack_s16_f64_fn;
    using Code = std::int16_t;
    using Sample = double;
    static constexpr const char* name = "unpack_s16_f64";
    static constexpr Row rows[] = {
        {Level::base, 0, 1, 0, 0}, {Level::sse2, 16, 8, 0, 0}, {Level::avx, 32, 8, 8, 32}};
};

struct U16F64 {
    using Fn = unpack_u16_f64_fn;
    using Code = std::uint16_t;
    using Sample = double;
    static constexpr const char* name = "unpack_u16_f64";
    static constexpr Row rows[] = {
        {Level::base, 0, 1, 0, 0}, {Level::sse2, 16, 8, 4, 16}, {Level::avx, 32, 8, 8, 32}};
};

template <class K>
constexpr Row row_at(Level level)
{
    for (const Row& row : K::rows)
        if (row.level == level)
            return row;
    throw "no such variant";
}

/// How many elements come before the blocks, and whether the first block then faults.
struct Plan {
    std::size_t singles;
    bool faults;
};

inline Plan plan(const Row& row, std::uintptr_t src, std::size_t code_bytes, std::uintptr_t dst,
                 std::size_t sample_bytes, std::size_t n)
{
    if (row.width == 0)
        return {n, false};
    std::size_t i = 0;
    while (i < n && (dst + i * sample_bytes) % row.width != 0)
        ++i;
    if (row.walk_if != 0 && (src + i * code_bytes) % row.walk_if == 0)
        while (i < n && (src + i * code_bytes) % row.walk_to != 0)
            ++i;
    return {i, n - i >= row.block && (dst + i * sample_bytes) % row.width != 0};
}

template <class T, class U>
T restored(U code, T step, T offset)
{
    return model::add(model::mul(static_cast<T>(code), step), offset);
}

} // namespace unpack
