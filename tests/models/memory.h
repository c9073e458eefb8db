// tests/models/memory.h: what swap_words_u32 stores. (A fill and a copy are their own models.)
#pragma once

#include "rig/library.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace memory {

using rig::Level;

inline std::size_t block_bytes(Level level)
{
    return level == Level::avx || level == Level::avx2 ? 32 : 16;
}

inline std::uint32_t swapped(std::uint32_t word)
{
    return (word & 0xFFFF) * 0x10000 + word / 0x10000;
}

constexpr std::uint32_t untouched = 0x55AA55AA;

/// The destination after a call: n elements, then `room` more.
inline std::vector<std::uint32_t> swap_model(Level level, const std::vector<std::uint32_t>& src,
                                             std::size_t address, std::size_t room)
{
    const std::size_t n = src.size();
    std::vector<std::uint32_t> dst(n + room, untouched);
    for (std::size_t i = 0; i < n; ++i)
        dst[i] = swapped(src[i]);
    if (level == Level::avx2 && n > 15) {
        const std::size_t head = (32 - address % 32) % 32 / 4;
        const std::size_t tail = (n - head) % 8;
        const std::size_t first = n - tail;
        for (std::size_t i = first; i < n; ++i)
            dst[i] = untouched;
        for (std::size_t k = 0; k < tail; ++k)
            dst[first + 2 * k] = swapped(src[first + k]);
    }
    return dst;
}

} // namespace memory
