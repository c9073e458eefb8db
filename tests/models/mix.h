// tests/models/mix.h: the single pairs of mix_f64 at AVX, and the call that faults.
#pragma once

#include "rig/buffer.h"
#include "rig/library.h"

#include <cstddef>

namespace mix {

using rig::Edge;
using rig::Level;

struct Place {
    std::size_t re, im, out; // modulo 64
    Edge edge;
};

/// Pairs that the AVX variant copies singly before its blocks, when all three share this offset.
inline std::size_t single_pairs(std::size_t offset, std::size_t n)
{
    std::size_t k = 0;
    while (k < n && (offset + 8 * k) % 32 != 0)
        ++k;
    return k;
}

/// Whether a block is reached by way of the single pairs: its aligned stores then fault, because
/// out has moved 16 bytes for every 8 of re.
inline bool faulty(Level level, const Place& at, std::size_t n)
{
    if (level != Level::avx || at.re % 32 == 0 || at.im % 32 != at.re % 32 ||
        at.out % 32 != at.re % 32)
        return false;
    return n - single_pairs(at.re % 32, n) >= 4;
}

} // namespace mix
