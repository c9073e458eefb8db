// tests/proof/all_floats.h: all 2^32 floats, part by part, through a function of the blocks.
#pragma once

#include "rig/buffer.h"

#include <atomic>
#include <cstdint>

namespace all_floats {

inline constexpr std::uint64_t chunk_floats = 1U << 20;
inline constexpr std::size_t chunks = 4096;
inline constexpr const char* names[] = {"log sse2", "log avx2", "exp sse2", "exp avx2"};

/// What the worker processes share.
struct Shared {
    std::atomic<std::size_t> next, done;
    std::atomic<std::uint64_t> differences, hidden; // hidden: e would not show; must stay 0
    std::atomic<bool> told;
    std::uint64_t hash[4][chunks];

    void differs(const char* what, std::uint32_t bits, float want, float got);
};

class Hash {
public:
    void take(float x)
    {
        state_ = (state_ ^ rig::bits_of(x)) * 0x9E3779B97F4A7C15U;
        state_ ^= state_ >> 32;
    }
    std::uint64_t state() const { return state_; }

private:
    std::uint64_t state_ = 1;
};

/// Compare one part at SSE2 and at AVX2 and note its hashes.
void log_chunk(std::size_t chunk, Shared& shared);
void exp_chunk(std::size_t chunk, Shared& shared);

} // namespace all_floats
