// tests/models/mult.h: products; which elements of an array go in blocks.
#pragma once

#include "rig/library.h"
#include "rig/model.h"

#include <cstddef>
#include <cstdint>

namespace mult {

using rig::Level;

/// Bytes of a level's vector; 0 at the baseline, which takes every element singly.
inline std::size_t width(Level level)
{
    return level == Level::base ? 0 : level == Level::avx ? 32 : 16;
}

inline std::size_t offset(const void* p, std::size_t bytes)
{
    return reinterpret_cast<std::uintptr_t>(p) % bytes;
}

/// The elements that a variant takes in blocks are [first, last), the others are taken singly.
struct Blocks {
    std::size_t first, last;
    bool hold(std::size_t i) const { return first <= i && i < last; }
};

template <class T>
Blocks mult_blocks(std::size_t bytes, const T* dst, const T* a, const T* b, std::size_t n)
{
    if (bytes == 0)
        return {n, n};
    std::size_t first = 0;
    if (offset(dst, bytes) == offset(a, bytes) && offset(b, bytes) == offset(a, bytes))
        while (first < n && (offset(a, bytes) + first * sizeof(T)) % bytes != 0)
            ++first;
    const std::size_t lanes = bytes / sizeof(T);
    return {first, first + (n - first) / lanes * lanes};
}

/// Of two NaN factors a block keeps that of b, a single element that of a.
template <class T>
T mult_model(bool in_block, T a, T b)
{
    return in_block ? model::mul(b, a) : model::mul(a, b);
}

inline float mult_add_model(float x, float scale, float offset)
{
    return model::add(model::mul(x, scale), offset);
}

} // namespace mult
